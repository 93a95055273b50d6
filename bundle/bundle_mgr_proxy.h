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

// The bundle service, looked up once and kept for the process; empty when it cannot be reached. A service that died
// later is not looked up again. Safe from any thread.
[[nodiscard]] sptr<IBundleMgr> GetBundleMgr();

// Used by the bundle manager alone. Queries give 0, -1 for bad input or no service, -2 when the service says no.
class BundleMgrProxy : public virtual RefBase {
public:
    // Installs the package files of one application for a user, replacing an installed version, and waits for the
    // verdict: up to 600 s for its code and as long again for its message. False with errorCode set: one of the codes
    // above, or the service's own.
    [[nodiscard]] bool InstallApp(const std::vector<std::string>& bundleFilePaths, int32_t userId, int32_t& errorCode);
    [[nodiscard]] bool InnerInstallApp(const std::vector<std::string>& bundleFilePaths,
                                       const InstallParam& installParam, int32_t& errorCode);
    [[nodiscard]] int32_t GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo,
                                        int32_t userId);
    [[nodiscard]] int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo);
};
} // namespace ORVX::TavomendEngine

#endif
