#include "ports/host/bundle_service.h"

#include <algorithm>

namespace ORVX::TavomendHost {
namespace {
constexpr int32_t NO_SERVICE_FRAMEWORK = 1;

BundleInfo MakeBundleInfo(const InstalledBundle& bundle)
{
    std::vector<std::string> paths;
    for (const auto& module : bundle.modules) {
        paths.push_back(module.second);
    }
    return {bundle.bundleName, bundle.versionCode, bundle.versionName,
            bundle.keepAlive,  bundle.singleton,   bundle.factoryVersion.has_value(),
            std::move(paths)};
}
} // namespace

BundleService::BundleService(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer)
    : store_(std::move(store)), placer_(std::move(placer)), threads_(std::make_shared<InstallThreads>())
{
}

bool BundleService::GetBundleInfo(const std::string& bundleName, int32_t /*flags*/, BundleInfo& bundleInfo,
                                  int32_t userId)
{
    std::optional<InstalledBundle> bundle;
    const auto accounts = store_->ListUsers();
    if (!accounts || !store_->FindBundle(bundleName, bundle) || !bundle) {
        return false;
    }
    const auto& users = bundle->singleton ? *accounts : bundle->users;
    const bool isThere =
        (bundle->singleton && userId == SYSTEM_USER) || std::find(users.begin(), users.end(), userId) != users.end();
    if (isThere) {
        bundleInfo = MakeBundleInfo(*bundle);
    }
    return isThere;
}

int32_t BundleService::GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo,
                                              int32_t /*flag*/)
{
    std::optional<InstalledBundle> bundle;
    if (!store_->FindBundle(sharedBundleName, bundle) || !bundle ||
        bundle->bundleType != Formats::BUNDLE_TYPE_SERVICE_FWK) {
        return NO_SERVICE_FRAMEWORK;
    }
    bundleInfo = MakeBundleInfo(*bundle);
    return 0;
}

sptr<IBundleInstaller> BundleService::GetBundleInstaller()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isStopped_) {
        return nullptr;
    }
    const auto isGone = [](const auto& installer) { return installer.promote() == nullptr; };
    installers_.erase(std::remove_if(installers_.begin(), installers_.end(), isGone), installers_.end());
    const auto installer = MakeSptr<BundleInstaller>(placer_, threads_);
    installers_.emplace_back(installer);
    return installer;
}

void BundleService::Stop()
{
    threads_->Close();
    std::vector<wptr<BundleInstaller>> installers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isStopped_ = true;
        installers.swap(installers_);
    }
    NotifyDeath();
    for (const auto& weak : installers) {
        if (const auto installer = weak.promote()) {
            installer->NotifyDeath();
        }
    }
}
} // namespace ORVX::TavomendHost
