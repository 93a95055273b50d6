// The client's remote callback: how a patch run tells its progress and its outcome.
#ifndef TAVOMEND_PLATFORM_API_CORE_ENGINE_CALLBACK_H
#define TAVOMEND_PLATFORM_API_CORE_ENGINE_CALLBACK_H

#include <cstdint>
#include <string>

#include "platform/api/remote_object.h"

namespace ORVX {
// Implemented by the client, called on the engine's caller's thread, which waits meanwhile. The client may query the
// engine and (un)register callbacks from there.
class ICoreEngineCallback : public IRemoteBroker {
public:
    static std::string GetDescriptor() { return "orvx.tavomend.CoreEngineCallback"; }

    // Raw counts: the first application of a process reports 0, and a second run in one process counts on.
    virtual void OnProgressChanged(int32_t installed, int32_t total) = 0;
    // status: 101 the operation succeeded, 151 it failed; message: the status word of the status record.
    virtual void OnStatusChanged(int32_t status, const std::string& message) = 0;
};

class CoreEngineCallbackStub : public IRemoteStub<ICoreEngineCallback> {};
} // namespace ORVX

#endif
