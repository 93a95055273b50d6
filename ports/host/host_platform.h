// The embedded platform: what stands behind platform/api in a process of a Linux host.
#ifndef TAVOMEND_PORTS_HOST_HOST_PLATFORM_H
#define TAVOMEND_PORTS_HOST_HOST_PLATFORM_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/api/device_port.h"
#include "platform/api/ref_base.h"

namespace ORVX::TavomendHost {
class BundleService;
class BundleStore;

// Owns the bundle service, its store and the account list of this process, on the device root that the process has
// entered. Starting registers the service under ability 401; the destructor waits for installs under way and
// unregisters it. One at a time in a process.
class HostPlatform : public IDevicePlatform {
public:
    // Null on failure (no device here, a store that cannot be opened); error is one line for people.
    [[nodiscard]] static std::unique_ptr<HostPlatform> Start(ServiceStart start, std::string& error);
    ~HostPlatform() override;
    HostPlatform(const HostPlatform&) = delete;
    HostPlatform& operator=(const HostPlatform&) = delete;

    // Creates the store and the directories of an empty device below the current root. False when there is one already
    // or it cannot be written.
    [[nodiscard]] static bool InitDevice(std::string& error);

    [[nodiscard]] const ScanReport& GetScanReport() const override;
    [[nodiscard]] std::vector<InstalledBundle> ListBundles() const override;
    [[nodiscard]] std::vector<int32_t> ListUsers() const override;
    [[nodiscard]] bool AddUser(int32_t userId, std::string& error) override;
    [[nodiscard]] bool RemoveUser(int32_t userId, std::string& error) override;

private:
    HostPlatform();

    std::shared_ptr<BundleStore> store_;
    sptr<BundleService> service_;
    ScanReport report_;
};
} // namespace ORVX::TavomendHost

#endif
