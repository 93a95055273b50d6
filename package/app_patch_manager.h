// The facade's single entry to the package side, for everything that is not a state's task.
#ifndef TAVOMEND_PACKAGE_APP_PATCH_MANAGER_H
#define TAVOMEND_PACKAGE_APP_PATCH_MANAGER_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bundle/bundle_manager.h"
#include "package/patch_status_code.h"
#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/api/ref_base.h"
#include "platform/utility/event_manager.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendEngine {
// Held by the facade, one operation at a time; GetTavomendVersion, IsPackageExist and IsBackupPackageExist may be
// called from any thread beside an operation. Queries change nothing on the device for good: the backup package, where
// it has to be read, is put under the delivered name for that time and always moved back; a delivered one, or half of
// one, stays where it is.
class AppPatchManager : public virtual RefBase {
public:
    AppPatchManager();

    // The package manager's gate: 1 when it passed, 0 when not, with the package level's key noted besides what the
    // gate itself recorded.
    [[nodiscard]] int32_t PreconditionCheck();
    // See TvpkPackageManager::GetTavomendVersion.
    [[nodiscard]] std::string GetTavomendVersion();
    // RESULT_SUCCESS with every application of the patch set in `infos`, RESULT_FAILURE, and `infos` untouched, when
    // the package or the recover list cannot be read. An application that cannot be checked is PATCH_NOT_FIXED. May
    // wait for the bundle scan.
    [[nodiscard]] int32_t GetTavomendInfo(std::map<std::string, PatchStatusCode>& infos);
    // Bundle name to the version that it should run: the patch's, or the one before it for an application in the
    // recover list. False, with some of the targets perhaps set, when one of the two cannot be read.
    [[nodiscard]] bool GetAllAppFixTargetVersion(std::map<std::string, uint32_t>& targets);
    // Asks the bundle service: true for exactly this version, under the first user who has the application.
    [[nodiscard]] bool CheckAppFixRes(const std::string& bundleName, uint32_t targetVersion);
    // Sets each of `retries` in `infos`. Checks once more after the bundle scan where a recover list says that the scan
    // may still change something; without one nothing is waited for and none is fixed.
    void RetryGetTavomendInfo(const std::map<std::string, uint32_t>& retries,
                              std::map<std::string, PatchStatusCode>& infos);
    // Waits for the bundle scan, at most EVENT_LISTEN_LIMIT; false when it did not finish.
    [[nodiscard]] bool CheckBundleScanReady();
    // The target versions, for the test hook; what GetAllAppFixTargetVersion gives.
    [[nodiscard]] bool GetTestData(std::map<std::string, uint32_t>& targets);

    // Passed on to the package manager, whose contracts hold.
    [[nodiscard]] PackageInMemory KeepInMemory() { return packageManager_->KeepInMemory(); }
    [[nodiscard]] bool GetAllBundleNameList(std::map<std::string, std::string>& list);
    [[nodiscard]] bool IsPackageExist();
    [[nodiscard]] bool IsBackupPackageExist();
    void Reset();
    void ClearPackage();
    // Removes the cold and the hot work directory.
    void ClearAppCache();
    // Makes the recover list its backup, so that a check that is cut short resumes with the same names. In the
    // system-service stage only: in the init stage the scan that reads the list is still to come.
    void RenameRevokeFileToBak();

private:
    // The target versions, of the backup where nothing is delivered.
    [[nodiscard]] bool ReadTargets(std::map<std::string, uint32_t>& targets);

    std::shared_ptr<TvpkPackageManager> packageManager_;
    std::shared_ptr<TvpkBakPackageManager> bakPackageManager_;
    std::shared_ptr<BundleManager> bundleManager_;
    sptr<RecoverFileTool> recoverFileTool_;
    std::shared_ptr<EventManager> eventManager_;
};
} // namespace ORVX::TavomendEngine

#endif
