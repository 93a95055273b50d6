// The bundle (application) management service and its installer, system ability 401.
#ifndef TAVOMEND_PLATFORM_API_BUNDLE_MGR_H
#define TAVOMEND_PLATFORM_API_BUNDLE_MGR_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/api/bundle_info.h"
#include "platform/api/remote_object.h"
#include "platform/api/status_receiver.h"

namespace ORVX {
// One client's way to have applications installed. Safe from any thread.
class IBundleInstaller : public IRemoteBroker {
public:
    static std::string GetDescriptor() { return "orvx.appexecfwk.BundleInstaller"; }

    // Installs the bundle files of one application. 0: accepted, the verdict comes through the receiver on a thread
    // of the service; any other value: refused at once, the receiver is not called. Files are bundle files, absolute
    // paths, and must stay until the verdict. A refusal or a bad verdict leaves the installed applications as they
    // were.
    virtual int32_t Install(const std::vector<std::string>& bundleFilePaths, const InstallParam& installParam,
                            const sptr<IStatusReceiver>& statusReceiver) = 0;
};

// Found under ability 401. A service that dies tells the death recipients of itself and of its installers; installs
// that it had accepted may get no verdict then. Safe from any thread.
class IBundleMgr : public IRemoteBroker {
public:
    static std::string GetDescriptor() { return "orvx.appexecfwk.BundleMgr"; }

    // flags: 0, the default information. True when the bundle is installed for the user (a singleton bundle is found
    // for every existing user); bundleInfo is untouched otherwise.
    virtual bool GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo,
                               int32_t userId) = 0;
    // Information on a shared service bundle; flag 1 asks for the variant of service frameworks. 0 on success;
    // bundleInfo is untouched otherwise.
    virtual int32_t GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo,
                                           int32_t flag) = 0;
    // Empty when the service has no installer, or is gone. Ask for one for each install and let it go afterwards: death
    // recipients that were left on it go with it.
    virtual sptr<IBundleInstaller> GetBundleInstaller() = 0;
};
} // namespace ORVX

#endif
