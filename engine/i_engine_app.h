// The engine's operations as its hosting system service calls them.
#ifndef TAVOMEND_ENGINE_I_ENGINE_APP_H
#define TAVOMEND_ENGINE_I_ENGINE_APP_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "package/patch_status_code.h"
#include "platform/api/core_engine_callback.h"

namespace ORVX::TavomendEngine {
// Every operation runs on the caller's thread until it is done. Results: 0 success, -1 failure, -2 nothing to do.
// Load, apply and the information query wait for each other; the others take no lock.
class IEngineApp {
public:
    virtual ~IEngineApp() = default;

    // Called at every boot, in both stages: finishes what is pending up to installable files (the cold applications in
    // the init stage, the hot ones in the system-service stage).
    virtual int32_t LoadTavomend() = 0;
    // Installs what load made ready, in the same process, and reports to the callback.
    virtual int32_t ApplyTavomend() = 0;
    // Back to a device without a patch record: leftovers, status and backup package are removed.
    virtual int32_t ClearTavomend() = 0;
    // Notes applications of the patch for being brought back at the next boot. Only in a process that loaded or
    // applied the patch; -1 for a name that it does not know, -2 for an empty list.
    virtual int32_t RevokeTavomend(const std::vector<std::string>& bundleNames) = 0;
    // The test hook's one line of text.
    virtual std::string TestTavomend() = 0;
    // The version of the delivered package, else of the patch in force, else "patch00"; empty when the delivered
    // package does not pass its check.
    virtual std::string GetTavomendVersion() = 0;
    // The status word of the status record.
    virtual std::string GetTavomendStatus() = 0;
    // Bundle name to patch status; empty in the init stage and when there is no patch to ask about.
    virtual std::map<std::string, PatchStatusCode> GetTavomendInfo() = 0;
    // One client at a time; a second one replaces the first. -1 for an empty pointer.
    virtual int32_t RegisterCallback(const sptr<ICoreEngineCallback>& callback) = 0;
    // -1 for an empty pointer or one that is not the registered one.
    virtual int32_t UnregisterCallback(const sptr<ICoreEngineCallback>& callback) = 0;
};
} // namespace ORVX::TavomendEngine

#endif
