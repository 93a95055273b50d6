#include "ports/host/store_rebuild.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <set>
#include <sys/file.h>

#include "formats/device_paths.h"
#include "handles/unique_descriptor.h"
#include "platform/utility/file_utils.h"
#include "ports/host/bundle_file_set.h"
#include "ports/host/installed_notes.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

namespace {
constexpr uint32_t STORE_MODE = 0644;
constexpr const char* JOURNAL_SUFFIX = "-journal";

std::string StoreDir()
{
    return fs::path(BUNDLE_STORE_PATH).parent_path().string();
}

// What is in a directory, sorted; false when that cannot be read to its end. None is no failure.
bool ListPaths(const std::string& directory, std::vector<std::string>& paths)
{
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        paths.push_back(at->path().string());
    }
    std::sort(paths.begin(), paths.end());
    return !error || error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

struct Version {
    InstalledBundle bundle;
    bool isNoted = false; // its users are known
};

// One version's directory: what its files say, else its note. Nothing in `version` for one without bundle files.
bool ReadVersion(const std::string& directory, std::optional<Version>& version, std::string& error)
{
    std::vector<std::string> paths;
    if (!ListPaths(directory, paths)) {
        error = "cannot read " + directory;
        return false;
    }
    const auto isBundleFile = [](const std::string& path) {
        return fs::path(path).extension() == Formats::BUNDLE_FILE_SUFFIX;
    };
    paths.erase(std::remove_if(paths.begin(), paths.end(), [&](const auto& path) { return !isBundleFile(path); }),
                paths.end());
    if (paths.empty()) {
        return true;
    }
    std::optional<InstalledBundle> note;
    if (!ReadVersionNote(directory, note)) {
        error = "cannot read the note in " + directory;
        return false;
    }
    BundleFileSet set;
    const bool isRead = ReadBundleFileSet(paths, set, error) == INSTALL_OK;
    if (!isRead && !note) {
        return false;
    }
    version = {isRead ? MakeInstalledBundle(set) : *note, note.has_value()};
    if (note) {
        version->bundle.users = note->users;
        version->bundle.factoryVersion = note->factoryVersion;
    }
    error.clear();
    return true;
}

bool ReadInstalled(std::map<std::string, Version>& installed, std::string& error)
{
    std::vector<std::string> bundleDirs;
    if (!ListPaths(Formats::INSTALLED_APP_DIR, bundleDirs)) {
        error = std::string("cannot read ") + Formats::INSTALLED_APP_DIR;
        return false;
    }
    for (const auto& bundleDir : bundleDirs) {
        std::vector<std::string> versionDirs;
        if (fs::path(bundleDir).filename().string().front() == '.') {
            continue; // on its way in or out
        }
        if (!ListPaths(bundleDir, versionDirs)) {
            error = "cannot read " + bundleDir;
            return false;
        }
        for (const auto& versionDir : versionDirs) {
            std::optional<Version> version;
            if (!ReadVersion(versionDir, version, error)) {
                return false;
            }
            if (!version) {
                continue;
            }
            Version& former = installed[version->bundle.bundleName];
            if (former.bundle.bundleName.empty() || former.bundle.versionCode <= version->bundle.versionCode) {
                former = std::move(*version);
            }
        }
    }
    return true;
}

// The noted accounts; where there is no such note, those that the applications are noted for.
bool ReadAccounts(const std::map<std::string, Version>& installed, std::set<int32_t>& accounts, std::string& error)
{
    std::optional<std::vector<int32_t>> noted;
    if (!ReadAccountNote(noted)) {
        error = std::string("cannot read ") + ACCOUNT_NOTE_PATH;
        return false;
    }
    if (noted) {
        accounts.insert(noted->begin(), noted->end());
        return true;
    }
    for (const auto& entry : installed) {
        accounts.insert(entry.second.bundle.users.begin(), entry.second.bundle.users.end());
    }
    accounts.erase(SYSTEM_USER);
    if (accounts.empty()) {
        accounts.insert(FIRST_USER);
    }
    return true;
}

void FillInUsers(Version& version, const std::set<int32_t>& accounts)
{
    auto& users = version.bundle.users;
    if (version.bundle.singleton) {
        users = {SYSTEM_USER};
    } else if (version.isNoted) {
        const auto isGone = [&accounts](int32_t user) { return accounts.count(user) == 0; };
        users.erase(std::remove_if(users.begin(), users.end(), isGone), users.end());
    } else {
        users.assign(accounts.begin(), accounts.end());
    }
}

bool WriteNewStore(const std::map<std::string, Version>& installed, const std::set<int32_t>& accounts,
                   std::string& error)
{
    for (const auto& path : {NEW_BUNDLE_STORE_PATH, NEW_BUNDLE_STORE_PATH + JOURNAL_SUFFIX}) {
        if (!FileUtils::CleanDir(path, true)) {
            error = "cannot remove " + path;
            return false;
        }
    }
    const auto store = BundleStore::Create(NEW_BUNDLE_STORE_PATH, error);
    if (store == nullptr) {
        return false;
    }
    const bool isWritten =
        std::all_of(accounts.begin(), accounts.end(), [&](int32_t user) { return store->AddUser(user); }) &&
        std::all_of(installed.begin(), installed.end(),
                    [&](const auto& entry) { return store->ReplaceBundle(entry.second.bundle); });
    if (!isWritten) {
        error = "the bundle store cannot be written";
    }
    return isWritten;
}

// Under the first name that is free; a journal that could not be played back goes along.
bool KeepDamaged(std::string& kept, std::string& error)
{
    kept = std::string(BUNDLE_STORE_PATH) + ".damaged";
    for (int i = 1; FileUtils::FileIsExist(kept); ++i) {
        kept = std::string(BUNDLE_STORE_PATH) + ".damaged-" + std::to_string(i);
    }
    const std::string journal = std::string(BUNDLE_STORE_PATH) + JOURNAL_SUFFIX;
    if ((FileUtils::FileIsExist(journal) &&
         !FileUtils::ReplaceFileByCopy(journal, kept + JOURNAL_SUFFIX, STORE_MODE)) ||
        !FileUtils::ReplaceFileByCopy(BUNDLE_STORE_PATH, kept, STORE_MODE)) {
        error = "it cannot be copied to " + kept;
        return false;
    }
    return true;
}

} // namespace

bool MakeNewStore(size_t& count, std::string& error)
{
    std::map<std::string, Version> installed;
    std::set<int32_t> accounts;
    if (!ReadInstalled(installed, error) || !ReadAccounts(installed, accounts, error)) {
        return false;
    }
    for (auto& entry : installed) {
        FillInUsers(entry.second, accounts);
    }
    count = installed.size();
    return WriteNewStore(installed, accounts, error);
}

bool PutNewStoreInPlace(std::string& error)
{
    // A journal that stayed would be played back into the new store.
    if (!FileUtils::CleanDir(std::string(BUNDLE_STORE_PATH) + JOURNAL_SUFFIX, true) ||
        !FileUtils::SyncDir(StoreDir()) || std::rename(NEW_BUNDLE_STORE_PATH.c_str(), BUNDLE_STORE_PATH) != 0 ||
        !FileUtils::SyncDir(StoreDir())) {
        error = std::string("the bundle store cannot be put in place: ") + strerror(errno);
        return false;
    }
    return true;
}

std::shared_ptr<BundleStore> RebuildStore(StoreFault& fault, std::string& notice)
{
    const Handles::UniqueDescriptor lock(open(StoreDir().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock.IsValid() || flock(lock.Get(), LOCK_EX) != 0) {
        fault.text += ", and its directory cannot be locked for a new one";
        return nullptr;
    }
    StoreFault found;
    auto store = BundleStore::Open(BUNDLE_STORE_PATH, found);
    if (store != nullptr || !found.isDamaged) {
        fault = found;
        return store;
    }
    std::string kept;
    std::string error;
    size_t count = 0;
    if (!MakeNewStore(count, error) || !KeepDamaged(kept, error) || !PutNewStoreInPlace(error)) {
        fault.text += ", and cannot be made anew: " + error;
        return nullptr;
    }
    notice = fault.text + "; it was made anew from " + std::to_string(count) +
             " installed applications and the factory's, and is kept as " + kept;
    return BundleStore::Open(BUNDLE_STORE_PATH, fault);
}
} // namespace ORVX::TavomendHost
