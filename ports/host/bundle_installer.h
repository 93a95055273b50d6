// The bundle service's installer: each request is judged and carried out on a thread of its own.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_INSTALLER_H
#define TAVOMEND_PORTS_HOST_BUNDLE_INSTALLER_H

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/api/bundle_mgr.h"
#include "ports/host/bundle_placer.h"

namespace ORVX::TavomendHost {
class BundleInstaller : public IRemoteStub<IBundleInstaller> {
public:
    explicit BundleInstaller(std::shared_ptr<BundlePlacer> placer);
    ~BundleInstaller() override;

    // Refuses at once only an empty list and an empty receiver (INSTALL_BAD_ARGUMENTS).
    int32_t Install(const std::vector<std::string>& bundleFilePaths, const InstallParam& installParam,
                    const sptr<IStatusReceiver>& statusReceiver) override;
    // Waits until every accepted request has its verdict.
    void Join();

private:
    std::shared_ptr<BundlePlacer> placer_;
    std::mutex mutex_;
    std::vector<std::thread> threads_;
};
} // namespace ORVX::TavomendHost

#endif
