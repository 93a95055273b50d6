// Cleans up after a finished or cleared patch.
#ifndef TAVOMEND_STATE_IDLE_STATE_H
#define TAVOMEND_STATE_IDLE_STATE_H

#include <memory>

#include "package/tvpk_package_manager.h"
#include "state/i_state.h"

namespace ORVX::TavomendEngine {
// Entered by clear. On the caller's thread.
class IdleState : public IState {
public:
    IdleState();
    // Removes the backup package and an empty status directory, and empties the work directory unless a delivered
    // package waits. True for IDLE, whatever could be removed; bundleNames are not used. Code: 50 under key 102.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    // True for IDLE.
    bool IsTargetState(const State& targetState) override;

private:
    std::shared_ptr<TvpkPackageManager> packageManager_;
};
} // namespace ORVX::TavomendEngine

#endif
