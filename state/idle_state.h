// Cleans up after a finished or cleared patch.
#ifndef TAVOMEND_STATE_IDLE_STATE_H
#define TAVOMEND_STATE_IDLE_STATE_H

#include <memory>

#include "package/tvpk_package_manager.h"
#include "state/i_state.h"

namespace ORVX::TavomendEngine {
// Entered by clear. Always succeeds; the work directory is kept while a delivered package is waiting.
class IdleState : public IState {
public:
    IdleState();
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    bool IsTargetState(const State& targetState) override;

private:
    std::shared_ptr<TvpkPackageManager> packageManager_;
};
} // namespace ORVX::TavomendEngine

#endif
