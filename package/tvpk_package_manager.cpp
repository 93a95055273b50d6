#include "package/tvpk_package_manager.h"

#include "common/app_constants.h"
#include "common/log.h"
#include "common/results.h"
#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "formats/status_words.h"
#include "package/device_check.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_INIT_NOT_PASSED = 210;
constexpr int32_t ERROR_INIT_NO_CONFIG = 220;
constexpr int32_t ERROR_INIT_UNKNOWN_BUNDLE = 230;
constexpr int32_t ERROR_EXACT_NO_RECORD = 410;
constexpr int32_t ERROR_RESTORE_NO_RECORD = 610;

} // namespace

PackageInMemory::PackageInMemory(TvpkPackageManager& manager) : manager_(manager)
{
    const auto hold = manager_.HoldPackageFiles();
    manager_.zipTool_->KeepSealed(SysUtils::GetRunningStage() != RUNNING_STAGE_INIT);
}

PackageInMemory::~PackageInMemory()
{
    const auto hold = manager_.HoldPackageFiles();
    manager_.zipTool_->KeepSealed(false);
}

TvpkPackageManager::TvpkPackageManager()
    : SignedPackage(Formats::PACKAGE_PATH, Formats::SIGN_PATH), restoreTool_(MakeSptr<RestoreTool>()),
      bundleManager_(std::make_shared<BundleManager>()),
      restorer_(zipTool_, restoreTool_,
                [this](const std::string& bundleName, int32_t code) { RecordAppError(bundleName, code); })
{
}

TvpkPackageManager::~TvpkPackageManager()
{
    TAVOMEND_LOG_I("~TvpkPackageManager");
}

bool TvpkPackageManager::PreconditionCheck()
{
    const auto hold = HoldPackageFiles();
    if (isPreconditionPassed_) {
        TAVOMEND_LOG_I("precondition check, result is true");
        return true;
    }
    struct Step {
        bool (*check)(TvpkPackageManager& manager);
        const char* message;
        int32_t code;
    };
    constexpr Step STEPS[] = {
        {[](TvpkPackageManager& manager) { return manager.IsPackageExist(); }, "patchFile is not found", 0},
        {[](TvpkPackageManager& manager) { return manager.VerifyTvpkFile(); }, "verify file integrity failed", 20},
        {[](TvpkPackageManager& manager) { return manager.GetPackageInfo(); }, "get packageInfo failed", 30},
        {[](TvpkPackageManager& manager) { return manager.CheckBaseVersion(); }, "check baseVersion failed", 40},
        {[](TvpkPackageManager& manager) { return manager.CheckFreeSpace(); },
         "check free space insufficient storage space", 10},
    };
    for (const Step& step : STEPS) {
        if (!step.check(*this)) {
            TAVOMEND_LOG_E("%{public}s", step.message);
            DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_PACKAGE, step.code);
            zipTool_->Reset();
            return false;
        }
    }
    zipTool_->Reset(); // a query asks for nothing more, and a load starts afresh
    TAVOMEND_LOG_I("precondition check success");
    isPreconditionPassed_ = true;
    return true;
}

bool TvpkPackageManager::CheckBaseVersion()
{
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("get packageInfo failed");
        return false;
    }
    return DeviceCheck::HasBaseVersion(packageInfo_->productVersion);
}

bool TvpkPackageManager::CheckFreeSpace()
{
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("get packageInfo failed");
        return false;
    }
    return DeviceCheck::HasRoomFor(packageInfo_->space);
}

bool TvpkPackageManager::GetAction(bool& isRevoke)
{
    if (!IsPackageInfoReady()) {
        return false;
    }
    isRevoke = packageInfo_->action == Formats::ACTION_REVOKE;
    return true;
}

bool TvpkPackageManager::InitAPatchInfo(const std::string& bundleName)
{
    if (!IsPackageInfoReady()) {
        RecordAppError(bundleName, isPreconditionPassed_ ? ERROR_INIT_NO_CONFIG : ERROR_INIT_NOT_PASSED);
        return false;
    }
    const auto* appInfo = FindApp(bundleName);
    if (appInfo == nullptr) {
        TAVOMEND_LOG_E("pacakgeInfo not found this bundleName");
        DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_UNKNOWN_APP, ERROR_INIT_UNKNOWN_BUNDLE);
        return false;
    }
    APatchInfo info = ParseAPatchInfo(*appInfo);
    info.state = APP_MUST_PATCH;
    if (appInfo->appPatchType == PATCH_TYPE_HOT && IsTargetAppVersion(bundleName, appInfo->version)) {
        TAVOMEND_LOG_I("app is fix, skip");
        info.state = APP_FIXED;
    }
    TAVOMEND_LOG_I("init APatchInfo, %{public}s, state: %d", bundleName.c_str(), info.state);
    aPatchInfos_[bundleName] = info;
    return true;
}

AppRestoreRecord* TvpkPackageManager::RecordOf(const std::string& bundleName)
{
    if (aPatchInfos_.count(bundleName) == 0 && !InitAPatchInfo(bundleName)) {
        TAVOMEND_LOG_E("get and Init failed, bundleName: %{public}s", bundleName.c_str());
        return nullptr;
    }
    return &aPatchInfos_[bundleName];
}

bool TvpkPackageManager::GetAPatchInfo(const std::string& bundleName, APatchInfo& info)
{
    const auto* record = RecordOf(bundleName);
    if (record != nullptr) {
        info = *record;
    }
    return record != nullptr;
}

bool TvpkPackageManager::ExactAPatch(const std::string& bundleName)
{
    auto* record = RecordOf(bundleName);
    if (record == nullptr) {
        TAVOMEND_LOG_E("GetAPatchInfo failed, bundleName: %{public}s", bundleName.c_str());
        RecordAppError(bundleName, ERROR_EXACT_NO_RECORD);
        return false;
    }
    return restorer_.Exact(*record);
}

bool TvpkPackageManager::RestoreAPatch(const std::string& bundleName)
{
    auto* record = RecordOf(bundleName);
    if (record == nullptr) {
        TAVOMEND_LOG_E("get aPatchInfo failed");
        RecordAppError(bundleName, ERROR_RESTORE_NO_RECORD);
        return false;
    }
    return restorer_.Restore(*record);
}

std::string TvpkPackageManager::GetTavomendVersion()
{
    const auto hold = HoldPackageFiles();
    if (IsPackageExist()) {
        if (!PreconditionCheck()) {
            TAVOMEND_LOG_E("precondition Check failed");
            return "";
        }
        return IsPackageInfoReady() ? packageInfo_->version : "";
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
    const auto* record = RecordOf(bundleName);
    if (record == nullptr) {
        TAVOMEND_LOG_E("get app appSequence failed, bundleName: %{public}s", bundleName.c_str());
        return ERROR_KEY_UNKNOWN_APP;
    }
    return record->appSequence;
}

bool TvpkPackageManager::IsTargetAppVersion(const std::string& bundleName, const uint32_t& targetVersion)
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        TAVOMEND_LOG_W("stage is init, bms service does not exist.");
        return false;
    }
    uint32_t currentVersion = 0;
    if (bundleManager_->GetAppVersionCode(bundleName, currentVersion) != RESULT_SUCCESS) {
        return false;
    }
    TAVOMEND_LOG_I("targetVersion: %{public}d, currentVersion: %{public}d", static_cast<int32_t>(targetVersion),
                   static_cast<int32_t>(currentVersion));
    return currentVersion == targetVersion;
}

bool TvpkPackageManager::GetAppVersion(std::string bundleName, uint32_t& version)
{
    const auto* app = IsPackageInfoReady() ? FindApp(bundleName) : nullptr;
    if (app != nullptr) {
        version = app->version;
    }
    return app != nullptr;
}

bool TvpkPackageManager::GetAppPreVersion(std::string bundleName, uint32_t& preVersion)
{
    const auto* app = IsPackageInfoReady() ? FindApp(bundleName) : nullptr;
    if (app != nullptr) {
        preVersion = app->preVersion;
    }
    return app != nullptr;
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

void TvpkPackageManager::Reset()
{
    TAVOMEND_LOG_I("tvpk package reset");
    const auto hold = HoldPackageFiles();
    aPatchInfos_.clear();
    zipTool_->Reset();
}

void TvpkPackageManager::RecordAppError(const std::string& bundleName, int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(GetAppSequence(bundleName), code);
}
} // namespace ORVX::TavomendEngine
