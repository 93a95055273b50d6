// The embedded platform: what stands behind platform/api in a process of a Linux host.
#ifndef TAVOMEND_PORTS_HOST_HOST_PLATFORM_H
#define TAVOMEND_PORTS_HOST_HOST_PLATFORM_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/device_port.h"
#include "platform/api/ref_base.h"

namespace ORVX::TavomendHost {
class BundlePlacer;
class BundleService;
class BundleStore;

// Owns the bundle service, its store and the account list of this process, on the device root that the process has
// entered. Starting registers the service under ability 401 and lets the account service answer from the store; the
// destructor waits for installs under way, tells those who left a death recipient, and unregisters the service. Who
// kept the proxy from the register reaches the service of the next platform by it. One at a time in a process: the next
// one may be started before the last one is destroyed, and stands then. Operations are safe from any thread.
class HostPlatform : public IDevicePlatform {
public:
    // Null on failure (no device here, a store that cannot be read); error is one line for people and nothing is
    // registered. A damaged store is made anew by a scan, which its report tells; a look fails on it. Event 1 is
    // published when the service answers.
    [[nodiscard]] static std::unique_ptr<HostPlatform> Start(ServiceStart start, std::string& error);
    ~HostPlatform() override;
    HostPlatform(const HostPlatform&) = delete;
    HostPlatform& operator=(const HostPlatform&) = delete;

    // What InitDevice makes, where it is missing: directories and files.
    [[nodiscard]] static std::vector<std::string> InitPaths();
    // Makes the current root a device: its directories, an account file where there is none, and the store, with the
    // factory applications that can be used, what is installed below /data/app, and one account (100) where none is
    // noted. The store comes last and whole, so that a root is a device or is none. False with one line for people when
    // there is a device already, an installed version cannot be read, or something cannot be written; what was made
    // until then stays, and the next call goes on from it.
    [[nodiscard]] static bool InitDevice(std::string& error);
    // The same for a root that has a system of its own: what is there stays as it is, a store and accounts too, and the
    // engine's account is added to those that there are (AddEngineAccount).
    [[nodiscard]] static bool CompleteSystem(bool& isAccountAdded, std::string& error);

    // IDevicePlatform
    [[nodiscard]] const ScanReport& GetScanReport() const override;
    [[nodiscard]] std::optional<std::vector<InstalledBundle>> ListBundles() const override;
    [[nodiscard]] std::optional<std::vector<int32_t>> ListUsers() const override;
    [[nodiscard]] bool AddUser(int32_t userId, std::string& error) override;
    [[nodiscard]] bool RemoveUser(int32_t userId, std::string& error) override;

private:
    HostPlatform(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer);

    const std::shared_ptr<BundleStore> store_;
    const std::shared_ptr<BundlePlacer> placer_;
    const sptr<BundleService> service_;
    ScanReport report_;
};
} // namespace ORVX::TavomendHost

#endif
