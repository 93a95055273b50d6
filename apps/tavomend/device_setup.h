// Lays out a device in a folder, and shows what is installed on one.
#ifndef TAVOMEND_APPS_TAVOMEND_DEVICE_SETUP_H
#define TAVOMEND_APPS_TAVOMEND_DEVICE_SETUP_H

#include <string>
#include <vector>

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
// All of them run on a session that has not entered its device, show what they did or why they failed, and give the
// program's exit code. None leaves copies of the files that it was given behind on a failure.

struct DeviceSetup {
    std::string baseVersion = "1.0.0";     // printable characters that os-release(5) takes as they are
    std::string publicKey;                 // PEM file; may be empty
    std::vector<std::string> factoryFiles; // .vab files
};

// Makes the folder a device: base version, public key, factory applications, user 100. Fails on a folder that is a
// device, on the machine itself, and on factory files that would not all be installed. A failed init leaves the folder
// as it was; one that was cut short has made no device, and can be run again.
[[nodiscard]] int RunDeviceInit(Session& session, const DeviceSetup& setup);
// Has the bundle service install the bundle files of one application, and waits for its verdict. userId: 0 for a
// singleton.
[[nodiscard]] int RunDeviceInstall(Session& session, const std::vector<std::string>& files, int32_t userId);
// One line for each installed application.
[[nodiscard]] int RunDeviceList(Session& session);
} // namespace ORVX::TavomendCli

#endif
