#include "ports/host/bundle_installer.h"

#include "ports/host/host_message.h"

namespace ORVX::TavomendHost {
namespace {
constexpr int32_t PROGRESS_READ = 40;
constexpr int32_t PROGRESS_DONE = 100;

// Its copies are gone when it returns: with the verdict nothing is left of a refused install.
InstallResult ReadAndPlace(BundlePlacer& placer, const std::vector<std::string>& paths, const InstallParam& param,
                           IStatusReceiver& receiver, std::string& message)
{
    BundleFileSet set;
    StagedFiles staged = placer.Stage();
    InstallResult result = StageBundleFileSet(paths, set, staged, message);
    if (result == INSTALL_OK) {
        receiver.OnStatusNotify(PROGRESS_READ);
        result = placer.Install(set, staged, param.userId, param.installFlag == InstallFlag::REPLACE_EXISTING, message);
    }
    if (result == INSTALL_OK) {
        message = "installed " + set.manifest.bundleName + " version " + std::to_string(set.manifest.versionCode);
    }
    return result;
}

void CarryOut(BundlePlacer& placer, const std::vector<std::string>& paths, const InstallParam& param,
              const sptr<IStatusReceiver>& receiver)
{
    std::string message;
    const InstallResult result = ReadAndPlace(placer, paths, param, *receiver, message);
    if (result == INSTALL_OK) {
        receiver->OnStatusNotify(PROGRESS_DONE);
    }
    HostMessage(result == INSTALL_OK ? KALOG_INFO : KALOG_ERROR, message);
    receiver->OnFinished(result, message);
}
} // namespace

BundleInstaller::BundleInstaller(std::shared_ptr<BundlePlacer> placer, std::shared_ptr<InstallThreads> threads)
    : placer_(std::move(placer)), threads_(std::move(threads))
{
}

int32_t BundleInstaller::Install(const std::vector<std::string>& bundleFilePaths, const InstallParam& installParam,
                                 const sptr<IStatusReceiver>& statusReceiver)
{
    if (bundleFilePaths.empty() || statusReceiver == nullptr) {
        return INSTALL_BAD_ARGUMENTS;
    }
    const bool isTaken = threads_->Run([placer = placer_, bundleFilePaths, installParam, statusReceiver] {
        CarryOut(*placer, bundleFilePaths, installParam, statusReceiver);
    });
    return isTaken ? INSTALL_OK : INSTALL_SERVICE_ENDED;
}
} // namespace ORVX::TavomendHost
