// Makes the difference between two files: of all kinds the smallest, proven by applying it.
#ifndef TAVOMEND_DIFF_DIFFERENCE_MAKER_H
#define TAVOMEND_DIFF_DIFFERENCE_MAKER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "diff/difference_limits.h"
#include "diff/step_progress.h"

namespace ORVX::Difference {
// ARCHIVE: the old archive's entries are inflated, and the new one's deflated again on the device.
// BYTES: the same format for files without such entries. PLAIN: a zstd frame with the old file as prefix.
enum class DifferenceKind { ARCHIVE, BYTES, PLAIN };

struct DifferenceReport {
    DifferenceKind kind = DifferenceKind::PLAIN;
    uint64_t oldSize = 0;
    uint64_t newSize = 0;
    uint64_t differenceSize = 0;
    uint64_t plainSize = 0;      // what the plain kind takes, or if it was given up, what it takes more than
    bool isPlainGivenUp = false; // it cannot win, and was not made to the end
    size_t entries = 0;          // entries that are deflated anew
    uint8_t version = 0;         // of the format that a device must read; 0: plain
    std::string failure;         // why there is no other kind than the plain one, for people; empty where all went well
    uint64_t window = 0;         // bytes of inflated old content that it holds at a time
    bool isCached = false;       // it was made before
    std::string unkept;          // why the cache did not take it, for people; empty where it did, or was not asked
};

// "archive", "bytes" or "plain".
[[nodiscard]] const char* DifferenceKindName(DifferenceKind kind);

struct DifferenceOptions {
    DifferenceProgress progress;
    std::function<void()> beforeMove; // called when the difference is proven, before it is moved in place; may be empty
    bool isPlainOnly = false;         // no other kind is tried: for devices whose difference library knows zstd alone
    // The highest version of the format that the device reads.
    uint8_t version = DIFFERENCE_VERSION_MAX;
    // Most inflated old content that the device shall hold at a time, in bytes; at least 4. No more than the version
    // allows is taken.
    size_t window = DIFFERENCE_WINDOW_USUAL;
    // New content of that many bytes and more takes shorter ways: it is cut and filtered only as does best on a sample
    // of it, searches from which little can come are left out, and LZMA gets one setting. What else could be gained is
    // not worth the time. Of a new file of that size the plain kind is not begun if a quicker one is far larger.
    size_t sampledFrom = size_t{16} << 20;
    // Bytes that the work shall take at most; 0: a quarter of what the machine has. It takes what it needs at least,
    // the changed content of both files and five times the window, and the outcome is the same.
    uint64_t memory = 0;
    std::string cacheFolder; // where differences are kept, so that the same one need not be made again; empty: nowhere
    uint64_t cacheMax = uint64_t{1} << 30; // bytes that those may take; the ones used last stay
};

struct DifferencePaths {
    std::string old;
    std::string fresh;
    std::string difference; // to be written
};

// Writes the difference in scratch files beside it, of which one for much content has its size, and moves it in place
// when it is proven: what was there under its path is replaced, if it was a regular file. False on failure, with one
// line for people in error; then what was there is still there, nothing is beside it, and report means nothing. Nobody
// may write to the two files meanwhile: they are mapped. Uses all cores; safe from any thread.
[[nodiscard]] bool MakeDifference(const DifferencePaths& paths, const DifferenceOptions& options,
                                  DifferenceReport& report, std::string& error);

// What a process that ends while it makes a difference may leave, and whoever ends it has to remove.
[[nodiscard]] std::vector<std::string> ScratchFilesOf(const DifferencePaths& paths);
} // namespace ORVX::Difference

#endif
