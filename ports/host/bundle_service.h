// The embedded bundle management service, system ability 401 of a host device.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_SERVICE_H
#define TAVOMEND_PORTS_HOST_BUNDLE_SERVICE_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/api/bundle_mgr.h"
#include "ports/host/bundle_installer.h"
#include "ports/host/bundle_store.h"

namespace ORVX::TavomendHost {
// A bundle's version is the device's: its files are shared, users say for whom it is installed. One in a process, owned
// by the HostPlatform, which registers it; clients reach it through the register's proxy. Safe from any thread.
class BundleService : public IRemoteStub<IBundleMgr> {
public:
    BundleService(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer);

    // A singleton bundle is there for user 0 and for every account.
    bool GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo, int32_t userId) override;
    // 0, or 1 for a bundle that is no service framework.
    int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo, int32_t flag) override;
    // A fresh one each time, so that death recipients go with the install that they were left for. Empty after Stop.
    sptr<IBundleInstaller> GetBundleInstaller() override;
    // The service's end: takes no more installs, waits for those under way (each gets its verdict), then tells the
    // death recipients of the service and of every installer that somebody still holds.
    void Stop();

private:
    std::shared_ptr<BundleStore> store_;
    std::shared_ptr<BundlePlacer> placer_;
    std::shared_ptr<InstallThreads> threads_;
    std::mutex mutex_;
    std::vector<wptr<BundleInstaller>> installers_; // those that somebody may still hold
    bool isStopped_ = false;
};
} // namespace ORVX::TavomendHost

#endif
