// What the bundle service does when a device boots, before anybody may ask it.
#ifndef TAVOMEND_PORTS_HOST_BOOT_SCAN_H
#define TAVOMEND_PORTS_HOST_BOOT_SCAN_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ports/host/bundle_placer.h"
#include "ports/host/bundle_store.h"
#include "ports/host/factory_memory.h"
#include "ports/host/host_platform.h"

namespace ORVX::TavomendHost {
// Factory applications first; then every bundle of the recover list goes back to its factory version; then the rebuilt
// bundle files under the cold work directory are taken in. Each step looks at what is there, so that a scan that was
// cut short and runs again ends the same. What cannot be read, in the store or among the files, is not taken for gone:
// nothing is removed or forgotten for its sake.
class BootScan {
public:
    // The store is open and shared with the service; nobody installs while the scan runs. With a memory, factory files
    // that it knows are not read, unless an application is to run them from now on.
    BootScan(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer,
             std::unique_ptr<FactoryMemory> memory = nullptr);
    // Once per object. Tells what was done and what was skipped, and why; a scan never fails as a whole.
    [[nodiscard]] ScanReport Run();

private:
    using Sets = std::map<std::string, BundleFileSet>; // by bundle name
    // What is below a directory: read, or remembered.
    struct Reader {
        std::function<bool(const std::string& path, Listing& listing)> list;
        std::function<std::optional<Formats::BundleManifest>(const std::string& path, std::string& error)> read;
    };
    struct Paths {
        std::vector<std::string> files;
        std::vector<std::string> unlisted;
    };

    [[nodiscard]] Reader FactoryReader();
    void RegisterFactoryApps();
    void RegisterFactoryApp(const BundleFileSet& factory, const InstalledBundle* installed);
    void ForgetMissingFactoryApps(std::vector<InstalledBundle> bundles);
    void RestoreRevokedApps();
    void TakeInColdBundles();
    static void ListBundleFiles(const std::string& directory, const Reader& reader, Paths& found);
    // The whole bundle files below a directory, by bundle; what cannot be used is reported. isWhole becomes false when
    // not everything there could be read and used: then a missing bundle need not be gone.
    [[nodiscard]] Sets CollectSets(const std::string& directory, const Reader& reader, bool& isWhole);
    // Lets an application run its factory files, and reports it, or why not.
    void UseFactory(const BundleFileSet& factory, const char* action);
    // What the store has of it; false, reported, when that cannot be read.
    [[nodiscard]] bool Find(const std::string& bundleName, std::optional<InstalledBundle>& installed);
    // Whether a bundle without a factory set stays: its factory files may be there and only not be read. Reported.
    [[nodiscard]] bool StaysWithout(const InstalledBundle& bundle);
    void Report(const std::string& bundleName, const char* action, uint32_t versionCode);
    void Skip(const std::string& bundleName, const std::string& reason);

    std::shared_ptr<BundleStore> store_;
    std::shared_ptr<BundlePlacer> placer_;
    std::unique_ptr<FactoryMemory> memory_;
    Sets factoryApps_;
    bool isFactoryWhole_ = true;
    ScanReport report_;
};
} // namespace ORVX::TavomendHost

#endif
