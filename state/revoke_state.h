// Writes the list of applications to bring back to their unpatched state.
#ifndef TAVOMEND_STATE_REVOKE_STATE_H
#define TAVOMEND_STATE_REVOKE_STATE_H

#include "state/i_state.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendEngine {
// Entered by revoke. On the caller's thread. The platform's scan at the next boot brings the applications back.
class RevokeState : public IState {
public:
    RevokeState();
    // Writes the recover list; true when it is written whole, or bundleNames is empty and nothing is written. Code: 50
    // under key 102.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    // True for REVOKE.
    bool IsTargetState(const State& targetState) override;

private:
    sptr<RecoverFileTool> recoverFileTool_;
};
} // namespace ORVX::TavomendEngine

#endif
