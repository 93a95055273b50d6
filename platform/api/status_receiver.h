// Where the bundle service delivers the verdict of an install.
#ifndef TAVOMEND_PLATFORM_API_STATUS_RECEIVER_H
#define TAVOMEND_PLATFORM_API_STATUS_RECEIVER_H

#include <cstdint>
#include <string>

#include "platform/api/remote_object.h"

namespace ORVX {
// Given to the installer with each install, which lets it go after the verdict.
class IStatusReceiver : public IRemoteBroker {
public:
    static std::string GetDescriptor() { return "orvx.appexecfwk.StatusReceiver"; }

    // progress: 0 to 100, in the order in which the service reaches it; on a thread of the service, before the verdict.
    virtual void OnStatusNotify(int32_t progress) = 0;
    // The verdict: 0 installed, any other value the service's error code. Called once, on a thread of the service,
    // without a lock of the service; resultMsg is one line for people.
    virtual void OnFinished(int32_t resultCode, const std::string& resultMsg) = 0;
    // Number of a streamed install; plain installs never get one.
    virtual void SetStreamInstallId(uint32_t installId) = 0;
};

class StatusReceiverHost : public IRemoteStub<IStatusReceiver> {};
} // namespace ORVX

#endif
