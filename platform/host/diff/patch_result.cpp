#include "platform/host/diff/patch_result.h"

namespace ORVX::TavomendHost {
std::string PatchResultText(int result)
{
    switch (result) {
    case PATCH_OK:
        return "the file was rebuilt";
    case PATCH_BASE_UNREADABLE:
        return "the old file cannot be read";
    case PATCH_DIFFERENCE_UNREADABLE:
        return "the difference cannot be read";
    case PATCH_OUTPUT_UNWRITABLE:
        return "the new file cannot be written";
    case PATCH_NO_ROOM:
        return "the disk has no room for the new file";
    case PATCH_OUTPUT_IS_INPUT:
        return "the new file would overwrite the old file or the difference";
    case PATCH_FORMAT_UNKNOWN:
        return "the difference is of an unknown kind";
    case PATCH_SIZE_UNKNOWN:
        return "the difference does not say how large the new file is";
    case PATCH_TOO_LARGE:
        return "the new file would be too large";
    case PATCH_NO_CHECKSUM:
        return "the difference carries no checksum";
    case PATCH_TRAILING_BYTES:
        return "something follows the end of the difference";
    case PATCH_DAMAGED:
        return "the difference is damaged";
    case PATCH_MISMATCH:
        return "the difference is damaged, or was made for another old file";
    case PATCH_NO_MEMORY:
        return "not enough memory";
    case PATCH_WRONG_BASE:
        return "the old file is not the one that the difference was made for";
    case PATCH_ZLIB_DIFFERS:
        return "the zlib of this device does not write what the maker's did";
    default:
        return "unknown result " + std::to_string(result);
    }
}
} // namespace ORVX::TavomendHost
