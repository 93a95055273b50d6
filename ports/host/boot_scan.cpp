#include "ports/host/boot_scan.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "platform/utility/file_utils.h"
#include "ports/host/host_message.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using Formats::RecoverList;
using TavomendEngine::FileUtils;

namespace {
// Sorted, so that a scan does the same in the same order every time.
std::vector<std::string> ListBundleFiles(const std::string& directory)
{
    std::vector<std::string> paths;
    std::error_code error;
    for (fs::recursive_directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        std::error_code inner;
        if (fs::is_regular_file(at->symlink_status(inner)) && at->path().extension() == Formats::BUNDLE_FILE_SUFFIX) {
            paths.push_back(at->path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}
} // namespace

BootScan::BootScan(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer)
    : store_(std::move(store)), placer_(std::move(placer))
{
}

ScanReport BootScan::Run()
{
    placer_->RemoveLeftovers();
    RegisterFactoryApps();
    RestoreRevokedApps();
    TakeInColdBundles();
    return std::move(report_);
}

void BootScan::RegisterFactoryApps()
{
    factoryApps_ = CollectSets(Formats::FACTORY_APP_DIR);
    for (const auto& factory : factoryApps_) {
        RegisterFactoryApp(factory.second);
    }
    ForgetMissingFactoryApps();
}

void BootScan::RegisterFactoryApp(const BundleFileSet& factory)
{
    auto installed = store_->FindBundle(factory.manifest.bundleName);
    const uint32_t version = factory.manifest.versionCode;
    if (installed && installed->isFactory && installed->versionCode == version &&
        installed->modules == factory.modules) {
        return;
    }
    if (installed && !installed->isFactory && installed->versionCode > version) {
        if (installed->factoryVersion != version) {
            installed->factoryVersion = version;
            static_cast<void>(store_->ReplaceBundle(*installed)); // tried again at the next boot
        }
        return;
    }
    if (placer_->RestoreFactory(factory)) {
        Report(factory.manifest.bundleName, "factory", version);
    } else {
        Skip(factory.manifest.bundleName, "the store cannot be written");
    }
}

void BootScan::ForgetMissingFactoryApps()
{
    for (auto& bundle : store_->ListBundles()) {
        if (!bundle.factoryVersion || factoryApps_.count(bundle.bundleName) != 0) {
            continue;
        }
        if (bundle.isFactory) {
            static_cast<void>(store_->RemoveBundle(bundle.bundleName));
            Skip(bundle.bundleName, "its factory files are gone");
        } else {
            bundle.factoryVersion.reset();
            static_cast<void>(store_->ReplaceBundle(bundle));
        }
    }
}

void BootScan::RestoreRevokedApps()
{
    const std::string path = Formats::RecoverListInForce();
    if (!FileUtils::FileIsExist(path)) {
        return;
    }
    const RecoverList list = Formats::ReadRecoverList(path);
    if (list.kind != RecoverList::Kind::WHOLE) {
        Skip("", "the recover list is damaged");
        return;
    }
    for (const auto& name : list.names) {
        const auto installed = store_->FindBundle(name);
        const auto factory = factoryApps_.find(name);
        if (!installed || installed->isFactory) {
            continue;
        }
        if (factory == factoryApps_.end()) {
            Skip(name, "it has no factory version to go back to");
        } else if (placer_->RestoreFactory(factory->second)) {
            Report(name, "restored", factory->second.manifest.versionCode);
        } else {
            Skip(name, "the store cannot be written");
        }
    }
}

void BootScan::TakeInColdBundles()
{
    for (const auto& [name, set] : CollectSets(Formats::COLD_WORK_DIR)) {
        const auto installed = store_->FindBundle(name);
        if (installed && installed->versionCode >= set.manifest.versionCode) {
            continue; // taken in by an earlier scan, or overtaken
        }
        std::string message;
        if (placer_->Update(set, message) == INSTALL_OK) {
            Report(name, "updated", set.manifest.versionCode);
        } else {
            Skip(name, message);
        }
    }
}

BootScan::Sets BootScan::CollectSets(const std::string& directory)
{
    Sets sets;
    std::set<std::string> refused;
    for (const auto& path : ListBundleFiles(directory)) {
        std::string message;
        const auto manifest = Formats::BundleFile::Read(path, message);
        if (!manifest) {
            Skip("", message);
            continue;
        }
        if (AddToBundleFileSet(path, *manifest, sets[manifest->bundleName], message) != INSTALL_OK) {
            Skip(manifest->bundleName, message);
            refused.insert(manifest->bundleName);
        }
    }
    for (const auto& name : refused) {
        sets.erase(name);
    }
    return sets;
}

void BootScan::Report(const std::string& bundleName, const char* action, uint32_t versionCode)
{
    HostMessage(KALOG_INFO, "scan: " + bundleName + " " + action + ", version " + std::to_string(versionCode));
    report_.entries.push_back({bundleName, action, "", versionCode});
}

void BootScan::Skip(const std::string& bundleName, const std::string& reason)
{
    HostMessage(KALOG_WARN, "scan: " + bundleName + " skipped: " + reason);
    report_.entries.push_back({bundleName, "skipped", reason, 0});
}
} // namespace ORVX::TavomendHost
