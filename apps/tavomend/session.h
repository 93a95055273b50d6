// One call of the hosting program on one device.
#ifndef TAVOMEND_APPS_TAVOMEND_SESSION_H
#define TAVOMEND_APPS_TAVOMEND_SESSION_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/tavomend/console.h"
#include "ports/host/device_root.h"
#include "ports/host/host_port.h"

namespace ORVX::TavomendCli {
struct Options {
    std::string root = "/";
    int verbosity = 0; // 1 warnings and errors of the platform log, 2 all of it, 3 debug lines too
    bool isJson = false;
};

// Keeps the process on the device as long as it lives.
class Session {
public:
    explicit Session(const Options& options) : options_(options), console_(options.isJson) {}

    [[nodiscard]] const Options& GetOptions() const { return options_; }
    [[nodiscard]] const IDevicePort& Port() const { return port_; }
    [[nodiscard]] const Console& Out() const { return console_; }
    // False with a message when the folder is no device.
    [[nodiscard]] bool CheckDevice() const;
    // Sets the log up and enters the device root. False with a message when there is no device.
    [[nodiscard]] bool EnterDevice();
    // The same for a folder that is to become a device.
    [[nodiscard]] bool EnterRoot();
    // Null with a message on failure.
    [[nodiscard]] std::unique_ptr<IDevicePlatform> StartPlatform(ServiceStart start) const;

private:
    Options options_;
    Console console_;
    TavomendHost::HostPort port_;
    std::unique_ptr<TavomendHost::DeviceRoot> root_;
};

} // namespace ORVX::TavomendCli

#endif
