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
class AppPatchManager : public virtual RefBase {
public:
    AppPatchManager();

    // The package manager's gate, non-zero when it passed; notes the package level's key when it did not.
    [[nodiscard]] int32_t PreconditionCheck();
    [[nodiscard]] std::string GetTavomendVersion();
    // 0 with every application of the patch in `infos`, -1 when the package cannot be read. The backup package is
    // brought under the delivered name for the time of the query and always moved back; a delivered one stays.
    [[nodiscard]] int32_t GetTavomendInfo(std::map<std::string, PatchStatusCode>& infos);
    // Bundle name to the version that it should run: the patch's, or the one before it for a revoked application.
    [[nodiscard]] bool GetAllAppFixTargetVersion(std::map<std::string, uint32_t>& targets);
    [[nodiscard]] bool CheckAppFixRes(const std::string& bundleName, uint32_t targetVersion);
    // Checks once more after the bundle scan, where a recover list says that the scan may still change something.
    void RetryGetTavomendInfo(const std::map<std::string, uint32_t>& retries,
                              std::map<std::string, PatchStatusCode>& infos);
    [[nodiscard]] bool CheckBundleScanReady();
    // The target versions, for the test hook.
    [[nodiscard]] bool GetTestData(std::map<std::string, uint32_t>& targets);

    [[nodiscard]] bool GetAllBundleNameList(std::map<std::string, std::string>& list);
    [[nodiscard]] bool IsPackageExist();
    [[nodiscard]] bool IsBackupPackageExist();
    void Reset();
    void ClearAppCache();
    void ClearPackage();
    // In the system-service stage only: in the init stage the scan that reads the list is still to come.
    void RenameRevokeFileToBak();

private:
    [[nodiscard]] bool ReadTargets(std::map<std::string, uint32_t>& targets);

    std::shared_ptr<TvpkPackageManager> packageManager_;
    std::shared_ptr<TvpkBakPackageManager> bakPackageManager_;
    std::shared_ptr<BundleManager> bundleManager_;
    sptr<RecoverFileTool> recoverFileTool_;
    std::shared_ptr<EventManager> eventManager_;
};
} // namespace ORVX::TavomendEngine

#endif
