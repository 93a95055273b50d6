// A file that the engine reads by places.
#ifndef TAVOMEND_PLATFORM_UTILITY_INPUT_FILE_H
#define TAVOMEND_PLATFORM_UTILITY_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "handles/file_pages.h"

namespace ORVX::TavomendEngine {
// A regular file, open as long as this lives, whatever becomes of its path. All calls that touch it go through
// FileLayer; for one thread.
class InputFile {
public:
    explicit InputFile(const std::string& path);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    // False when it cannot be opened, or is no regular file.
    [[nodiscard]] bool IsValid() const { return isValid_; }
    // Of a valid file, when it was opened.
    [[nodiscard]] uint64_t Size() const { return size_; }
    // Fills the room with what the file has from there on. False when it ends before, or cannot be read; the room may
    // be filled in part.
    [[nodiscard]] bool ReadAt(uint64_t at, char* room, size_t size) const;

    // From here to Release whoever wants to write to the file, or to cut it, waits (handles/read_lease.h). False, and
    // nobody waits, where a lease is not to be had, when the size is another one by now, and on file systems whose
    // files can change by other ways than a writer's on this machine: those of a network, of another process, and
    // those that are laid over others.
    [[nodiscard]] bool Hold();
    // False from when somebody waits.
    [[nodiscard]] bool IsHeld() const;
    // False when the file may have changed since Hold: somebody waited for so long that the system let them in.
    [[nodiscard]] bool Release();
    // Of a file that is held: so much of it from there on, a multiple of the page size, until the pages go. Not valid
    // where reading has to find out why, or there is nothing to be locked any more.
    [[nodiscard]] Handles::FilePages Map(uint64_t at, size_t size) const;

private:
    int file_;
    bool isValid_ = false;
    uint64_t size_ = 0;
};
} // namespace ORVX::TavomendEngine

#endif
