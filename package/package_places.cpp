#include "package/package_places.h"

#include <cerrno>
#include <cstring>

#include "common/log.h"
#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr uint32_t PACKAGE_MODE = 0600;

// True when there is nothing left to remove.
bool RemoveFile(const char* path)
{
    return !FileUtils::FileIsExist(path) || FileUtils::Remove(path);
}

void Move(const char* from, const char* to)
{
    FileUtils::RenameFile(from, to);
    static_cast<void>(FileUtils::SetMode(to, PACKAGE_MODE));
}
} // namespace

std::unique_lock<std::recursive_mutex> PackagePlaces::Hold()
{
    return std::unique_lock<std::recursive_mutex>(mutex_);
}

bool PackagePlaces::IsPackageExist()
{
    const auto hold = Hold();
    return FileUtils::FileIsExist(Formats::PACKAGE_PATH) && FileUtils::FileIsExist(Formats::SIGN_PATH);
}

bool PackagePlaces::IsBackupPackageExist()
{
    const auto hold = Hold();
    return FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) && FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH);
}

bool PackagePlaces::IsNothingDelivered()
{
    const auto hold = Hold();
    return !FileUtils::FileIsExist(Formats::PACKAGE_PATH) && !FileUtils::FileIsExist(Formats::SIGN_PATH);
}

void PackagePlaces::ClearPackage()
{
    const auto hold = Hold();
    if (!RemoveFile(Formats::PACKAGE_PATH)) {
        TAVOMEND_LOG_E("remove tavomend tvpk failed, errorMessage: %{public}s", strerror(errno));
    }
    if (!RemoveFile(Formats::SIGN_PATH)) {
        TAVOMEND_LOG_E("remove tavomend bin failed, errorMessage: %{public}s", strerror(errno));
    }
    TAVOMEND_LOG_I("ClearPackage success");
}

void PackagePlaces::ClearBackupPackage()
{
    const auto hold = Hold();
    for (const char* path : {Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH}) {
        if (!RemoveFile(path)) {
            TAVOMEND_LOG_E("remove tavomend tvpk bak failed, errorMessage: %{public}s", strerror(errno));
        }
    }
    TAVOMEND_LOG_I("ClearPackage Backup success");
}

void PackagePlaces::RenamePackageToBak()
{
    const auto hold = Hold();
    Move(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH);
    Move(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH);
}

void PackagePlaces::RenameBakToPackage()
{
    const auto hold = Hold();
    Move(Formats::BACKUP_PACKAGE_PATH, Formats::PACKAGE_PATH);
    Move(Formats::BACKUP_SIGN_PATH, Formats::SIGN_PATH);
}

void PackagePlaces::ClearAppTempDir()
{
    TAVOMEND_LOG_I("clear temp dir");
    FileUtils::CleanDir(Formats::WORK_DIR, false);
}

void PackagePlaces::CleanAppTempColdDir()
{
    TAVOMEND_LOG_I("clear cold dir");
    FileUtils::CleanDir(Formats::COLD_WORK_DIR, true);
}

void PackagePlaces::CleanAppTempHotDir()
{
    TAVOMEND_LOG_I("clear hot dir");
    FileUtils::CleanDir(Formats::HOT_WORK_DIR, true);
}

void PackagePlaces::RemoveAppConfigFile()
{
    TAVOMEND_LOG_I("remove app_tavomend_config.json file");
    FileUtils::CleanDir(Formats::CONFIG_PATH, false);
}

BorrowedBackup::BorrowedBackup(PackagePlaces& places)
    : places_(places), hold_(places.Hold()), isBorrowed_(places.IsNothingDelivered() && places.IsBackupPackageExist())
{
    if (isBorrowed_) {
        places_.RenameBakToPackage();
    }
}

BorrowedBackup::~BorrowedBackup()
{
    if (isBorrowed_) {
        places_.RenamePackageToBak();
    }
}
} // namespace ORVX::TavomendEngine
