#include "state/activites_state.h"

#include "common/log.h"
#include "common/results.h"
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "state/state_errors.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_FIRST_INSTALL = 810;
constexpr int32_t ERROR_RETRY_INSTALL = 811;
constexpr int32_t ERROR_NO_RECORD = 812;

// States of a record that leave nothing to install.
struct FailedState {
    int32_t state;
    const char* message;
    int32_t code;
};
constexpr FailedState FAILED_STATES[] = {
    {APP_INIT_FAILED, "app is init failed", 814},
    {APP_EXACT_FAILED, "app is exact failed", 813},
    {APP_RESTORE_FAILED, "app is restore failed", 822},
};
} // namespace

ActivitesState::ActivitesState()
    : packageManager_(DelayedSingleton<TvpkPackageManager>::GetInstance()),
      bundleManager_(std::make_shared<BundleManager>()),
      bakPackageManager_(DelayedSingleton<TvpkBakPackageManager>::GetInstance()),
      progressManager_(DelayedSingleton<ProgressManager>::GetInstance())
{
}

bool ActivitesState::SwitchState(const State& targetState, const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("SwitchState, doTask activites");
    if (!IsTargetState(targetState)) {
        return RefuseSwitch(ERROR_WRONG_TARGET);
    }
    const bool result = DoTask(bundleNames);
    packageManager_->CleanAppTempHotDir();
    packageManager_->RemoveAppConfigFile();
    const auto hold = packageManager_->HoldPackageFiles(); // at no moment is there neither package nor backup to ask
    packageManager_->ClearBackupPackage();
    packageManager_->RenamePackageToBak();
    return result;
}

bool ActivitesState::IsTargetState(const State& targetState)
{
    return targetState == ACTIVITES;
}

bool ActivitesState::DoTask(const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("doTask activites state");
    bool isRevoke = false;
    if (!packageManager_->GetAction(isRevoke)) {
        return RefuseSwitch(ERROR_NO_ACTION);
    }
    return isRevoke ? DoRevokePackageTask(bundleNames) : DoEnablePackageTask(bundleNames);
}

bool ActivitesState::DoEnablePackageTask(const std::vector<std::string>& bundleNames)
{
    if (progressManager_ != nullptr) {
        progressManager_->SetTotal(static_cast<int32_t>(bundleNames.size()));
    }
    std::vector<std::string> retries;
    for (const auto& name : bundleNames) {
        if (InstallApp(name) == RESULT_SUCCESS) {
            TAVOMEND_LOG_I("install app success, bundleName: %{public}s", name.c_str());
            AddInstalledVabNum();
        } else {
            retries.push_back(name);
            RecordAppError(name, ERROR_FIRST_INSTALL);
        }
    }
    return retries.empty() || RetryInstallApp(retries);
}

int32_t ActivitesState::InstallApp(const std::string& bundleName)
{
    TvpkPackageManager::APatchInfo info;
    if (!packageManager_->GetAPatchInfo(bundleName, info)) {
        RecordAppError(bundleName, ERROR_NO_RECORD);
        return RESULT_FAILURE;
    }
    for (const FailedState& failed : FAILED_STATES) {
        if (info.state == failed.state) {
            TAVOMEND_LOG_I("%{public}s", failed.message);
            RecordAppError(bundleName, failed.code);
            return RESULT_FAILURE;
        }
    }
    if (info.state == APP_FIXED) {
        TAVOMEND_LOG_I("app is fix, skip");
        return RESULT_SUCCESS;
    }
    if (!packageManager_->CheckProducts(info)) {
        return RESULT_FAILURE;
    }
    BundleManager::AppInfo app;
    app.bundleName = info.bundleName;
    app.sequence = info.appSequence;
    app.versionCode = info.version;
    app.appPatchType = info.appPatchType;
    app.appType = info.appType;
    app.bundleFilePaths = info.restoreProductPaths;
    return bundleManager_->InstallApp(app);
}

bool ActivitesState::RetryInstallApp(const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("retry install app begin");
    if (!CheckBundleScanReady()) {
        TAVOMEND_LOG_E("checkBundleScanReady failed");
        return false;
    }
    int32_t errAppCount = 0;
    for (const auto& name : bundleNames) {
        if (InstallApp(name) != RESULT_SUCCESS) {
            TAVOMEND_LOG_E("install app failed, bundleName: %{public}s", name.c_str());
            RecordAppError(name, ERROR_RETRY_INSTALL);
            ++errAppCount;
        }
        AddInstalledVabNum(); // also after a failure, so that the progress reaches its total
    }
    TAVOMEND_LOG_W("retry install app end, errAppCount: %{public}d", errAppCount);
    return errAppCount == 0;
}

void ActivitesState::AddInstalledVabNum()
{
    if (progressManager_ == nullptr) {
        TAVOMEND_LOG_E("AddInstalledVabNum, progressManager_ is null");
        return;
    }
    if (progressManager_->progressCallback_ == nullptr) {
        TAVOMEND_LOG_E("AddInstalledVabNum, progressCallback_ is null");
        return;
    }
    progressManager_->AddInstalled();
}

void ActivitesState::RecordAppError(const std::string& bundleName, int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(packageManager_->GetAppSequence(bundleName), code);
}

bool ActivitesState::DoRevokePackageTask(const std::vector<std::string>& bundleNames)
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        TAVOMEND_LOG_I("stage is init, skip");
        return true;
    }
    if (bundleNames.empty() && !HasBackupRecords()) {
        TAVOMEND_LOG_E("bundleNameList is null");
        return false;
    }
    statusRecord_.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    if (statusRecord_.GetStatusFromFile().empty()) {
        TAVOMEND_LOG_I("do revoke package task end, skip");
        return true;
    }
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    if (!ReadBackupRecords(records)) {
        return false;
    }
    std::map<std::string, uint32_t> retries;
    for (const auto& record : records) {
        if (CheckAppRevokeRes(record.bundleName, record.preVersion) != RESULT_SUCCESS) {
            retries[record.bundleName] = record.preVersion;
        }
    }
    return retries.empty() || RetryCheckAppRevokeRes(retries);
}

bool ActivitesState::HasBackupRecords()
{
    const auto hold = packageManager_->HoldPackageFiles(); // no query borrows the backup meanwhile
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    return bakPackageManager_->PreconditionCheck() && bakPackageManager_->GetAllAPatchInfo(records) && !records.empty();
}

bool ActivitesState::ReadBackupRecords(std::vector<TvpkBakPackageManager::APatchInfo>& records)
{
    const auto hold = packageManager_->HoldPackageFiles();
    if (!packageManager_->IsBackupPackageExist()) {
        TAVOMEND_LOG_E("backup package not exist");
        return false;
    }
    if (!bakPackageManager_->PreconditionCheck()) {
        TAVOMEND_LOG_E("precondition check failed");
        return false;
    }
    if (!bakPackageManager_->GetAllAPatchInfo(records)) {
        TAVOMEND_LOG_E("get all aPatchInfo failed");
        return false;
    }
    return true;
}

int32_t ActivitesState::CheckAppRevokeRes(const std::string& bundleName, uint32_t targetVersion)
{
    TAVOMEND_LOG_I("bundleName: %{public}s", bundleName.c_str());
    uint32_t currentVersion = 0;
    const int32_t result = bundleManager_->GetAppVersionCode(bundleName, currentVersion);
    if (result == RESULT_NOT_INSTALLED) {
        TAVOMEND_LOG_W("app is uninstall, bms may be installing");
        return result;
    }
    if (result == RESULT_FAILURE) {
        TAVOMEND_LOG_W("the bms service may not be registered.");
        return result;
    }
    if (currentVersion != targetVersion) {
        TAVOMEND_LOG_W("targetVersion: %{public}d, currentVersion: %{public}d", static_cast<int32_t>(targetVersion),
                       static_cast<int32_t>(currentVersion));
        return RESULT_FAILURE;
    }
    return RESULT_SUCCESS;
}

bool ActivitesState::RetryCheckAppRevokeRes(const std::map<std::string, uint32_t>& targets)
{
    if (!CheckBundleScanReady()) {
        TAVOMEND_LOG_E("checkBundleScanReady failed");
    }
    size_t failedCount = 0;
    for (const auto& [name, target] : targets) {
        // An application that its user has removed is no failed revoke.
        if (CheckAppRevokeRes(name, target) == RESULT_FAILURE) {
            TAVOMEND_LOG_E("revoke app error, bundleName: %{public}s", name.c_str());
            ++failedCount;
        }
    }
    return failedCount == 0;
}

bool ActivitesState::CheckBundleScanReady()
{
    if (eventManager_ == nullptr) {
        TAVOMEND_LOG_W("eventManager is nullptr");
        eventManager_ = DelayedSingleton<EventManager>::GetInstance();
        eventManager_->SubscribeEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    }
    return eventManager_->CheckEventListenRes(COMMON_EVENT_BUNDLE_SCAN_FINISHED, EVENT_LISTEN_LIMIT);
}
} // namespace ORVX::TavomendEngine
