#include "state/revoke_state.h"

#include "state/state_errors.h"

namespace ORVX::TavomendEngine {
RevokeState::RevokeState() : recoverFileTool_(MakeSptr<RecoverFileTool>()) {}

bool RevokeState::SwitchState(const State& targetState, const std::vector<std::string>& bundleNames)
{
    if (!IsTargetState(targetState)) {
        return RefuseSwitch(ERROR_SWITCH_REFUSED);
    }
    return recoverFileTool_->WriteReInstallFile(bundleNames);
}

bool RevokeState::IsTargetState(const State& targetState)
{
    return targetState == REVOKE;
}
} // namespace ORVX::TavomendEngine
