// The exported class of libtavomend_engine_app.so: the only way in for the hosting system service.
#ifndef TAVOMEND_ENGINE_ENGINE_APP_IMPL_H
#define TAVOMEND_ENGINE_ENGINE_APP_IMPL_H

#include <memory>
#include <mutex>
#include <unordered_map>

#include "engine/i_engine_app.h"
#include "platform/api/ref_base.h"
#include "platform/utility/event_manager.h"
#include "platform/utility/tavomend_status_record.h"
#include "platform/utility/test_manager.h"
#include "state/i_state.h"

namespace ORVX::TavomendEngine {
class AppPatchManager;
class ProgressManager;

// One lives as long as the hosting service keeps it. It owns the state table, the status record and the one client
// callback; everything else it asks of the app patch manager.
class __attribute__((visibility("default"))) EngineAppImpl : public IEngineApp {
public:
    EngineAppImpl();
    ~EngineAppImpl() override;
    EngineAppImpl(const EngineAppImpl&) = delete;
    EngineAppImpl& operator=(const EngineAppImpl&) = delete;

    int32_t LoadTavomend() override;
    int32_t ApplyTavomend() override;
    int32_t ClearTavomend() override;
    int32_t RevokeTavomend(const std::vector<std::string>& bundleNames) override;
    std::string TestTavomend() override;
    std::string GetTavomendVersion() override;
    std::string GetTavomendStatus() override;
    std::map<std::string, PatchStatusCode> GetTavomendInfo() override;
    int32_t RegisterCallback(const sptr<ICoreEngineCallback>& callback) override;
    int32_t UnregisterCallback(const sptr<ICoreEngineCallback>& callback) override;

    // Copies what an older platform release left in the legacy patch directory; not in the init stage.
    bool MigrateTavomend();
    // Without a delivered package, the outcome of the last apply: 0 or -1; -2 when there is a package or no outcome.
    int32_t CheckTvpkStatus();

    // Runs the task of a state: 0, or -1 when there is no such state or it failed.
    int32_t SwitchState(const State& targetState, const std::vector<std::string>& bundleNames);
    // Tells the client 101 for result 0 and 151 for any other.
    void ReportStatusChange(int result, std::string message);
    // Forgets what was cached of the package.
    void Reset();
    // Opens the error-code aggregate for an operation: state 0 for a load, 1 for an apply.
    void InitErrCode(const int& state);

private:
    int32_t DoApplyTavomend();
    bool PreconditionCheck();
    bool GetAllBundleNameList();

    bool DoMigrate(const std::string& source, const std::string& target);
    int32_t DoLoadTavomend();
    int32_t LoadInitStateTavomend();
    int32_t LoadSaStateTavomend();
    [[nodiscard]] std::vector<std::string> BundleNamesOfType(const std::string& patchType) const;

    std::unordered_map<State, std::shared_ptr<IState>> stateTable_;
    sptr<AppPatchManager> appPatchManager_;
    std::shared_ptr<EventManager> eventManager_;
    TavomendStatusRecord statusRecord_;
    sptr<ICoreEngineCallback> callback_;
    std::shared_ptr<ProgressManager> progressManager_;
    TestManager testManager_;
    std::vector<std::string> stringList_; // emptied by Reset, otherwise unused
    std::map<std::string, std::string> bundleList_;
    std::map<std::string, PatchStatusCode> patchInfo_;
    std::string version_;
    std::mutex versionMutex_; // queries for the version wait for nothing longer than the cache
    // Held for the whole of a load, an apply and an information query. Recursive: a client may ask for information
    // while it is told of progress.
    std::recursive_mutex operationMutex_;
};
} // namespace ORVX::TavomendEngine

#endif
