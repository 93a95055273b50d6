// Lays out a device in a folder, and shows what is installed on one.
#ifndef TAVOMEND_APPS_TAVOMEND_DEVICE_SETUP_H
#define TAVOMEND_APPS_TAVOMEND_DEVICE_SETUP_H

#include <string>
#include <vector>

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
struct DeviceSetup {
    std::string baseVersion = "1.0.0";
    std::string publicKey;                 // PEM file; may be empty
    std::vector<std::string> factoryFiles; // .vab files
};

[[nodiscard]] int RunDeviceInit(Session& session, const DeviceSetup& setup);
[[nodiscard]] int RunDeviceInstall(Session& session, const std::vector<std::string>& files, int32_t userId);
[[nodiscard]] int RunDeviceUsers(Session& session, const std::vector<int32_t>& added,
                                 const std::vector<int32_t>& removed);
[[nodiscard]] int RunDeviceList(Session& session);
} // namespace ORVX::TavomendCli

#endif
