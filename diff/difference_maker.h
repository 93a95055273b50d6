// Makes the difference between two files: of all kinds the smallest, proven by applying it.
#ifndef TAVOMEND_DIFF_DIFFERENCE_MAKER_H
#define TAVOMEND_DIFF_DIFFERENCE_MAKER_H

#include <cstdint>
#include <functional>
#include <string>

#include "diff/difference_header.h"

namespace ORVX::Difference {
// ARCHIVE: the old archive's entries are inflated, and the new one's deflated again on the device.
// BYTES: the same format for files without such entries. PLAIN: a zstd frame with the old file as prefix.
enum class DifferenceKind { ARCHIVE, BYTES, PLAIN };

struct DifferenceReport {
    DifferenceKind kind = DifferenceKind::PLAIN;
    uint64_t oldSize = 0;
    uint64_t newSize = 0;
    uint64_t diffSize = 0;
    uint64_t plainSize = 0; // what the plain kind takes
    size_t entries = 0;     // entries that are deflated anew
};

// "archive", "bytes" or "plain".
[[nodiscard]] const char* DifferenceKindName(DifferenceKind kind);

// step: "inflate", "match", "encode" or "verify"; done counts up to total. Called from any thread, one at a time.
using DifferenceProgress = std::function<void(const std::string& step, uint64_t done, uint64_t total)>;

struct DifferenceOptions {
    DifferenceProgress progress;
    bool isPlainOnly = false; // no other kind is tried: for devices whose difference library knows zstd alone
    // Most inflated old content that the device shall hold at a time, in bytes; at least 4.
    size_t window = DIFFERENCE_WINDOW_MAX;
};

// Writes the difference to diffPath, and for a moment a scratch file beside it. False on failure, with one line for
// people in error; then there is no file at diffPath.
[[nodiscard]] bool MakeDifference(const std::string& oldPath, const std::string& newPath, const std::string& diffPath,
                                  const DifferenceOptions& options, DifferenceReport& report, std::string& error);
} // namespace ORVX::Difference

#endif
