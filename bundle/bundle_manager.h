// Turns one application's patch result into an installed application, and answers which version is installed.
#ifndef TAVOMEND_BUNDLE_BUNDLE_MANAGER_H
#define TAVOMEND_BUNDLE_BUNDLE_MANAGER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bundle/bundle_mgr_proxy.h"
#include "platform/utility/event_manager.h"

namespace ORVX::TavomendEngine {
// Held by the package manager, the app patch manager and the activites state; one operation at a time, on the caller's
// thread, which may wait. Results: RESULT_SUCCESS, RESULT_FAILURE, RESULT_NOT_INSTALLED for any user. Outputs are set
// on success only, where nothing else is said.
class BundleManager {
public:
    // One application's install request.
    struct AppInfo {
        std::string bundleName;
        int32_t sequence = -1;
        uint32_t versionCode = 0;                 // after patching
        std::string appPatchType;                 // "cold" or "hot"
        std::string appType;                      // "internal" or "appServiceFwk"
        std::vector<std::string> bundleFilePaths; // rebuilt bundle files; hot only
    };

    BundleManager();

    // Hot: installs the files when they raise the installed version, for the user who has the application, or for user
    // 0 when one instance serves all. Cold: only checks that the installed version has reached the target, the platform
    // takes such files up by itself. Success also when there is nothing to do.
    // Codes, under the application's sequence: 802, 803, 805 for a request that makes no sense, 815, 816 for a cold
    // application whose version is not known or too low, and the service's own for a refused install. None for an
    // application that is not installed or is always running.
    [[nodiscard]] int32_t InstallApp(const AppInfo& app);
    // Its steps: by the kind of patch, and for each kind. A kind that the step is not for is refused.
    [[nodiscard]] int32_t InstallAppImpl(const AppInfo& app);
    [[nodiscard]] int32_t InstallColdApp(const AppInfo& app);
    [[nodiscard]] int32_t InstallHotApp(const AppInfo& app);

    // The version installed for any user.
    [[nodiscard]] int32_t GetAppVersionCode(const std::string& bundleName, uint32_t& versionCode);
    // The version of a shared service bundle.
    [[nodiscard]] int32_t GetServiceFwkAppVersionCode(const std::string& bundleName, uint32_t& versionCode);
    // The information under the first user, in the accounts' order, for whom the service answers anything but "not
    // found"; userId is set to that user also when the answer is a failure.
    [[nodiscard]] int32_t GetBundleInfo(const std::string& bundleName, BundleInfo& bundleInfo, int32_t& userId);
    // Appends the local ids of all accounts. With none yet, waits once for the first to be added; false when none comes
    // or the accounts cannot be asked.
    [[nodiscard]] bool GetAllUserId(std::vector<int32_t>& userIds);
    // Waits for the first user, at most EVENT_LISTEN_LIMIT; false when none was added.
    [[nodiscard]] bool CheckUserAddedReady();

private:
    sptr<BundleMgrProxy> proxy_;
    std::shared_ptr<EventManager> eventManager_;
};
} // namespace ORVX::TavomendEngine

#endif
