// What the bundle service does when a device boots, before anybody may ask it.
#ifndef TAVOMEND_PLATFORM_HOST_BOOT_SCAN_H
#define TAVOMEND_PLATFORM_HOST_BOOT_SCAN_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/host/bundle_store.h"
#include "platform/host/host_platform.h"
#include "platform/host/package_placer.h"

namespace ORVX::TavomendHost {
// Factory applications first; then every bundle of the recover list goes back to its factory version; then the rebuilt
// packages under the cold work directory are taken in. Each step looks at what is there, so that a scan that was cut
// short and runs again ends the same.
class BootScan {
public:
    BootScan(std::shared_ptr<BundleStore> store, std::shared_ptr<PackagePlacer> placer);
    [[nodiscard]] ScanReport Run();

private:
    using Sets = std::map<std::string, PackageSet>; // by bundle name

    void RegisterFactoryApps();
    void RegisterFactoryApp(const PackageSet& factory);
    void ForgetMissingFactoryApps();
    void RestoreRevokedApps();
    void TakeInColdPackages();
    // The whole package files below a directory, by bundle; what cannot be used is reported.
    [[nodiscard]] Sets CollectSets(const std::string& directory);
    void Report(const std::string& bundleName, const char* action, uint32_t versionCode);
    void Skip(const std::string& bundleName, const std::string& reason);

    std::shared_ptr<BundleStore> store_;
    std::shared_ptr<PackagePlacer> placer_;
    Sets factoryApps_;
    ScanReport report_;
};
} // namespace ORVX::TavomendHost

#endif
