// The embedded bundle management service, system ability 401 of a host device.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_SERVICE_H
#define TAVOMEND_PORTS_HOST_BUNDLE_SERVICE_H

#include <memory>

#include "platform/api/bundle_mgr.h"
#include "ports/host/bundle_installer.h"
#include "ports/host/bundle_store.h"

namespace ORVX::TavomendHost {
// A bundle's version is the device's: its files are shared, users say for whom it is installed.
class BundleService : public IRemoteStub<IBundleMgr> {
public:
    BundleService(std::shared_ptr<BundleStore> store, const std::shared_ptr<BundlePlacer>& placer);

    bool GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo, int32_t userId) override;
    // 0, or 1 for a bundle that is no service framework.
    int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo, int32_t flag) override;
    sptr<IBundleInstaller> GetBundleInstaller() override;
    // Waits for installs under way.
    void Stop();

private:
    std::shared_ptr<BundleStore> store_;
    sptr<BundleInstaller> installer_;
};
} // namespace ORVX::TavomendHost

#endif
