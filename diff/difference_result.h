// The codes that ApplyPatch gives.
#ifndef TAVOMEND_DIFF_DIFFERENCE_RESULT_H
#define TAVOMEND_DIFF_DIFFERENCE_RESULT_H

#include <string>

namespace ORVX::Difference {
// The numbers reach logs and scripts: they are never given another meaning.
enum DifferenceResult : int {
    DIFFERENCE_OK = 0,
    DIFFERENCE_BASE_UNREADABLE = 1,   // the old file is missing, no regular file, or cannot be read
    DIFFERENCE_UNREADABLE = 2,        // the same for the difference
    DIFFERENCE_OUTPUT_UNWRITABLE = 3, // the output cannot be created, written or flushed
    DIFFERENCE_NO_ROOM = 4,           // the disk has no room for the output
    DIFFERENCE_OUTPUT_IS_INPUT = 5,   // the output's path leads to the old file or the difference
    DIFFERENCE_FORMAT_UNKNOWN = 6,    // the difference is of no kind that is known here
    DIFFERENCE_SIZE_UNKNOWN = 7,      // a zstd frame that does not say how large its content is
    DIFFERENCE_TOO_LARGE = 8,         // the output would be larger than allowed, or than the difference can hold
    DIFFERENCE_NO_CHECKSUM = 9,       // a zstd frame without content checksum: damage could go unseen
    DIFFERENCE_TRAILING_BYTES = 10,   // something follows the end of the difference
    DIFFERENCE_DAMAGED = 11,          // the difference is cut or damaged
    DIFFERENCE_MISMATCH = 12,         // the outcome is wrong: a damaged difference, or one made for another base
    DIFFERENCE_NO_MEMORY = 13,        // no memory for decoding
    DIFFERENCE_WRONG_BASE = 14,       // the old file is not the one that the difference was made for
    DIFFERENCE_ZLIB_DIFFERS = 15,     // base and difference are intact, but deflating gave other bytes than the maker's
};

// One line for people; also for numbers that are no DifferenceResult.
[[nodiscard]] std::string DifferenceResultText(int result);
} // namespace ORVX::Difference

#endif
