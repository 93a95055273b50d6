#include "hosting/kept_packages.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>
#include <unistd.h>

#include "formats/device_paths.h"
#include "hosting/device_view.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::FileUtils;

namespace {
constexpr const char* KEPT_DIR = "/data/update/tavomend/package/kept";
constexpr const char* UNFINISHED_DIR = "/data/update/tavomend/package/kept.new"; // on its way in, or out

constexpr uint32_t KEPT_MODE = 0600;

struct Place {
    const char* path;
    const char* kept;
    bool isBackup;
};
constexpr Place PLACES[] = {
    {Formats::PACKAGE_PATH, KEPT_PACKAGE, false},
    {Formats::SIGN_PATH, KEPT_SIGNATURE, false},
    {Formats::BACKUP_PACKAGE_PATH, KEPT_BACKUP_PACKAGE, true},
    {Formats::BACKUP_SIGN_PATH, KEPT_BACKUP_SIGNATURE, true},
};

// A copy, where the file system knows no second names.
bool GiveSecondName(const std::string& path, const std::string& name)
{
    return link(path.c_str(), name.c_str()) == 0 ||
           ((errno == EPERM || errno == EOPNOTSUPP) && FileUtils::ReplaceFileByCopy(path, name, KEPT_MODE));
}

bool LinkAll()
{
    const bool hasBackup = IsBackupThere();
    return std::all_of(std::begin(PLACES), std::end(PLACES), [hasBackup](const Place& place) {
        const std::string name = std::string(place.kept).substr(std::string(KEPT_DIR).size());
        return (place.isBackup && !hasBackup) || GiveSecondName(place.path, UNFINISHED_DIR + name);
    });
}

bool PutBack(const Place& place)
{
    if (!FileUtils::FileIsExist(place.kept)) {
        return FileUtils::CleanDir(place.path, true);
    }
    const std::string beside = std::string(place.path) + ".new";
    const bool isBack = FileUtils::CleanDir(beside, true) && GiveSecondName(place.kept, beside) &&
                        rename(beside.c_str(), place.path) == 0;
    // A rename between two names of one file does nothing at all.
    return FileUtils::CleanDir(beside, true) && isBack;
}
} // namespace

bool KeepPackages()
{
    const bool isKept = FileUtils::CleanDir(UNFINISHED_DIR, true) && FileUtils::MakeDirs(UNFINISHED_DIR) && LinkAll() &&
                        FileUtils::SyncDir(UNFINISHED_DIR) && FileUtils::RenameFile(UNFINISHED_DIR, KEPT_DIR) &&
                        FileUtils::SyncDir(Formats::PACKAGE_DIR);
    if (!isKept) {
        DropKeptPackages();
    }
    return isKept;
}

bool HasKeptBackup()
{
    return std::all_of(std::begin(PLACES), std::end(PLACES),
                       [](const Place& place) { return !place.isBackup || FileUtils::FileIsExist(place.kept); });
}

bool PutKeptBackupBack()
{
    const bool isBack = std::all_of(std::begin(PLACES), std::end(PLACES),
                                    [](const Place& place) { return !place.isBackup || PutBack(place); }) &&
                        FileUtils::SyncDir(Formats::PACKAGE_DIR);
    if (isBack) {
        DropKeptPackages();
    }
    return isBack;
}

bool PutKeptPackagesBack()
{
    if (!FileUtils::DirIsExist(KEPT_DIR)) {
        FileUtils::CleanDir(UNFINISHED_DIR, true);
        return true;
    }
    bool isBack = true;
    for (const Place& place : PLACES) {
        isBack = PutBack(place) && isBack;
    }
    isBack = isBack && FileUtils::SyncDir(Formats::PACKAGE_DIR);
    if (isBack) {
        DropKeptPackages();
    }
    return isBack;
}

void DropKeptPackages()
{
    FileUtils::CleanDir(UNFINISHED_DIR, true);
    // At once and for good: a part of what was kept must not be taken for the whole.
    if (!FileUtils::DirIsExist(KEPT_DIR) ||
        (FileUtils::RenameFile(KEPT_DIR, UNFINISHED_DIR) && FileUtils::SyncDir(Formats::PACKAGE_DIR))) {
        FileUtils::CleanDir(UNFINISHED_DIR, true);
    }
}
} // namespace ORVX::TavomendHosting
