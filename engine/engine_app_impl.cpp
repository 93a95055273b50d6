// State dispatch, the client callback, apply, revoke, clear and the queries; load is in engine_app_impl_load.cpp.
#include "engine/engine_app_impl.h"

#include <utility>

#include "bundle/progress_manager.h"
#include "common/app_constants.h"
#include "common/log.h"
#include "common/results.h"
#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "formats/status_words.h"
#include "package/app_patch_manager.h"
#include "platform/utility/sys_utils.h"
#include "state/activites_state.h"
#include "state/idle_state.h"
#include "state/ready_state.h"
#include "state/revoke_state.h"

namespace ORVX::TavomendEngine {
namespace {
// What the client is told of a finished operation.
constexpr int32_t CLIENT_STATUS_SUCCESS = 101;
constexpr int32_t CLIENT_STATUS_FAILED = 151;

// The aggregate's state number of an apply, and the numbers that end an apply's detail in the status record.
constexpr int APPLY_OPERATION = 1;
constexpr int32_t APPLY_SUCCEEDED = 34;
constexpr int32_t APPLY_FAILED = 35;

constexpr const char* TEST_WITHOUT_DATA = "\"Vab\": \"null,vab patch backup package no exist\"";
} // namespace

EngineAppImpl::EngineAppImpl()
{
    TAVOMEND_LOG_I("EngineAppImpl");
    stateTable_[IDLE] = std::make_shared<IdleState>();
    stateTable_[READY] = std::make_shared<ReadyState>();
    stateTable_[ACTIVITES] = std::make_shared<ActivitesState>();
    stateTable_[REVOKE] = std::make_shared<RevokeState>();
    appPatchManager_ = MakeSptr<AppPatchManager>();
    progressManager_ = DelayedSingleton<ProgressManager>::GetInstance();
    statusRecord_.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
}

EngineAppImpl::~EngineAppImpl()
{
    TAVOMEND_LOG_I("~EngineAppImpl");
}

int32_t EngineAppImpl::SwitchState(const State& targetState, const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("switch targetState: %d", static_cast<int>(targetState));
    const auto found = stateTable_.find(targetState);
    if (found == stateTable_.end()) {
        return RESULT_FAILURE;
    }
    if (found->second == nullptr) {
        TAVOMEND_LOG_W("typeImpl not exist");
        return RESULT_FAILURE;
    }
    if (!found->second->SwitchState(targetState, bundleNames)) {
        return RESULT_FAILURE;
    }
    TAVOMEND_LOG_I("switch targetState success, targetState: %d", static_cast<int>(targetState));
    return RESULT_SUCCESS;
}

void EngineAppImpl::ReportStatusChange(int result, std::string message)
{
    const auto client = callback_.Get();
    if (client == nullptr) {
        return;
    }
    const int32_t status = result == RESULT_SUCCESS ? CLIENT_STATUS_SUCCESS : CLIENT_STATUS_FAILED;
    TAVOMEND_LOG_I("OnStatusChanged, status is %{public}d, msg is %{public}s", status, message.c_str());
    client->OnStatusChanged(status, message);
}

int32_t EngineAppImpl::RegisterCallback(const sptr<ICoreEngineCallback>& callback)
{
    if (callback == nullptr) {
        TAVOMEND_LOG_E("callback is null");
        return RESULT_FAILURE;
    }
    {
        const std::lock_guard<std::mutex> lock(registrationMutex_);
        callback_ = callback;
        progressManager_->progressCallback_ = callback;
    }
    TAVOMEND_LOG_I("RegisterCallback success");
    return RESULT_SUCCESS;
}

int32_t EngineAppImpl::UnregisterCallback(const sptr<ICoreEngineCallback>& callback)
{
    if (callback == nullptr) {
        TAVOMEND_LOG_E("callback is null");
        return RESULT_FAILURE;
    }
    {
        const std::lock_guard<std::mutex> lock(registrationMutex_);
        if (!callback_.ClearIf(callback)) {
            TAVOMEND_LOG_E("this callback is Unregistered");
            return RESULT_FAILURE;
        }
        progressManager_->progressCallback_ = nullptr;
    }
    TAVOMEND_LOG_I("UnregisterCallback success");
    return RESULT_SUCCESS;
}

void EngineAppImpl::Reset()
{
    TAVOMEND_LOG_I("engine app reset");
    {
        const std::lock_guard<std::mutex> lock(cacheMutex_);
        stringList_.clear();
        bundleList_.clear();
        patchInfo_.clear();
    }
    {
        const std::lock_guard<std::mutex> lock(versionMutex_);
        version_.clear();
    }
    appPatchManager_->Reset();
}

void EngineAppImpl::InitErrCode(const int& state)
{
    const bool isSaStage = SysUtils::GetRunningStage() != RUNNING_STAGE_INIT;
    const std::string status = statusRecord_.GetStatus();
    std::string errorStatus;
    // A finished apply ends a history, and so does a boot.
    if (isSaStage && status != Formats::STATUS_ACTIVITES_FAILED && status != Formats::STATUS_ACTIVITES) {
        errorStatus = statusRecord_.GetStatusFromFile();
    }
    TAVOMEND_LOG_I("status: %{public}s, state: %{public}d", errorStatus.c_str(), state);
    DelayedSingleton<AppErrorCode>::GetInstance()->Init(isSaStage ? 1 : 0, state, errorStatus);
}

int32_t EngineAppImpl::ApplyTavomend()
{
    TAVOMEND_LOG_I("apply tavomend begin");
    // From here on, so that no query moves the backup package while its presence is judged; given back before the
    // client is told, who may ask for information from any thread.
    std::unique_lock<std::recursive_mutex> lock(operationMutex_);
    appPatchManager_->RenameRevokeFileToBak();
    if (!appPatchManager_->IsPackageExist()) {
        if (!appPatchManager_->IsBackupPackageExist()) {
            TAVOMEND_LOG_I("no app tavomend package exist, no need apply");
            return RESULT_NOTHING_TO_DO;
        }
        const int32_t earlier = CheckTvpkStatus();
        if (earlier != RESULT_NOTHING_TO_DO) {
            TAVOMEND_LOG_I("patch has been apply, result: %{public}d", earlier);
            const std::string status = statusRecord_.GetStatus();
            lock.unlock();
            ReportStatusChange(earlier, status);
            return earlier;
        }
    }
    const std::string version = GetTavomendVersion();
    const int32_t result = DoApplyTavomend();
    appPatchManager_->RenameRevokeFileToBak();
    const auto errorCode = DelayedSingleton<AppErrorCode>::GetInstance();
    errorCode->SetStop();
    const std::string detail =
        errorCode->GetAppErrorCode() + ":" + std::to_string(result == RESULT_SUCCESS ? APPLY_SUCCEEDED : APPLY_FAILED);
    statusRecord_.SetStatus(
        version, result == RESULT_SUCCESS ? Formats::STATUS_ACTIVITES : Formats::STATUS_ACTIVITES_FAILED, detail);
    const std::string status = statusRecord_.GetStatus();
    lock.unlock();
    ReportStatusChange(result, status);
    TAVOMEND_LOG_I("apply tavomend end, result: %{public}d", result);
    return result;
}

int32_t EngineAppImpl::DoApplyTavomend()
{
    TAVOMEND_LOG_I("do apply tavomend beign"); // the system's own spelling: log filters look for it
    const std::lock_guard<std::recursive_mutex> lock(operationMutex_);
    InitErrCode(APPLY_OPERATION);
    if (!PreconditionCheck() || !GetAllBundleNameList()) {
        appPatchManager_->ClearPackage();
        return RESULT_FAILURE;
    }
    std::vector<std::string> bundleNames;
    std::map<std::string, PatchStatusCode> infos;
    for (const auto& bundle : BundleList()) {
        bundleNames.push_back(bundle.first);
        infos[bundle.first] = PATCH_FIXED;
    }
    if (SwitchState(ACTIVITES, bundleNames) != RESULT_SUCCESS) {
        return RESULT_FAILURE;
    }
    const std::lock_guard<std::mutex> cacheLock(cacheMutex_);
    patchInfo_ = std::move(infos);
    return RESULT_SUCCESS;
}

bool EngineAppImpl::PreconditionCheck()
{
    if (appPatchManager_->PreconditionCheck() == 0) {
        TAVOMEND_LOG_E("precondition check failed");
        return false;
    }
    return true;
}

bool EngineAppImpl::GetAllBundleNameList()
{
    if (!BundleList().empty()) {
        return true;
    }
    std::map<std::string, std::string> list;
    if (!appPatchManager_->GetAllBundleNameList(list)) {
        TAVOMEND_LOG_E("get all bundleName list failed");
        return false;
    }
    const std::lock_guard<std::mutex> lock(cacheMutex_);
    bundleList_ = std::move(list);
    return true;
}

std::map<std::string, std::string> EngineAppImpl::BundleList() const
{
    const std::lock_guard<std::mutex> lock(cacheMutex_);
    return bundleList_;
}

int32_t EngineAppImpl::RevokeTavomend(const std::vector<std::string>& bundleNames)
{
    if (bundleNames.empty()) {
        TAVOMEND_LOG_W("unload is empty");
        return RESULT_NOTHING_TO_DO;
    }
    const auto known = BundleList();
    for (const auto& name : bundleNames) {
        if (known.find(name) == known.end()) {
            TAVOMEND_LOG_E("bundleName not found");
            return RESULT_FAILURE;
        }
    }
    return SwitchState(REVOKE, bundleNames);
}

int32_t EngineAppImpl::ClearTavomend()
{
    TAVOMEND_LOG_I("clean tavomend begin");
    const int32_t result = SwitchState(IDLE, {});
    statusRecord_.SetStatus(Formats::NO_PATCH_VERSION,
                            result == RESULT_SUCCESS ? Formats::STATUS_IDLE : Formats::STATUS_IDLE_FAILED, "");
    return result;
}

std::string EngineAppImpl::TestTavomend()
{
    std::map<std::string, uint32_t> testData;
    if (!appPatchManager_->GetTestData(testData)) {
        return TEST_WITHOUT_DATA;
    }
    const std::lock_guard<std::mutex> lock(testMutex_);
    testManager_.CheckAppPatchInit();
    for (const auto& [name, version] : testData) {
        testManager_.CheckAppPatch(name, version);
    }
    return testManager_.CheckAppPatchEnd();
}

std::string EngineAppImpl::GetTavomendVersion()
{
    const std::lock_guard<std::mutex> lock(versionMutex_);
    if (version_.empty()) {
        version_ = appPatchManager_->GetTavomendVersion();
    }
    return version_;
}

std::string EngineAppImpl::GetTavomendStatus()
{
    return statusRecord_.GetStatus();
}

std::map<std::string, PatchStatusCode> EngineAppImpl::GetTavomendInfo()
{
    const std::lock_guard<std::recursive_mutex> lock(operationMutex_);
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        TAVOMEND_LOG_I("get tavomendInfo is null");
        return {};
    }
    if (auto cached = CachedPatchInfo(); !cached.empty()) {
        TAVOMEND_LOG_I("get tavomendInfo success");
        return cached;
    }
    if (eventManager_ == nullptr) {
        eventManager_ = DelayedSingleton<EventManager>::GetInstance();
    }
    std::map<std::string, PatchStatusCode> infos;
    if (appPatchManager_->GetTavomendInfo(infos) != 0) {
        TAVOMEND_LOG_E("get tavomendInfo is null");
        infos.clear();
    }
    const std::lock_guard<std::mutex> cacheLock(cacheMutex_);
    patchInfo_ = infos;
    return infos;
}

std::map<std::string, PatchStatusCode> EngineAppImpl::CachedPatchInfo() const
{
    const std::lock_guard<std::mutex> lock(cacheMutex_);
    return patchInfo_.size() == bundleList_.size() ? patchInfo_ : std::map<std::string, PatchStatusCode>{};
}
} // namespace ORVX::TavomendEngine
