// What the engine asks of the running system.
#ifndef TAVOMEND_PLATFORM_UTILITY_SYS_UTILS_H
#define TAVOMEND_PLATFORM_UTILITY_SYS_UTILS_H

#include <cstdint>
#include <string>

namespace ORVX::TavomendEngine {
constexpr int32_t RUNNING_STAGE_INIT = 0;
constexpr int32_t RUNNING_STAGE_SA = 1;

constexpr const char* OS_RELEASE_PATH = "/etc/os-release"; // os-release(5)

// Process-wide; safe from any thread.
class SysUtils {
public:
    // RUNNING_STAGE_INIT in the early init stage, where no bundle service runs; RUNNING_STAGE_SA afterwards.
    [[nodiscard]] static int32_t GetRunningStage();
    // Told once by the hosting program before it calls the engine; the system-service stage otherwise.
    static void SetRunningStage(int32_t stage);
    // The device's base version: IMAGE_VERSION of /etc/os-release, else VERSION_ID; empty when there is neither.
    // (os-release(5): shell-compatible assignments, values may be quoted.)
    [[nodiscard]] static std::string GetBaseVersion();
};
} // namespace ORVX::TavomendEngine

#endif
