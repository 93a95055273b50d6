// Answers about the package, and the file housekeeping around a patch run.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

#include "common/app_constants.h"
#include "common/log.h"
#include "formats/device_paths.h"
#include "formats/status_words.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr mode_t PACKAGE_MODE = 0600;

// True when there is nothing left to remove.
bool RemoveFile(const char* path)
{
    return !FileUtils::FileIsExist(path) || remove(path) == 0;
}
} // namespace

std::string TvpkPackageManager::GetTavomendVersion()
{
    const auto hold = HoldPackageFiles();
    if (IsPackageExist()) {
        if (!PreconditionCheck()) {
            TAVOMEND_LOG_E("precondition Check failed");
            return "";
        }
        if (packageInfo_ == nullptr) {
            TAVOMEND_LOG_E("packageInfo is null");
            return "";
        }
        return packageInfo_->version;
    }
    if (IsBackupPackageExist()) {
        statusRecord_.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        std::string version;
        statusRecord_.GetStatus(version);
        return version;
    }
    return Formats::NO_PATCH_VERSION;
}

int32_t TvpkPackageManager::GetAppSequence(const std::string& bundleName)
{
    if (!IsPackageInfoReady()) {
        return ERROR_KEY_UNKNOWN_APP;
    }
    APatchInfo info;
    if (!GetAPatchInfo(bundleName, info)) {
        TAVOMEND_LOG_E("get app appSequence failed, bundleName: %{public}s", bundleName.c_str());
        return ERROR_KEY_UNKNOWN_APP;
    }
    return info.appSequence;
}

bool TvpkPackageManager::IsTargetAppVersion(const std::string& bundleName, const uint32_t& targetVersion)
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        TAVOMEND_LOG_W("stage is init, bms service does not exist.");
        return false;
    }
    uint32_t currentVersion = 0;
    if (bundleManager_->GetAppVersionCode(bundleName, currentVersion) != 0) {
        return false;
    }
    TAVOMEND_LOG_I("targetVersion: %{public}d, currentVersion: %{public}d", static_cast<int32_t>(targetVersion),
                   static_cast<int32_t>(currentVersion));
    return currentVersion == targetVersion;
}

bool TvpkPackageManager::GetAppVersion(std::string bundleName, uint32_t& version)
{
    if (!IsPackageInfoReady()) {
        return false;
    }
    const auto* app = FindApp(bundleName);
    if (app == nullptr) {
        return false;
    }
    version = app->version;
    return true;
}

bool TvpkPackageManager::GetAppPreVersion(std::string bundleName, uint32_t& preVersion)
{
    if (!IsPackageInfoReady()) {
        return false;
    }
    const auto* app = FindApp(bundleName);
    if (app == nullptr) {
        return false;
    }
    preVersion = app->preVersion;
    return true;
}

bool TvpkPackageManager::GetAllBundleNameList(std::map<std::string, std::string>& list)
{
    if (!IsPackageInfoReady()) {
        return false;
    }
    for (const auto& app : packageInfo_->appsList) {
        list[app.bundleName] = app.appPatchType;
    }
    TAVOMEND_LOG_I("get all bundleName list success");
    return true;
}

bool TvpkPackageManager::IsBackupPackageExist()
{
    return FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) && FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH);
}

void TvpkPackageManager::ClearBackupPackage()
{
    for (const char* path : {Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH}) {
        if (!RemoveFile(path)) {
            TAVOMEND_LOG_E("remove tavomend tvpk bak failed, errorMessage: %{public}s", strerror(errno));
        }
    }
    TAVOMEND_LOG_I("ClearPackage Backup success");
}

void TvpkPackageManager::ClearPackage()
{
    if (!RemoveFile(Formats::PACKAGE_PATH)) {
        TAVOMEND_LOG_E("remove tavomend tvpk failed, errorMessage: %{public}s", strerror(errno));
    }
    if (!RemoveFile(Formats::SIGN_PATH)) {
        TAVOMEND_LOG_E("remove tavomend bin failed, errorMessage: %{public}s", strerror(errno));
    }
    TAVOMEND_LOG_I("ClearPackage success");
}

void TvpkPackageManager::RenamePackageToBak()
{
    FileUtils::RenameFile(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH);
    FileUtils::RenameFile(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH);
    chmod(Formats::BACKUP_PACKAGE_PATH, PACKAGE_MODE);
    chmod(Formats::BACKUP_SIGN_PATH, PACKAGE_MODE);
}

void TvpkPackageManager::RenameBakToPackage()
{
    FileUtils::RenameFile(Formats::BACKUP_PACKAGE_PATH, Formats::PACKAGE_PATH);
    FileUtils::RenameFile(Formats::BACKUP_SIGN_PATH, Formats::SIGN_PATH);
    chmod(Formats::PACKAGE_PATH, PACKAGE_MODE);
    chmod(Formats::SIGN_PATH, PACKAGE_MODE);
}

void TvpkPackageManager::ClearAppTempDir()
{
    TAVOMEND_LOG_I("clear temp dir");
    FileUtils::CleanDir(Formats::WORK_DIR, false);
}

void TvpkPackageManager::CleanAppTempColdDir()
{
    TAVOMEND_LOG_I("clear cold dir");
    FileUtils::CleanDir(Formats::COLD_WORK_DIR, true);
}

void TvpkPackageManager::CleanAppTempHotDir()
{
    TAVOMEND_LOG_I("clear hot dir");
    FileUtils::CleanDir(Formats::HOT_WORK_DIR, true);
}

void TvpkPackageManager::RemoveAppConfigFile()
{
    TAVOMEND_LOG_I("remove app_tavomend_config.json file");
    FileUtils::CleanDir(Formats::CONFIG_PATH, false);
}

void TvpkPackageManager::Reset()
{
    TAVOMEND_LOG_I("tvpk package reset");
    const auto hold = HoldPackageFiles();
    aPatchInfos_.clear();
    zipTool_->Reset();
}
} // namespace ORVX::TavomendEngine
