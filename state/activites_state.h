// Installs what load prepared, or checks that a revoke brought the applications back.
#ifndef TAVOMEND_STATE_ACTIVITES_STATE_H
#define TAVOMEND_STATE_ACTIVITES_STATE_H

#include <map>
#include <memory>

#include "bundle/bundle_manager.h"
#include "bundle/progress_manager.h"
#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/event_manager.h"
#include "platform/utility/tavomend_status_record.h"
#include "state/i_state.h"

namespace ORVX::TavomendEngine {
// Entered by apply. Every application is tried, failed ones once more after the platform's bundle scan. Whatever the
// outcome, the work area is cleaned and the package becomes the backup. "Activites" is the system's own spelling.
class ActivitesState : public IState {
public:
    ActivitesState();
    // bundleNames: all applications of the package.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    bool IsTargetState(const State& targetState) override;

private:
    bool DoTask(const std::vector<std::string>& bundleNames);
    bool DoEnablePackageTask(const std::vector<std::string>& bundleNames);
    bool DoRevokePackageTask(const std::vector<std::string>& bundleNames);
    [[nodiscard]] std::vector<std::string> GetBackupBundleNames();

    int32_t InstallApp(const std::string& bundleName);
    bool RetryInstallApp(const std::vector<std::string>& bundleNames);
    void AddInstalledVabNum();
    void RecordAppError(const std::string& bundleName, int32_t code);

    // 0 back at the target, -1 not, -2 not installed.
    int32_t CheckAppRevokeRes(const std::string& bundleName, uint32_t targetVersion);
    bool RetryCheckAppRevokeRes(const std::map<std::string, uint32_t>& targets);
    bool CheckBundleScanReady();

    std::shared_ptr<TvpkPackageManager> packageManager_;
    std::shared_ptr<BundleManager> bundleManager_;
    std::shared_ptr<TvpkBakPackageManager> bakPackageManager_;
    std::shared_ptr<EventManager> eventManager_;
    TavomendStatusRecord statusRecord_;
    std::shared_ptr<ProgressManager> progressManager_;
};
} // namespace ORVX::TavomendEngine

#endif
