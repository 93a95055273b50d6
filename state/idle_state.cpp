#include "state/idle_state.h"

#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"
#include "state/state_errors.h"

namespace ORVX::TavomendEngine {
IdleState::IdleState() : packageManager_(DelayedSingleton<TvpkPackageManager>::GetInstance()) {}

bool IdleState::SwitchState(const State& targetState, const std::vector<std::string>& /*bundleNames*/)
{
    if (!IsTargetState(targetState)) {
        return RefuseSwitch(ERROR_SWITCH_REFUSED);
    }
    if (!packageManager_->IsPackageExist()) {
        packageManager_->ClearAppTempDir();
    }
    FileUtils::Remove(Formats::STATUS_DIR); // goes only when it is empty
    packageManager_->ClearBackupPackage();
    return true;
}

bool IdleState::IsTargetState(const State& targetState)
{
    return targetState == IDLE;
}
} // namespace ORVX::TavomendEngine
