#include "apps/tvpk/free_room.h"

#include <cerrno>
#include <filesystem>

#include "handles/file_error.h"

namespace ORVX::Tvpk {
std::string WhyNoRoom(const std::string& directory, uint64_t bytes, const std::string& output)
{
    std::error_code untold;
    const auto space = std::filesystem::space(directory.empty() ? "." : directory, untold);
    if (untold || space.capacity == 0 || space.available >= bytes) { // no capacity: nothing that is a disk
        return "";
    }
    return Handles::CannotWrite(output, ENOSPC) + ": " + std::to_string(bytes) + " bytes or more are needed";
}
} // namespace ORVX::Tvpk
