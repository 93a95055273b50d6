// Writes the list of applications to bring back to their unpatched state.
#ifndef TAVOMEND_STATE_REVOKE_STATE_H
#define TAVOMEND_STATE_REVOKE_STATE_H

#include "state/i_state.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendEngine {
// Entered by revoke, with the bundle names to bring back; the platform's scan at the next boot does it.
class RevokeState : public IState {
public:
    RevokeState();
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    bool IsTargetState(const State& targetState) override;

private:
    sptr<RecoverFileTool> recoverFileTool_;
};
} // namespace ORVX::TavomendEngine

#endif
