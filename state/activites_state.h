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
// Entered by apply. "Activites" is the system's own spelling. One operation at a time, on the caller's thread, which
// waits for each install's verdict and, where something failed, for the bundle scan.
class ActivitesState : public IState {
public:
    ActivitesState();
    // Needs the gate passed. Whatever the outcome, the hot work directory and the extracted configuration go and the
    // package becomes the backup. bundleNames: all applications of the package.
    //
    // Enable: every application is tried, failed ones once more after the bundle scan; true when all are installed or
    // need nothing. Revoke: true when every application of the backup is back at the version before the patch, or
    // removed by its user, at the latest after the scan; also in the init stage and where nothing was in progress. Its
    // bundleNames may be empty: a revoke package names no application, those of the backup are meant.
    //
    // Codes: 60 and 70 (no gate passed) under key 102; under an application's 810, 811 for a failed first and second
    // install, 812 without a record, 813, 814 and 822 for a record that failed before, and those of the install.
    bool SwitchState(const State& targetState, const std::vector<std::string>& bundleNames) override;
    // True for ACTIVITES.
    bool IsTargetState(const State& targetState) override;

private:
    bool DoTask(const std::vector<std::string>& bundleNames);
    bool DoEnablePackageTask(const std::vector<std::string>& bundleNames);
    bool DoRevokePackageTask(const std::vector<std::string>& bundleNames);

    // 0 installed or nothing to do.
    int32_t InstallApp(const std::string& bundleName);
    bool RetryInstallApp(const std::vector<std::string>& bundleNames);
    void AddInstalledVabNum();
    void RecordAppError(const std::string& bundleName, int32_t code);

    // The backup names applications.
    [[nodiscard]] bool HasBackupRecords();
    [[nodiscard]] bool ReadBackupRecords(std::vector<TvpkBakPackageManager::APatchInfo>& records);
    // RESULT_SUCCESS back at the target, RESULT_FAILURE not, or RESULT_NOT_INSTALLED.
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
