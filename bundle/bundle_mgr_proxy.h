// The engine's only door to the platform's bundle management service.
#ifndef TAVOMEND_BUNDLE_BUNDLE_MGR_PROXY_H
#define TAVOMEND_BUNDLE_BUNDLE_MGR_PROXY_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/api/bundle_mgr.h"

namespace ORVX::TavomendEngine {
// Codes of an install that did not come to a verdict.
constexpr int32_t INSTALL_ERROR_NO_FILES = 805;
constexpr int32_t INSTALL_ERROR_USER_ID = 818;
constexpr int32_t INSTALL_ERROR_NO_SERVICE = 819;
constexpr int32_t INSTALL_ERROR_NO_INSTALLER = 820;
constexpr int32_t INSTALL_ERROR_NO_CALLBACK = 821;

// The bundle service under ability 401, looked up once and kept for the process; empty when it cannot be reached, and
// then looked up again at the next call. What was found once is not looked up again, also when the service died: the
// platform's register is expected to hand out an object that reaches the service's next life. Safe from any thread.
[[nodiscard]] sptr<IBundleMgr> GetBundleMgr();

// Used by the bundle manager alone; without a state of its own, and safe from any thread. Each call asks GetBundleMgr.
// Queries give 0, -1 for bad input or no service, -2 when the service says no; the output is set on 0 only.
class BundleMgrProxy : public virtual RefBase {
public:
    // Installs the bundle files of one application for a user (not below 0), replacing an installed version, and waits
    // for the verdict: up to 600 s for its code and as long again for its message; a service that dies ends the wait.
    // True when it is installed, errorCode is untouched then. Otherwise errorCode is one of the codes above,
    // SERVICE_DIED_CODE, INSTALL_WAIT_TIMEOUT_CODE or the service's own; after a timeout the install may still be under
    // way.
    [[nodiscard]] bool InstallApp(const std::vector<std::string>& bundleFilePaths, int32_t userId, int32_t& errorCode);
    // The install proper, with the parameters as they are.
    [[nodiscard]] bool InnerInstallApp(const std::vector<std::string>& bundleFilePaths,
                                       const InstallParam& installParam, int32_t& errorCode);
    // flags: 0, the default information.
    [[nodiscard]] int32_t GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo,
                                        int32_t userId);
    // Of a shared service bundle.
    [[nodiscard]] int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo);
};
} // namespace ORVX::TavomendEngine

#endif
