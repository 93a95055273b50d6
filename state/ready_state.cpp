#include "state/ready_state.h"

#include "common/log.h"
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "state/state_errors.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_INIT_APP = 200;
constexpr int32_t ERROR_EXACT_APP = 400;
constexpr int32_t ERROR_RESTORE_APP = 600;
} // namespace

ReadyState::ReadyState()
    : packageManager_(DelayedSingleton<TvpkPackageManager>::GetInstance()),
      bakPackageManager_(DelayedSingleton<TvpkBakPackageManager>::GetInstance()),
      recoverFileTool_(MakeSptr<RecoverFileTool>())
{
}

bool ReadyState::SwitchState(const State& targetState, const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("ready state, targetState: %d", static_cast<int>(targetState));
    if (!IsTargetState(targetState)) {
        return RefuseSwitch(ERROR_WRONG_TARGET);
    }
    return DoTask(bundleNames);
}

bool ReadyState::IsTargetState(const State& targetState)
{
    return targetState == READY;
}

bool ReadyState::DoTask(const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("ReadyState, do task begin");
    recoverFileTool_->RemoveRevokeBakFile(); // left by an earlier revoke
    bool isRevoke = false;
    if (!packageManager_->GetAction(isRevoke)) {
        return false;
    }
    return isRevoke ? DoRevokePackageTask(bundleNames) : DoEnablePackageTask(bundleNames);
}

bool ReadyState::DoEnablePackageTask(const std::vector<std::string>& bundleNames)
{
    size_t failedCount = 0;
    for (const auto& name : bundleNames) {
        if (ReadyApp(name)) {
            TAVOMEND_LOG_I("ready app success, bundleName: %{public}s", name.c_str());
        } else {
            TAVOMEND_LOG_E("ready app failed, bundleName: %{public}s", name.c_str());
            ++failedCount;
        }
    }
    return failedCount == 0;
}

bool ReadyState::ReadyApp(const std::string& bundleName)
{
    int32_t error = ERROR_RESTORE_APP;
    if (!packageManager_->InitAPatchInfo(bundleName)) {
        error = ERROR_INIT_APP;
    } else if (!packageManager_->ExactAPatch(bundleName)) {
        error = ERROR_EXACT_APP;
    } else if (packageManager_->RestoreAPatch(bundleName)) {
        return true;
    }
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(packageManager_->GetAppSequence(bundleName), error);
    return false;
}

bool ReadyState::DoRevokePackageTask(const std::vector<std::string>& /*bundleNames*/)
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_SA) {
        TAVOMEND_LOG_I("stage is sa, skip");
        return true;
    }
    statusRecord_.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    if (statusRecord_.GetStatusFromFile().empty()) {
        TAVOMEND_LOG_I("skip");
        return true;
    }
    const auto hold = packageManager_->HoldPackageFiles(); // no query borrows the backup meanwhile
    if (!packageManager_->IsBackupPackageExist() || !bakPackageManager_->PreconditionCheck()) {
        return false;
    }
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    if (!bakPackageManager_->GetAllAPatchInfo(records)) {
        TAVOMEND_LOG_I("GetAllAPatchInfo failed");
        return false;
    }
    std::vector<std::string> names;
    for (const auto& record : records) {
        names.push_back(record.bundleName);
    }
    return recoverFileTool_->WriteReInstallFile(names);
}
} // namespace ORVX::TavomendEngine
