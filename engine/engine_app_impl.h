// The exported class of libtavomend_engine_app.so: the only way in for the hosting system service.
#ifndef TAVOMEND_ENGINE_ENGINE_APP_IMPL_H
#define TAVOMEND_ENGINE_ENGINE_APP_IMPL_H

#include <memory>
#include <mutex>
#include <unordered_map>

#include "bundle/callback_slot.h"
#include "engine/i_engine_app.h"
#include "platform/api/ref_base.h"
#include "platform/utility/event_manager.h"
#include "platform/utility/tavomend_status_record.h"
#include "platform/utility/test_manager.h"
#include "state/i_state.h"

namespace ORVX::TavomendEngine {
class AppPatchManager;
class ProgressManager;

// One lives as long as the hosting service keeps it; hosts take it from the factory. It owns the state table, the
// status record and the one client callback; everything else it asks of the app patch manager.
//
// Threads: as IEngineApp says. The operation mutex is held for the whole of a load, an apply and an information query,
// also while the client is told of progress (by the thread that it may ask on), and given back before the client is
// told of the outcome. The version, the caches and the callback have small locks of their own, never held while the
// client is called.
class __attribute__((visibility("default"))) EngineAppImpl : public IEngineApp {
public:
    // Reads the status record; takes the process-wide managers.
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

    // --- what the operations share ---
    // Runs the task of a state: 0, or -1 when there is no such state or it failed.
    int32_t SwitchState(const State& targetState, const std::vector<std::string>& bundleNames);
    // Tells the client, if there is one, 101 for result 0 and 151 for any other. Not under a lock.
    void ReportStatusChange(int result, std::string message);
    // Forgets what was cached of the package, here and below.
    void Reset();
    // Opens the error-code aggregate for an operation: state 0 for a load, 1 for an apply. It goes on from the history
    // in the status record, unless an apply has ended it or the stage is the init stage.
    void InitErrCode(const int& state);
    // The package manager's gate.
    bool PreconditionCheck();
    // Fills the bundle list from the configuration unless it is filled. False when it cannot be read; it stays empty.
    bool GetAllBundleNameList();

    // --- steps of an apply ---
    // The install itself, under the operation mutex: 0 or -1. A package that the gate refuses is removed. Writes no
    // status record and reports nothing but progress.
    int32_t DoApplyTavomend();

    // --- steps of a load ---
    // Copies what an older platform release left in the legacy patch directory; not in the init stage. True when there
    // is nothing to copy; the source stays.
    bool MigrateTavomend();
    bool DoMigrate(const std::string& source, const std::string& target);
    // Without a delivered package, the outcome of the last apply: 0 or -1; -2 when there is a package or no outcome.
    int32_t CheckTvpkStatus();
    // The load itself, under the operation mutex: 0 or -1. Writes no status record; a failure before the states empties
    // the hot and cold work directories.
    int32_t DoLoadTavomend();
    // Make the cold or the hot applications of the bundle list ready: 0 or -1. The second one subscribes to the bundle
    // scan and to added users, once.
    int32_t LoadInitStateTavomend();
    int32_t LoadSaStateTavomend();

private:
    [[nodiscard]] std::map<std::string, std::string> BundleList() const;
    // Empty when it does not fit the bundle list.
    [[nodiscard]] std::map<std::string, PatchStatusCode> CachedPatchInfo() const;
    [[nodiscard]] std::vector<std::string> BundleNamesOfType(const std::string& patchType) const;

    std::unordered_map<State, std::shared_ptr<IState>> stateTable_;
    sptr<AppPatchManager> appPatchManager_;
    std::shared_ptr<EventManager> eventManager_;
    TavomendStatusRecord statusRecord_;
    CallbackSlot callback_;
    std::shared_ptr<ProgressManager> progressManager_;
    TestManager testManager_;
    std::vector<std::string> stringList_; // emptied by Reset, otherwise unused
    std::map<std::string, std::string> bundleList_;
    std::map<std::string, PatchStatusCode> patchInfo_;
    std::string version_;
    // Recursive: a client may ask for information while it is told of progress.
    std::recursive_mutex operationMutex_;
    std::mutex versionMutex_;       // queries for the version wait for nothing longer than the cache
    std::mutex testMutex_;          // one run of the test hook after the other
    mutable std::mutex cacheMutex_; // string list, bundle list and patch info
    std::mutex registrationMutex_;  // keeps the two slots of one client together
};
} // namespace ORVX::TavomendEngine

#endif
