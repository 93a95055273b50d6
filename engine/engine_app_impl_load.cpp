// Load at boot, and migration of what an older platform release left behind.
#include "common/app_constants.h"
#include "common/log.h"
#include "common/results.h"
#include "engine/engine_app_impl.h"
#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "formats/status_words.h"
#include "package/app_patch_manager.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
// The aggregate's state number of a load, and the numbers that end a load's detail in the status record.
constexpr int LOAD_OPERATION = 0;
constexpr int32_t LOAD_SUCCEEDED = 47;
constexpr int32_t LOAD_FAILED = 48;

// Source to target. The second pair has the first one's key and is not taken: only the package directory gets the
// legacy files, and devices in the field rely on the cold directory staying empty.
std::unordered_map<std::string, std::string> MigrationTable()
{
    return {{Formats::LEGACY_PATCH_DIR, Formats::PACKAGE_DIR}, {Formats::LEGACY_PATCH_DIR, Formats::COLD_WORK_DIR}};
}
} // namespace

int32_t EngineAppImpl::LoadTavomend()
{
    TAVOMEND_LOG_I("load tavomend begin");
    const std::lock_guard<std::recursive_mutex> lock(operationMutex_);
    const PackageInMemory package = appPatchManager_->KeepInMemory();
    if (!MigrateTavomend()) {
        TAVOMEND_LOG_W("migrate tavomend failed");
    }
    if (GetTavomendVersion() == Formats::NO_PATCH_VERSION) {
        TAVOMEND_LOG_I("no app tavomend package exist, no need load");
        statusRecord_.SetStatus(Formats::NO_PATCH_VERSION, Formats::STATUS_IDLE, "");
        appPatchManager_->ClearAppCache();
        return RESULT_NOTHING_TO_DO;
    }
    const int32_t earlier = CheckTvpkStatus();
    if (earlier != RESULT_NOTHING_TO_DO) {
        TAVOMEND_LOG_I("load tavomend is not ignore");
        appPatchManager_->ClearAppCache();
        return earlier;
    }
    Reset();
    InitErrCode(LOAD_OPERATION);
    const int32_t result = DoLoadTavomend();
    const auto errorCode = DelayedSingleton<AppErrorCode>::GetInstance();
    errorCode->SetStop();
    const std::string detail =
        errorCode->GetAppErrorCode() + ":" + std::to_string(result == RESULT_SUCCESS ? LOAD_SUCCEEDED : LOAD_FAILED);
    statusRecord_.SetStatus(result == RESULT_SUCCESS ? Formats::STATUS_READY : Formats::STATUS_READY_FAILED, detail);
    TAVOMEND_LOG_I("load tavomend end, result: %{public}d", result);
    return result;
}

int32_t EngineAppImpl::CheckTvpkStatus()
{
    if (appPatchManager_->IsPackageExist()) {
        return RESULT_NOTHING_TO_DO;
    }
    const std::string status = statusRecord_.GetStatus();
    if (status == Formats::STATUS_ACTIVITES_FAILED) {
        return RESULT_FAILURE;
    }
    return status == Formats::STATUS_ACTIVITES ? RESULT_SUCCESS : RESULT_NOTHING_TO_DO;
}

int32_t EngineAppImpl::DoLoadTavomend()
{
    TAVOMEND_LOG_I("do load tavomend beign"); // the system's own spelling: log filters look for it
    const std::lock_guard<std::recursive_mutex> lock(operationMutex_);
    if (!PreconditionCheck() || !GetAllBundleNameList()) {
        appPatchManager_->ClearAppCache();
        return RESULT_FAILURE;
    }
    const int32_t stage = SysUtils::GetRunningStage();
    TAVOMEND_LOG_I("do load tavomend, running %d", stage);
    return stage == RUNNING_STAGE_INIT ? LoadInitStateTavomend() : LoadSaStateTavomend();
}

int32_t EngineAppImpl::LoadInitStateTavomend()
{
    TAVOMEND_LOG_I("LoadInitStateTavomend begin");
    return SwitchState(READY, BundleNamesOfType(PATCH_TYPE_COLD));
}

int32_t EngineAppImpl::LoadSaStateTavomend()
{
    TAVOMEND_LOG_I("LoadSaStateTavomend begin");
    if (eventManager_ == nullptr) {
        eventManager_ = DelayedSingleton<EventManager>::GetInstance();
        eventManager_->SubscribeEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
        eventManager_->SubscribeEvent(COMMON_EVENT_USER_ADDED);
    }
    return SwitchState(READY, BundleNamesOfType(PATCH_TYPE_HOT));
}

std::vector<std::string> EngineAppImpl::BundleNamesOfType(const std::string& patchType) const
{
    std::vector<std::string> names;
    for (const auto& [name, type] : BundleList()) {
        if (type == patchType) {
            names.push_back(name);
        }
    }
    return names;
}

bool EngineAppImpl::MigrateTavomend()
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        return true;
    }
    for (const auto& [source, target] : MigrationTable()) {
        if (!DoMigrate(source, target)) {
            TAVOMEND_LOG_E("migrate path failed: %{public}s", source.c_str());
            return false;
        }
    }
    return true;
}

bool EngineAppImpl::DoMigrate(const std::string& source, const std::string& target)
{
    if (!FileUtils::DirIsExist(source)) {
        TAVOMEND_LOG_W("migrate path not exist: %{public}s", source.c_str());
        return true;
    }
    TAVOMEND_LOG_I("migrate app path %{public}s", source.c_str());
    return FileUtils::CopyDir(source, target);
}
} // namespace ORVX::TavomendEngine
