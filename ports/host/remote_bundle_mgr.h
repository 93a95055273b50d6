// The address of the bundle service that the register hands out: one object for all lives of the service.
#ifndef TAVOMEND_PORTS_HOST_REMOTE_BUNDLE_MGR_H
#define TAVOMEND_PORTS_HOST_REMOTE_BUNDLE_MGR_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "platform/api/bundle_mgr.h"

namespace ORVX::TavomendHost {
// Clients look the bundle service up once and keep what they got for good; so what they get is no service but a proxy
// that passes each call to the one registered at that moment. While there is none it answers no: false, 1, no
// installer. Keeps nothing alive. Safe from any thread.
class RemoteBundleMgr : public IBundleMgr, public IRemoteObject {
public:
    // find: the live service that is registered, or null.
    using Find = std::function<sptr<IRemoteObject>()>;
    explicit RemoteBundleMgr(Find find) : find_(std::move(find)) {}

    bool GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo, int32_t userId) override;
    int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo, int32_t flag) override;
    sptr<IBundleInstaller> GetBundleInstaller() override;

    sptr<IRemoteObject> AsObject() override { return sptr<IRemoteObject>(this); }
    [[nodiscard]] std::string GetObjectDescriptor() const override { return IBundleMgr::GetDescriptor(); }
    // A recipient goes to the service of the moment and is told of that one's death, not of a later one's.
    bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    // True while no live service is registered.
    [[nodiscard]] bool IsObjectDead() const override { return find_() == nullptr; }

private:
    Find find_;
};
} // namespace ORVX::TavomendHost

#endif
