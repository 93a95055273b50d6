// The bundle service's installer: each request is judged and carried out on a thread of its own.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_INSTALLER_H
#define TAVOMEND_PORTS_HOST_BUNDLE_INSTALLER_H

#include <memory>
#include <string>
#include <vector>

#include "platform/api/bundle_mgr.h"
#include "ports/host/bundle_placer.h"
#include "ports/host/install_threads.h"

namespace ORVX::TavomendHost {
// Small, and a fresh one for each who asks the service: it holds its client's death recipients and goes with them. An
// install under way needs it no more. Safe from any thread.
class BundleInstaller : public IRemoteStub<IBundleInstaller> {
public:
    BundleInstaller(std::shared_ptr<BundlePlacer> placer, std::shared_ptr<InstallThreads> threads);

    // Refuses at once only an empty list and an empty receiver (INSTALL_BAD_ARGUMENTS), and every request once the
    // service has ended (INSTALL_SERVICE_ENDED). Each file is read once and copied meanwhile: what its path leads to
    // later is not installed, and with a bad verdict no copy is left. Progress is 40 when the files are read and 100
    // before a good verdict; the verdict is one of InstallResult with one line for people.
    int32_t Install(const std::vector<std::string>& bundleFilePaths, const InstallParam& installParam,
                    const sptr<IStatusReceiver>& statusReceiver) override;

private:
    std::shared_ptr<BundlePlacer> placer_;
    std::shared_ptr<InstallThreads> threads_;
};
} // namespace ORVX::TavomendHost

#endif
