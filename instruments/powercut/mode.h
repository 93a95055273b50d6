// The ways in which a device is cut off.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_MODE_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_MODE_H

#include "instruments/powercut/disk_image.h"

namespace ORVX::TavomendTest {
struct Mode {
    const char* name;
    const char* meaning;
    enum class Cut { KILL, TEAR, NO_ROOM, IO_ERROR } cut;
    // DATA, NAMES: worked out from a journal of the calls. DISK: by a file system of its own, which is shut down;
    // FLUSHED_DISK: after it has flushed a file of somebody else's.
    enum class Loss { NOTHING, DATA, NAMES, DISK, FLUSHED_DISK } loss;
    bool isTwice;
    DiskImage::Format disk = {nullptr, nullptr};

    [[nodiscard]] bool IsOnDisk() const { return disk.name != nullptr; }
};
// Names are kept by an ordered journal, and contents by nothing.
inline constexpr DiskImage::Format WRITEBACK = {"ext4", ",data=writeback"};

inline constexpr Mode MODES[] = {
    {"killed", "ended before the call", Mode::Cut::KILL, Mode::Loss::NOTHING, false},
    {"torn", "ended within a write", Mode::Cut::TEAR, Mode::Loss::NOTHING, false},
    {"zeros", "what was not flushed is zeros", Mode::Cut::KILL, Mode::Loss::DATA, false},
    {"names", "and names are as they were flushed", Mode::Cut::KILL, Mode::Loss::NAMES, false},
    {"killed-twice", "and again in the boot that repairs", Mode::Cut::KILL, Mode::Loss::NOTHING, true},
    {"names-twice", "the worst, and again in that boot", Mode::Cut::KILL, Mode::Loss::NAMES, true},
    {"no-room", "the disk is full from the call on", Mode::Cut::NO_ROOM, Mode::Loss::NOTHING, false},
    {"io-error", "this one call fails", Mode::Cut::IO_ERROR, Mode::Loss::NOTHING, false},
    {"ext4", "the file system is shut down", Mode::Cut::KILL, Mode::Loss::DISK, false, {"ext4", ""}},
    {"ext4-flushed", "after another's flush", Mode::Cut::KILL, Mode::Loss::FLUSHED_DISK, false, WRITEBACK},
    {"xfs", "the file system is shut down", Mode::Cut::KILL, Mode::Loss::DISK, false, {"xfs", ""}},
    {"xfs-flushed", "after another's flush", Mode::Cut::KILL, Mode::Loss::FLUSHED_DISK, false, {"xfs", ""}},
};
} // namespace ORVX::TavomendTest

#endif
