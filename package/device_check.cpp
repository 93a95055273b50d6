#include "package/device_check.h"

#include <algorithm>

#include "common/log.h"
#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr uint64_t SAFETY_MARGIN = 0x80000; // KiB: 512 MiB that a device keeps free

// Twice the size, for the rebuilt file and its copy while it is installed, and a fifth for what goes with it.
uint64_t RoomToRebuild(uint64_t size)
{
    return size / 5 + 2 * size;
}
} // namespace

bool DeviceCheck::HasBaseVersion(const std::vector<std::string>& versions)
{
    if (std::find(versions.begin(), versions.end(), SysUtils::GetBaseVersion()) != versions.end()) {
        return true;
    }
    TAVOMEND_LOG_E("base version not equal target version");
    return false;
}

bool DeviceCheck::HasRoomFor(int32_t space)
{
    if (space < 0) {
        TAVOMEND_LOG_E("packageInfo space invalid");
        return false;
    }
    const auto packageSpace = static_cast<uint64_t>(space);
    uint64_t curAppSpace = 0;
    if (!FileUtils::GetDirSize(Formats::WORK_DIR, curAppSpace)) {
        TAVOMEND_LOG_E("app tmp dir not exist");
        return false;
    }
    TAVOMEND_LOG_D("curAppSpace: %lu", curAppSpace);
    uint64_t needSpace = 0;
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        // Unsigned: where the work directory holds more than 2.2 times the space, the value wraps around, and adding
        // the margin below wraps it back. An excess of up to the margin's 512 MiB is so taken off the margin and
        // passes, with less room asked for; one beyond it stays a huge number and is refused.
        needSpace = RoomToRebuild(packageSpace) - curAppSpace;
    } else {
        if (curAppSpace >= packageSpace) {
            return true;
        }
        const uint64_t unInstalledAppSize = packageSpace - curAppSpace;
        TAVOMEND_LOG_D("unInstalledAppSize: %lu", unInstalledAppSize);
        needSpace = RoomToRebuild(unInstalledAppSize);
    }
    needSpace += SAFETY_MARGIN;
    const auto freeSpace = static_cast<uint64_t>(std::max(FileUtils::GetDiskFreeSpace(Formats::WORK_DIR), 0));
    if (needSpace > freeSpace) {
        TAVOMEND_LOG_E("free space: %{public}lu, needSpace: %{public}lu", freeSpace, needSpace);
        return false;
    }
    return true;
}
} // namespace ORVX::TavomendEngine
