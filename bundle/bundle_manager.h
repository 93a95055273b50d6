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
// Held by the package manager, the app patch manager and the activites state. Results: 0, -1 failure, -2 not installed
// for any user. Failures of an install are recorded in the error-code aggregate under the application's sequence.
class BundleManager {
public:
    // One application's install request.
    struct AppInfo {
        std::string bundleName;
        int32_t sequence = -1;
        uint32_t versionCode = 0;                 // after patching
        std::string appPatchType;                 // "cold" or "hot"
        std::string appType;                      // "internal" or "appServiceFwk"
        std::vector<std::string> bundleFilePaths; // rebuilt package files; hot only
    };

    BundleManager();

    // Hot: installs the files when they raise the installed version. Cold: only checks that the installed version has
    // reached the target, the platform takes such files up by itself. 0 also when there is nothing to do.
    [[nodiscard]] int32_t InstallApp(const AppInfo& app);
    // The version installed for any user; versionCode is set on 0 only.
    [[nodiscard]] int32_t GetAppVersionCode(const std::string& bundleName, uint32_t& versionCode);
    // The version of a shared service bundle.
    [[nodiscard]] int32_t GetServiceFwkAppVersionCode(const std::string& bundleName, uint32_t& versionCode);
    // The information under the first user for whom the service answers anything but "not found".
    [[nodiscard]] int32_t GetBundleInfo(const std::string& bundleName, BundleInfo& bundleInfo, int32_t& userId);
    // Appends the local ids of all accounts. With none yet, waits once for the first to be added.
    [[nodiscard]] bool GetAllUserId(std::vector<int32_t>& userIds);
    [[nodiscard]] bool CheckUserAddedReady();

private:
    [[nodiscard]] int32_t InstallAppImpl(const AppInfo& app);
    [[nodiscard]] int32_t InstallColdApp(const AppInfo& app);
    [[nodiscard]] int32_t InstallHotApp(const AppInfo& app);

    sptr<BundleMgrProxy> proxy_;
    std::shared_ptr<EventManager> eventManager_;
};
} // namespace ORVX::TavomendEngine

#endif
