// The embedded platform: what stands behind platform/api in a process of a Linux host.
#ifndef TAVOMEND_PLATFORM_HOST_HOST_PLATFORM_H
#define TAVOMEND_PLATFORM_HOST_HOST_PLATFORM_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/api/ref_base.h"

namespace ORVX::TavomendHost {
class BundleService;
class BundleStore;

enum class ServiceStart {
    SCAN,   // a boot: the service scans, then publishes event 1
    ATTACH, // a look at a device that has come up: nothing is changed, event 1 counts as published
};

// What one boot scan did, for people to read.
struct ScanReport {
    struct Entry {
        std::string bundleName;   // empty for a file whose bundle could not be read
        std::string action;       // "factory", "restored", "updated", "skipped"
        std::string reason;       // why it was skipped; empty otherwise
        uint32_t versionCode = 0; // after the action
    };
    std::vector<Entry> entries;
};

// One installed bundle as `device list` shows it.
struct InstalledBundle {
    std::string bundleName;
    std::vector<int32_t> users; // 0 alone for a singleton
    uint32_t versionCode = 0;
    std::string versionName;
    bool isUpdated = false; // runs another version than the factory's, or has no factory version
    bool hasFactoryVersion = false;
    bool keepAlive = false;
    bool singleton = false;
    std::string bundleType; // "app" or "appServiceFwk"
    std::vector<std::string> packagePaths;
};

// Owns the bundle service, its store and the account list of this process, on the device root that the process has
// entered. Starting registers the service under ability 401; the destructor waits for installs under way and
// unregisters it. One at a time in a process.
class HostPlatform {
public:
    // Null on failure (no device here, a store that cannot be opened); error is one line for people.
    [[nodiscard]] static std::unique_ptr<HostPlatform> Start(ServiceStart start, std::string& error);
    ~HostPlatform();
    HostPlatform(const HostPlatform&) = delete;
    HostPlatform& operator=(const HostPlatform&) = delete;

    // Creates the store and the directories of an empty device below the current root. False when there is one already
    // or it cannot be written.
    [[nodiscard]] static bool InitDevice(std::string& error);

    [[nodiscard]] const ScanReport& GetScanReport() const;
    [[nodiscard]] std::vector<InstalledBundle> ListBundles() const;
    [[nodiscard]] std::vector<int32_t> ListUsers() const;
    // Creates an account and publishes event 2. False when it exists or the id is negative.
    [[nodiscard]] bool AddUser(int32_t userId, std::string& error);
    [[nodiscard]] bool RemoveUser(int32_t userId, std::string& error);

private:
    HostPlatform();

    std::shared_ptr<BundleStore> store_;
    sptr<BundleService> service_;
    ScanReport report_;
};
} // namespace ORVX::TavomendHost

#endif
