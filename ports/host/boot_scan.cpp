#include "ports/host/boot_scan.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <filesystem>
#include <set>

#include "platform/utility/file_utils.h"
#include "platform/utility/json_tool.h"
#include "ports/host/host_message.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;
using TavomendEngine::JsonTool;

namespace {
constexpr const char* FACTORY_APP_DIR = "/system/app";
constexpr const char* PACKAGE_SUFFIX = ".vab";
constexpr const char* COLD_DIR = "/data/update/tavomend/app/temp/cold";
constexpr const char* RECOVER_LIST = "/data/update/tavomend/app/temp/tavomend_app_recover.json";
constexpr const char* RECOVER_LIST_BACKUP = "/data/update/tavomend/app/temp/tavomend_app_recover.json.bak";

// Sorted, so that a scan does the same in the same order every time.
std::vector<std::string> ListBundleFiles(const std::string& directory)
{
    std::vector<std::string> paths;
    std::error_code error;
    for (fs::recursive_directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        std::error_code inner;
        if (fs::is_regular_file(at->symlink_status(inner)) && at->path().extension() == PACKAGE_SUFFIX) {
            paths.push_back(at->path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// False for a list that is there and cannot be read.
bool ReadRecoverList(std::vector<std::string>& names)
{
    const std::string path = FileUtils::FileIsExist(RECOVER_LIST_BACKUP) ? RECOVER_LIST_BACKUP : RECOVER_LIST;
    if (!FileUtils::FileIsExist(path)) {
        return true;
    }
    const JsonTool json;
    const std::unique_ptr<cJSON, void (*)(cJSON*)> root(json.ParseJsonFromFile(path), cJSON_Delete);
    const cJSON* list = json.GetArray(root.get(), "list");
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list)
    {
        if (cJSON_IsString(item) == 0) {
            return false;
        }
        names.emplace_back(item->valuestring);
    }
    return list != nullptr;
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
    factoryApps_ = CollectSets(FACTORY_APP_DIR);
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
    std::vector<std::string> names;
    if (!ReadRecoverList(names)) {
        Skip("", "the recover list is damaged");
        return;
    }
    for (const auto& name : names) {
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
    for (const auto& [name, set] : CollectSets(COLD_DIR)) {
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
