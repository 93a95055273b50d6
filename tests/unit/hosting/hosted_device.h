// A device for the operations of the room hosting: the real engine, the host port, and a process for each operation.
#ifndef TAVOMEND_TESTS_UNIT_HOSTING_HOSTED_DEVICE_H
#define TAVOMEND_TESTS_UNIT_HOSTING_HOSTED_DEVICE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ports/host/host_port.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/recording_observer.h"

namespace ORVX::TavomendTest {
constexpr const char* REPORTS = "/tmp/reports";

// The host port, but for the starts that are to fail.
class WatchedPort : public IDevicePort {
public:
    [[nodiscard]] std::unique_ptr<IDevicePlatform> Start(ServiceStart start, std::string& error) const override;
    [[nodiscard]] std::string InstallCodeText(int32_t code) const override { return real_.InstallCodeText(code); }

    std::optional<ServiceStart> refused;
    std::optional<ServiceStart> deadly; // ends the process
    bool isBlind = false;               // its platforms cannot say what is installed

    void WatchRebuilds(RebuildWatcher watcher) const override { real_.WatchRebuilds(std::move(watcher)); }

private:
    TavomendHost::HostPort real_;
};

// com.a and com.b are factory applications at version 1; the recipe is a hot patch of both to version 2.
class HostedDeviceTest : public DeviceTest {
protected:
    using Operation = std::function<std::string(TavomendHosting::IHostObserver&)>;

    void SetUp() override { MakeDevice(); }
    // Also makes a fresh one out of one that has been used.
    void MakeDevice();
    // Puts the recipe's package in place, as after a delivery.
    void Place() const { PatchBuilder(recipe).Deliver(Key()); }
    // The recipe with `"need_reboot": true`.
    void AskForBoot();
    // Runs an operation in a process of its own, as hosts do; the reports, then what the operation gave, a line each.
    [[nodiscard]] static std::string Play(const Operation& operation);
    [[nodiscard]] std::string Apply() const;
    [[nodiscard]] std::string Load(int32_t runningStage) const;
    [[nodiscard]] std::string Boot() const;
    // "BUNDLE VERSION, BUNDLE VERSION"
    [[nodiscard]] static std::string Versions();
    [[nodiscard]] static const SigningKey& Key();

    PatchRecipe recipe;
    WatchedPort port;
};
} // namespace ORVX::TavomendTest

#endif
