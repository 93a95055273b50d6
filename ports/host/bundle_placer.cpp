#include "ports/host/bundle_placer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"
#include "ports/host/installed_notes.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using Formats::INSTALLED_APP_DIR;
using TavomendEngine::FileUtils;

namespace {
constexpr const char* REMOVED_DIR = "/data/app/.removed";
constexpr const char* CANNOT_READ_STORE = "the bundle store cannot be read";

// A directory for the version that is not there yet: a re-install must not touch the files in use.
std::string NewVersionDir(const InstalledBundle& bundle)
{
    const std::string base =
        std::string(INSTALLED_APP_DIR) + "/" + bundle.bundleName + "/v" + std::to_string(bundle.versionCode);
    std::string dir = base;
    for (int i = 1; FileUtils::DirIsExist(dir); ++i) {
        dir = base + "-" + std::to_string(i);
    }
    return dir;
}

std::set<std::string> DirsOf(const InstalledBundle& bundle)
{
    std::set<std::string> dirs;
    for (const auto& module : bundle.modules) {
        dirs.insert(fs::path(module.second).parent_path().string());
    }
    return dirs;
}

// Out of the way in one step: what stands in a version's place is always whole.
void RemoveVersion(const std::string& dir)
{
    FileUtils::CleanDir(REMOVED_DIR, true);
    if (FileUtils::RenameFile(dir, REMOVED_DIR)) {
        FileUtils::CleanDir(REMOVED_DIR, true);
    }
}

void RemoveFormer(const std::optional<InstalledBundle>& installed)
{
    if (installed && !installed->isFactory) {
        for (const auto& old : DirsOf(*installed)) {
            RemoveVersion(old);
        }
    }
}

// Moves the files, in one rename, to `dir`; the bundle's paths become those in `dir`.
bool MoveIntoPlace(InstalledBundle& bundle, StagedFiles& staged, const std::string& dir)
{
    for (auto& [module, path] : bundle.modules) {
        const std::string name = module + Formats::BUNDLE_FILE_SUFFIX;
        if (!staged.Finish(path, name)) {
            return false;
        }
        path = dir + "/" + name;
    }
    const std::string parent = fs::path(dir).parent_path().string();
    return WriteVersionNote(staged.Dir(), bundle) && FileUtils::MakeDirs(parent) &&
           FileUtils::SyncDir(INSTALLED_APP_DIR) && FileUtils::RenameFile(staged.Dir(), dir) &&
           FileUtils::SyncDir(parent);
}
} // namespace

BundlePlacer::BundlePlacer(std::shared_ptr<BundleStore> store) : store_(std::move(store)) {}

InstallResult BundlePlacer::CheckUser(const Formats::BundleManifest& manifest, int32_t userId, std::string& message)
{
    const auto users = store_->ListUsers();
    if (!users) {
        message = CANNOT_READ_STORE;
        return INSTALL_STORE_ERROR;
    }
    const bool isKnown =
        manifest.singleton ? userId == SYSTEM_USER : std::find(users->begin(), users->end(), userId) != users->end();
    if (!isKnown) {
        message = manifest.bundleName + " cannot be installed for user " + std::to_string(userId) +
                  (manifest.singleton ? ": a singleton belongs to user 0" : ": no such account");
        return INSTALL_UNKNOWN_USER;
    }
    return INSTALL_OK;
}

InstallResult BundlePlacer::Install(const BundleFileSet& set, StagedFiles& staged, int32_t userId, bool mayReplace,
                                    std::string& message)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    InstallResult result = CheckUser(set.manifest, userId, message);
    std::optional<InstalledBundle> installed;
    if (result == INSTALL_OK && !store_->FindBundle(set.manifest.bundleName, installed)) {
        message = CANNOT_READ_STORE;
        result = INSTALL_STORE_ERROR;
    }
    if (result == INSTALL_OK && installed) {
        result = CheckUpdate(set, *installed, message);
        if (result == INSTALL_OK && !mayReplace) {
            message = set.manifest.bundleName + " is already installed";
            result = INSTALL_ALREADY_INSTALLED;
        }
    }
    if (result != INSTALL_OK) {
        return result;
    }
    InstalledBundle bundle = MakeInstalledBundle(set);
    if (installed) {
        bundle.users = installed->users;
    }
    if (std::find(bundle.users.begin(), bundle.users.end(), userId) == bundle.users.end()) {
        bundle.users.push_back(userId);
    }
    return Place(std::move(bundle), installed, staged, message);
}

InstallResult BundlePlacer::Update(const BundleFileSet& set, std::string& message)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<InstalledBundle> installed;
    if (!store_->FindBundle(set.manifest.bundleName, installed)) {
        message = CANNOT_READ_STORE;
        return INSTALL_STORE_ERROR;
    }
    if (!installed) {
        message = set.manifest.bundleName + " is not installed";
        return INSTALL_UNKNOWN_USER;
    }
    const InstallResult result = CheckUpdate(set, *installed, message);
    if (result != INSTALL_OK) {
        return result;
    }
    InstalledBundle bundle = MakeInstalledBundle(set);
    bundle.users = installed->users;
    StagedFiles staged = Stage();
    return Place(std::move(bundle), installed, staged, message);
}

InstallResult BundlePlacer::Place(InstalledBundle bundle, const std::optional<InstalledBundle>& installed,
                                  StagedFiles& staged, std::string& message)
{
    if (installed) {
        bundle.factoryVersion = installed->factoryVersion;
    }
    const std::string dir = NewVersionDir(bundle);
    if (!MoveIntoPlace(bundle, staged, dir)) {
        message = "the files of " + bundle.bundleName + " could not be copied into place: " + strerror(errno);
        return INSTALL_IO_ERROR;
    }
    if (!store_->ReplaceBundle(bundle)) {
        message = "the store has not taken " + bundle.bundleName;
        return INSTALL_STORE_ERROR;
    }
    RemoveFormer(installed);
    return INSTALL_OK;
}

bool BundlePlacer::RestoreFactory(const BundleFileSet& factory)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<InstalledBundle> installed;
    auto users = store_->ListUsers();
    if (!users || !store_->FindBundle(factory.manifest.bundleName, installed)) {
        return false;
    }
    InstalledBundle bundle = MakeInstalledBundle(factory);
    bundle.isFactory = true;
    bundle.factoryVersion = bundle.versionCode;
    if (installed) {
        bundle.users = installed->users;
    } else if (bundle.singleton) {
        bundle.users = {SYSTEM_USER};
    } else {
        bundle.users = std::move(*users);
    }
    if (!store_->ReplaceBundle(bundle)) {
        return false;
    }
    RemoveFormer(installed);
    return true;
}

bool BundlePlacer::RemoveLeftovers()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto bundles = store_->ListInstalled();
    if (!bundles) {
        return false;
    }
    std::set<std::string> used;
    for (const auto& bundle : *bundles) {
        used.merge(DirsOf(bundle));
    }
    std::error_code error;
    for (fs::directory_iterator bundle(INSTALLED_APP_DIR, error), end; !error && bundle != end;
         bundle.increment(error)) {
        std::error_code inner;
        if (bundle->path() == STAGING_DIR || bundle->path() == REMOVED_DIR) {
            continue;
        }
        bool isUsed = false;
        for (fs::directory_iterator version(bundle->path(), inner); !inner && version != end;
             version.increment(inner)) {
            const bool isStored = used.count(version->path().string()) != 0;
            isUsed = isUsed || isStored;
            if (!isStored) {
                RemoveVersion(version->path().string());
            }
        }
        if (!isUsed) {
            fs::remove(bundle->path(), inner); // goes when it is empty
        }
    }
    staging_->RemoveLeftovers();
    FileUtils::CleanDir(REMOVED_DIR, true);
    return true;
}

bool BundlePlacer::RefreshNotes()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto users = store_->ListUsers();
    const auto bundles = store_->ListInstalled();
    if (!users || !bundles) {
        return false;
    }
    bool isFresh = WriteAccountNote(*users);
    for (const auto& bundle : *bundles) {
        for (const auto& dir : DirsOf(bundle)) {
            isFresh = (!FileUtils::DirIsExist(dir) || WriteVersionNote(dir, bundle)) && isFresh;
        }
    }
    return isFresh;
}
} // namespace ORVX::TavomendHost
