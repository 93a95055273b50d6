#include "diff/difference_result.h"

namespace ORVX::Difference {
std::string DifferenceResultText(int result)
{
    switch (result) {
    case DIFFERENCE_OK:
        return "the file was rebuilt";
    case DIFFERENCE_BASE_UNREADABLE:
        return "the old file cannot be read";
    case DIFFERENCE_UNREADABLE:
        return "the difference cannot be read";
    case DIFFERENCE_OUTPUT_UNWRITABLE:
        return "the new file cannot be written";
    case DIFFERENCE_NO_ROOM:
        return "the disk has no room for the new file";
    case DIFFERENCE_OUTPUT_IS_INPUT:
        return "the new file would overwrite the old file or the difference";
    case DIFFERENCE_FORMAT_UNKNOWN:
        return "the difference is of an unknown kind";
    case DIFFERENCE_SIZE_UNKNOWN:
        return "the difference does not say how large the new file is";
    case DIFFERENCE_TOO_LARGE:
        return "the new file would be too large";
    case DIFFERENCE_NO_CHECKSUM:
        return "the difference carries no checksum";
    case DIFFERENCE_TRAILING_BYTES:
        return "something follows the end of the difference";
    case DIFFERENCE_DAMAGED:
        return "the difference is damaged";
    case DIFFERENCE_MISMATCH:
        return "the difference is damaged, or was made for another old file";
    case DIFFERENCE_NO_MEMORY:
        return "not enough memory";
    case DIFFERENCE_WRONG_BASE:
        return "the old file is not the one that the difference was made for";
    case DIFFERENCE_ZLIB_DIFFERS:
        return "the zlib of this device does not write what the maker's did";
    default:
        return "unknown result " + std::to_string(result);
    }
}
} // namespace ORVX::Difference
