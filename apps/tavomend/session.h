// One call of the hosting program on one device.
#ifndef TAVOMEND_APPS_TAVOMEND_SESSION_H
#define TAVOMEND_APPS_TAVOMEND_SESSION_H

#include <memory>
#include <string>

#include "apps/common/console.h"
#include "hosting/device_lock.h"
#include "hosting/event_observer.h"
#include "ports/host/device_root.h"
#include "ports/host/host_port.h"
#include "ports/host/journal_sink.h"

namespace ORVX::TavomendCli {
using Cli::EXIT_BUSY;
using Cli::EXIT_DONE;
using Cli::EXIT_FAILED;
using Cli::EXIT_NEEDS_BOOT;
using Cli::EXIT_NOTHING;
using Cli::EXIT_USAGE;

struct Options {
    std::string root = "/"; // the device's folder, without a "/" at its end; "/" for this machine
    int verbosity = 0;      // 1 warnings and errors of the platform log, 2 all of it, 3 debug lines too
    bool isJson = false;
    int wait = 0; // seconds for which to wait for a busy device; negative for ever
};

// Made by the command line for each command; keeps the process on the device as long as it lives. Failures are shown
// where they happen, and a command that meets one ends with EXIT_FAILED.
class Session {
public:
    // operation: what is done, of the command line, told to other callers and to the journal.
    Session(const Options& options, std::string operation)
        : options_(options), operation_(std::move(operation)), console_("tavomend", options.isJson)
    {
    }

    // What a path on the device is appended to: nothing once the device is entered.
    [[nodiscard]] std::string DeviceFolder() const
    {
        return options_.root == "/" || root_ != nullptr ? "" : options_.root;
    }
    [[nodiscard]] const IDevicePort& Port() const { return port_; }
    [[nodiscard]] const Cli::Console& Out() const { return console_; }
    // Before the device is entered. False, shown, when the folder is no device.
    [[nodiscard]] bool CheckDevice() const;
    // Holds the device's lock as long as the session lives. EXIT_DONE; otherwise the exit code, shown.
    [[nodiscard]] int Lock();
    // Puts events into the journal, with fields for application and code; nowhere where none listens. After the device
    // is entered; the session must outlive it.
    [[nodiscard]] TavomendHosting::EventObserver::Log Events() const;
    // Checks, sets the log up and enters the device root; once, before the process has a second thread. False, shown,
    // on failure.
    [[nodiscard]] bool EnterDevice();
    // The same, without the check, for a folder that is to become a device.
    [[nodiscard]] bool EnterRoot();
    // Back out of the device root, where one was entered.
    void LeaveRoot() { root_.reset(); }
    // The port's services, on the device root, for commands that ask them and not the engine. Null, shown, on failure.
    [[nodiscard]] std::unique_ptr<IDevicePlatform> StartPlatform(ServiceStart start) const;

private:
    Options options_;
    std::string operation_;
    TavomendHosting::DeviceLock lock_;
    Cli::Console console_;
    TavomendHost::HostPort port_;
    std::unique_ptr<TavomendHost::DeviceRoot> root_;
    std::shared_ptr<TavomendHost::JournalSink> journal_;
};

} // namespace ORVX::TavomendCli

#endif
