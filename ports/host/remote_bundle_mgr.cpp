#include "ports/host/remote_bundle_mgr.h"

namespace ORVX::TavomendHost {
namespace {
constexpr int32_t NO_SERVICE = 1;
} // namespace

bool RemoteBundleMgr::GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo,
                                    int32_t userId)
{
    const auto service = iface_cast<IBundleMgr>(find_());
    return service != nullptr && service->GetBundleInfo(bundleName, flags, bundleInfo, userId);
}

int32_t RemoteBundleMgr::GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo,
                                                int32_t flag)
{
    const auto service = iface_cast<IBundleMgr>(find_());
    return service == nullptr ? NO_SERVICE : service->GetDependentBundleInfo(sharedBundleName, bundleInfo, flag);
}

sptr<IBundleInstaller> RemoteBundleMgr::GetBundleInstaller()
{
    const auto service = iface_cast<IBundleMgr>(find_());
    return service == nullptr ? nullptr : service->GetBundleInstaller();
}

bool RemoteBundleMgr::AddDeathRecipient(const sptr<DeathRecipient>& recipient)
{
    const auto service = find_();
    if (service != nullptr) {
        return service->AddDeathRecipient(recipient);
    }
    if (recipient != nullptr) {
        recipient->OnRemoteDied(wptr<IRemoteObject>(this));
    }
    return false;
}

bool RemoteBundleMgr::RemoveDeathRecipient(const sptr<DeathRecipient>& recipient)
{
    const auto service = find_();
    return service != nullptr && service->RemoveDeathRecipient(recipient);
}
} // namespace ORVX::TavomendHost
