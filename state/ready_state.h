// Prepares a patch when it is loaded: rebuilds the applications' package files, or writes the recover list of a revoke.
#ifndef TAVOMEND_STATE_READY_STATE_H
#define TAVOMEND_STATE_READY_STATE_H

#include <memory>

#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/tavomend_status_record.h"
#include "state/i_state.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendEngine {
// Entered by load. Installs nothing. One application that fails does not keep the others from being prepared.
class ReadyState : public IState {
public:
    ReadyState();
    // bundleNames: the applications to prepare at this stage of the boot.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    bool IsTargetState(const State& targetState) override;

private:
    bool DoTask(const std::vector<std::string>& bundleNames);
    bool DoEnablePackageTask(const std::vector<std::string>& bundleNames);
    bool DoRevokePackageTask(const std::vector<std::string>& bundleNames);
    bool ReadyApp(const std::string& bundleName);

    std::shared_ptr<TvpkPackageManager> packageManager_;
    std::shared_ptr<TvpkBakPackageManager> bakPackageManager_;
    sptr<RecoverFileTool> recoverFileTool_;
    TavomendStatusRecord statusRecord_;
};
} // namespace ORVX::TavomendEngine

#endif
