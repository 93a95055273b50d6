// The codes that ApplyPatch gives.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_PATCH_RESULT_H
#define TAVOMEND_PLATFORM_HOST_DIFF_PATCH_RESULT_H

#include <string>

namespace ORVX::TavomendHost {
// The numbers reach logs and scripts: they are never given another meaning.
enum PatchResult : int {
    PATCH_OK = 0,
    PATCH_BASE_UNREADABLE = 1,       // the old file is missing, no regular file, or cannot be read
    PATCH_DIFFERENCE_UNREADABLE = 2, // the same for the difference
    PATCH_OUTPUT_UNWRITABLE = 3,     // the output cannot be created, written or flushed
    PATCH_NO_ROOM = 4,               // the disk has no room for the output
    PATCH_OUTPUT_IS_INPUT = 5,       // the output's path leads to the old file or the difference
    PATCH_FORMAT_UNKNOWN = 6,        // the difference is of no kind that is known here
    PATCH_SIZE_UNKNOWN = 7,          // a zstd frame that does not say how large its content is
    PATCH_TOO_LARGE = 8,             // the output would be larger than allowed, or than the difference can hold
    PATCH_NO_CHECKSUM = 9,           // a zstd frame without content checksum: damage could go unseen
    PATCH_TRAILING_BYTES = 10,       // something follows the end of the difference
    PATCH_DAMAGED = 11,              // the difference is cut or damaged
    PATCH_MISMATCH = 12,             // the outcome is wrong: a damaged difference, or one made for another base
    PATCH_NO_MEMORY = 13,            // no memory for decoding
    PATCH_WRONG_BASE = 14,           // the old file is not the one that the difference was made for
    PATCH_ZLIB_DIFFERS = 15,         // base and difference are intact, but deflating gave other bytes than the maker's
};

// One line for people; also for numbers that are no PatchResult.
[[nodiscard]] std::string PatchResultText(int result);
} // namespace ORVX::TavomendHost

#endif
