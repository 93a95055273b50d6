#include "ports/host/boot_scan.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "platform/utility/file_utils.h"
#include "ports/host/host_message.h"
#include "ports/host/known_bundle_file.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using Formats::RecoverList;
using TavomendEngine::FileUtils;

namespace {
constexpr const char* CANNOT_READ_STORE = "the bundle store cannot be read";

std::string ParentOf(const std::string& path)
{
    return fs::path(path).parent_path().string();
}

bool IsGone(const std::string& path)
{
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::not_found;
}
} // namespace

BootScan::BootScan(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer,
                   std::unique_ptr<FactoryMemory> memory)
    : store_(std::move(store)), placer_(std::move(placer)), memory_(std::move(memory))
{
}

ScanReport BootScan::Run()
{
    if (!placer_->RemoveLeftovers()) {
        Skip("", std::string(CANNOT_READ_STORE) + ": nothing is cleaned up");
    }
    RegisterFactoryApps();
    RestoreRevokedApps();
    TakeInColdBundles();
    if (!placer_->RefreshNotes()) {
        Skip("", "the notes beside installed applications cannot be written");
    }
    if (memory_ != nullptr) {
        memory_->Save();
    }
    return std::move(report_);
}

BootScan::Reader BootScan::FactoryReader()
{
    if (memory_ == nullptr) {
        return {ListDirectory, ReadBundleFile};
    }
    return {[this](const std::string& path, Listing& listing) { return memory_->List(path, listing); },
            [this](const std::string& path, std::string& error) { return memory_->Read(path, error); }};
}

void BootScan::RegisterFactoryApps()
{
    factoryApps_ = CollectSets(Formats::FACTORY_APP_DIR, FactoryReader(), isFactoryWhole_);
    auto bundles = store_->ListBundles();
    if (!bundles) {
        for (const auto& factory : factoryApps_) {
            Skip(factory.first, CANNOT_READ_STORE);
        }
        Skip("", std::string(CANNOT_READ_STORE) + ": no application is forgotten");
        return;
    }
    auto installed = bundles->cbegin(); // both are in the names' order
    for (const auto& [name, factory] : factoryApps_) {
        installed = std::lower_bound(installed, bundles->cend(), name,
                                     [](const auto& bundle, const auto& wanted) { return bundle.bundleName < wanted; });
        const bool isThere = installed != bundles->cend() && installed->bundleName == name;
        RegisterFactoryApp(factory, isThere ? &*installed : nullptr);
    }
    ForgetMissingFactoryApps(std::move(*bundles));
}

void BootScan::RegisterFactoryApp(const BundleFileSet& factory, const InstalledBundle* installed)
{
    const uint32_t version = factory.manifest.versionCode;
    if (installed != nullptr && installed->isFactory && installed->versionCode == version &&
        installed->modules == factory.modules) {
        return;
    }
    if (installed != nullptr && !installed->isFactory && installed->versionCode > version) {
        if (installed->factoryVersion != version) {
            InstalledBundle changed = *installed;
            changed.factoryVersion = version;
            static_cast<void>(store_->ReplaceBundle(changed)); // tried again at the next boot
        }
        return;
    }
    UseFactory(factory, "factory");
}

void BootScan::UseFactory(const BundleFileSet& factory, const char* action)
{
    const std::string& name = factory.manifest.bundleName;
    for (const auto& module : factory.modules) {
        std::string message;
        if (memory_ != nullptr && !memory_->Confirm(module.second, message)) {
            Skip("", message);
            Skip(name, "its factory files could not be read; it stays as it is");
            return;
        }
    }
    if (!placer_->RestoreFactory(factory)) {
        Skip(name, "the store cannot be written");
        return;
    }
    Report(name, action, factory.manifest.versionCode);
}

void BootScan::ForgetMissingFactoryApps(std::vector<InstalledBundle> bundles)
{
    for (auto& bundle : bundles) {
        if (!bundle.factoryVersion || factoryApps_.count(bundle.bundleName) != 0 || StaysWithout(bundle)) {
            continue;
        }
        if (bundle.isFactory) {
            static_cast<void>(store_->RemoveBundle(bundle.bundleName));
            ForgetBundleFiles(bundle);
            Skip(bundle.bundleName, "its factory files are gone");
        } else {
            bundle.factoryVersion.reset();
            static_cast<void>(store_->ReplaceBundle(bundle));
        }
    }
}

bool BootScan::StaysWithout(const InstalledBundle& bundle)
{
    if (!bundle.isFactory) {
        return !isFactoryWhole_;
    }
    const auto isGone = [](const auto& module) { return IsGone(module.second); };
    if (std::all_of(bundle.modules.begin(), bundle.modules.end(), isGone)) {
        return false;
    }
    Skip(bundle.bundleName, "its factory files could not be read; it stays as it is");
    return true;
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
        std::optional<InstalledBundle> installed;
        const auto factory = factoryApps_.find(name);
        if (!Find(name, installed) || !installed || installed->isFactory) {
            continue;
        }
        if (factory == factoryApps_.end()) {
            Skip(name, "it has no factory version to go back to");
        } else {
            UseFactory(factory->second, "restored");
        }
    }
}

void BootScan::TakeInColdBundles()
{
    bool isWhole = true;
    for (const auto& [name, set] : CollectSets(Formats::COLD_WORK_DIR, {ListDirectory, ReadBundleFile}, isWhole)) {
        std::optional<InstalledBundle> installed;
        if (!Find(name, installed)) {
            continue;
        }
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

// The bundle files below a directory, and the directories that could not be listed.
void BootScan::ListBundleFiles(const std::string& directory, const Reader& reader, Paths& found)
{
    Listing listing;
    if (!reader.list(directory, listing)) {
        found.unlisted.push_back(directory);
    }
    for (const auto& name : listing.bundleFiles) {
        found.files.push_back(directory + "/" + name);
    }
    for (const auto& name : listing.directories) {
        ListBundleFiles(directory + "/" + name, reader, found);
    }
}

BootScan::Sets BootScan::CollectSets(const std::string& directory, const Reader& reader, bool& isWhole)
{
    Sets sets;
    std::set<std::string> refused;
    Paths found;
    ListBundleFiles(directory, reader, found);
    std::vector<std::string>& paths = found.files;
    std::vector<std::string>& unread = found.unlisted; // and, from here on, directories of files that cannot be read
    for (const auto& unlisted : unread) {
        Skip("", "cannot read " + unlisted);
    }
    std::sort(paths.begin(), paths.end()); // so that a scan does the same in the same order every time
    for (const auto& path : paths) {
        std::string message;
        const auto manifest = reader.read(path, message);
        if (!manifest) {
            Skip("", message);
            unread.push_back(ParentOf(path));
            continue;
        }
        if (AddToBundleFileSet(path, *manifest, sets[manifest->bundleName], message) != INSTALL_OK) {
            Skip(manifest->bundleName, message);
            refused.insert(manifest->bundleName);
        }
    }
    for (const auto& [name, set] : sets) {
        const auto isInDoubt = [&unread](const auto& module) {
            return std::find(unread.begin(), unread.end(), ParentOf(module.second)) != unread.end();
        };
        if (refused.count(name) == 0 && std::any_of(set.modules.begin(), set.modules.end(), isInDoubt)) {
            Skip(name, "a file beside its own could not be read");
            refused.insert(name);
        }
    }
    for (const auto& name : refused) {
        sets.erase(name);
    }
    isWhole = refused.empty() && unread.empty();
    return sets;
}

bool BootScan::Find(const std::string& bundleName, std::optional<InstalledBundle>& installed)
{
    const bool isRead = store_->FindBundle(bundleName, installed);
    if (!isRead) {
        Skip(bundleName, CANNOT_READ_STORE);
    }
    return isRead;
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
