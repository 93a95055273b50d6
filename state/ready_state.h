// Prepares a patch when it is loaded: rebuilds the applications' bundle files, or writes the recover list of a revoke.
#ifndef TAVOMEND_STATE_READY_STATE_H
#define TAVOMEND_STATE_READY_STATE_H

#include <memory>

#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/tavomend_status_record.h"
#include "state/i_state.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendEngine {
// Entered by load. Installs nothing. One operation at a time, on the caller's thread.
class ReadyState : public IState {
public:
    ReadyState();
    // Needs the gate passed; drops the recover list's backup in any case. bundleNames: the applications to prepare at
    // this stage of the boot, not used by a revoke.
    //
    // Enable: true when every application's files are ready to install; one that fails does not keep the others from
    // being prepared. Revoke: writes the backup's applications to the recover list, in the init stage and only when
    // something was in progress; true also when there was nothing to write.
    //
    // Codes: 60 under key 102; 200, 400, 600 under the application whose record, extraction or rebuild failed.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    // True for READY.
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
