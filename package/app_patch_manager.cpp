#include "package/app_patch_manager.h"

#include <algorithm>
#include <vector>

#include "common/app_constants.h"
#include "common/log.h"
#include "common/results.h"
#include "error/app_error_code.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
AppPatchManager::AppPatchManager()
    : packageManager_(DelayedSingleton<TvpkPackageManager>::GetInstance()),
      bakPackageManager_(DelayedSingleton<TvpkBakPackageManager>::GetInstance()),
      bundleManager_(std::make_shared<BundleManager>()), recoverFileTool_(MakeSptr<RecoverFileTool>())
{
    TAVOMEND_LOG_I("AppPatchManager");
}

int32_t AppPatchManager::PreconditionCheck()
{
    const bool isPassed = packageManager_->PreconditionCheck();
    if (!isPassed) {
        DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_PACKAGE);
    }
    return isPassed ? 1 : 0;
}

std::string AppPatchManager::GetTavomendVersion()
{
    if (packageManager_ == nullptr) {
        TAVOMEND_LOG_E("packageManager is null");
        return "";
    }
    std::string version = packageManager_->GetTavomendVersion();
    TAVOMEND_LOG_I("patchVersion: %{public}s", version.c_str());
    return version;
}

int32_t AppPatchManager::GetTavomendInfo(std::map<std::string, PatchStatusCode>& infos)
{
    std::map<std::string, uint32_t> targets;
    if (!ReadTargets(targets)) {
        TAVOMEND_LOG_E("GetAllAppFixTargetVersion failed");
        return RESULT_FAILURE;
    }
    packageManager_->RemoveAppConfigFile();
    std::map<std::string, uint32_t> retries;
    for (const auto& [name, target] : targets) {
        if (CheckAppFixRes(name, target)) {
            infos[name] = PATCH_FIXED;
        } else {
            retries[name] = target;
        }
    }
    RetryGetTavomendInfo(retries, infos);
    TAVOMEND_LOG_I("get TavomendInfo success");
    return RESULT_SUCCESS;
}

bool AppPatchManager::ReadTargets(std::map<std::string, uint32_t>& targets)
{
    const BorrowedBackup backup = packageManager_->BorrowBackup();
    return GetAllAppFixTargetVersion(targets);
}

bool AppPatchManager::GetAllAppFixTargetVersion(std::map<std::string, uint32_t>& targets)
{
    if (PreconditionCheck() == 0) {
        TAVOMEND_LOG_E("precondition check failed");
        return false;
    }
    std::map<std::string, std::string> bundles;
    if (!packageManager_->GetAllBundleNameList(bundles)) {
        TAVOMEND_LOG_E("get all bundleName failed");
        return false;
    }
    std::vector<std::string> revoked;
    if (!recoverFileTool_->GetRecoverBundleNameList(revoked)) {
        TAVOMEND_LOG_E("get recover bundleName list failed");
        return false;
    }
    for (const auto& bundle : bundles) {
        const std::string& name = bundle.first;
        const bool isRevoked = std::find(revoked.begin(), revoked.end(), name) != revoked.end();
        uint32_t target = 0;
        if (isRevoked ? !packageManager_->GetAppPreVersion(name, target)
                      : !packageManager_->GetAppVersion(name, target)) {
            return false;
        }
        targets[name] = target;
    }
    return true;
}

bool AppPatchManager::CheckAppFixRes(const std::string& bundleName, uint32_t targetVersion)
{
    TAVOMEND_LOG_I("bundleName: %{public}s", bundleName.c_str());
    uint32_t currentVersion = 0;
    const int32_t result = bundleManager_->GetAppVersionCode(bundleName, currentVersion);
    if (result == RESULT_NOT_INSTALLED) {
        TAVOMEND_LOG_W("app is uninstall, bms may be installing");
        return false;
    }
    if (result == RESULT_FAILURE) {
        TAVOMEND_LOG_E("get app versionCode failed");
        return false;
    }
    if (currentVersion != targetVersion) {
        TAVOMEND_LOG_W("targetVersion: %{public}d, currentVersion: %{public}d", static_cast<int32_t>(targetVersion),
                       static_cast<int32_t>(currentVersion));
        return false;
    }
    return true;
}

void AppPatchManager::RetryGetTavomendInfo(const std::map<std::string, uint32_t>& retries,
                                           std::map<std::string, PatchStatusCode>& infos)
{
    bool canRetry = recoverFileTool_->RecoverFileIsExist();
    if (canRetry && !CheckBundleScanReady()) {
        TAVOMEND_LOG_E("checkBundleScanReady failed");
        canRetry = false;
    }
    for (const auto& [name, target] : retries) {
        infos[name] = canRetry && CheckAppFixRes(name, target) ? PATCH_FIXED : PATCH_NOT_FIXED;
    }
}

bool AppPatchManager::CheckBundleScanReady()
{
    if (eventManager_ == nullptr) {
        TAVOMEND_LOG_W("eventManager is nullptr");
        eventManager_ = DelayedSingleton<EventManager>::GetInstance();
        eventManager_->SubscribeEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    }
    return eventManager_->CheckEventListenRes(COMMON_EVENT_BUNDLE_SCAN_FINISHED, EVENT_LISTEN_LIMIT);
}

bool AppPatchManager::GetTestData(std::map<std::string, uint32_t>& targets)
{
    const bool hasTargets = ReadTargets(targets);
    packageManager_->RemoveAppConfigFile();
    return hasTargets;
}

bool AppPatchManager::GetAllBundleNameList(std::map<std::string, std::string>& list)
{
    return packageManager_->GetAllBundleNameList(list);
}

bool AppPatchManager::IsPackageExist()
{
    return packageManager_->IsPackageExist();
}

bool AppPatchManager::IsBackupPackageExist()
{
    return packageManager_->IsBackupPackageExist();
}

void AppPatchManager::Reset()
{
    packageManager_->Reset();
}

void AppPatchManager::ClearAppCache()
{
    packageManager_->CleanAppTempColdDir();
    packageManager_->CleanAppTempHotDir();
}

void AppPatchManager::ClearPackage()
{
    packageManager_->ClearPackage();
}

void AppPatchManager::RenameRevokeFileToBak()
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_SA) {
        recoverFileTool_->RenameRevokeFileToBak();
    }
}
} // namespace ORVX::TavomendEngine
