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
// Made by CreateEngineApp; one in a process. The numbers are 0 success, -1 failure, -2 nothing to do. Nothing throws.
//
// Threads: any thread may call any operation, and every operation runs on the caller's thread until it is done. Load,
// apply and the information query wait for each other; the others wait for nobody. Load, apply, revoke and clear change
// the device and are the hosting service's to put in order: a revoke or a clear in the middle of an apply is undefined
// on disk. The client may call back from what it is told: every query from the thread that it is told on; from other
// threads, while it is told of progress, all but the information query, which waits for the apply.
//
// Failures that concern the package or an application are recorded as codes; they reach the detail of the status record
// when the load or the apply ends. A process that dies leaves a device on which the next boot's load goes on.
class IEngineApp {
public:
    virtual ~IEngineApp() = default;

    // Finishes what is pending up to installable files. Called once in each stage of every boot, the stage told before
    // (SysUtils::SetRunningStage): the init stage prepares the cold applications, the system-service stage the hot
    // ones. Gives 0 or -1 and writes "ready" or "ready_failed" with its detail; -2 without a patch, after which the
    // record says "patch00", "idle"; the outcome of the last apply, 0 or -1, when its package is a backup already. A
    // package that the gate refuses stays; applications that failed are left out by a later apply. The callback is not
    // called.
    virtual int32_t LoadTavomend() = 0;
    // Installs what the load of this process made ready, and waits for each verdict of the bundle service (600 s at
    // most, and as long again). Gives 0 when every application runs its target, -1 otherwise; applications that were
    // installed stay installed. The record says "activites" or "activites_failed", and the package has become the
    // backup, before the callback gets the outcome; a package that the gate refuses is removed. -2 with neither package
    // nor backup: nothing is written or reported. With a backup alone the last outcome is reported again.
    virtual int32_t ApplyTavomend() = 0;
    // Back to a device without a patch record: leftovers, recover list and backup package are removed, installed
    // versions stay. The record says "patch00" with "idle" (0) or "idle_failed" (-1). May be repeated.
    virtual int32_t ClearTavomend() = 0;
    // Notes applications of the patch in the recover list, for the next boot's scan to bring back. Only in a process
    // that loaded or applied the patch. -2 for an empty list; -1, and the list on disk is as it was, for a name that
    // the patch does not have. No status is written.
    virtual int32_t RevokeTavomend(const std::vector<std::string>& bundleNames) = 0;
    // The test hook's one line of text, of JSON style: which applications of the patch run their target.
    virtual std::string TestTavomend() = 0;
    // The version of the delivered package, else of the patch in force, else "patch00"; empty when the delivered
    // package does not pass its check. Kept until the next load, unless it is empty.
    virtual std::string GetTavomendVersion() = 0;
    // The status word of the status record, in memory; empty when there is none.
    virtual std::string GetTavomendStatus() = 0;
    // Bundle name to patch status; empty in the init stage and when there is no patch to ask about. Asks the bundle
    // service, and may wait for its scan, unless the answer since the load or the apply is known.
    virtual std::map<std::string, PatchStatusCode> GetTavomendInfo() = 0;
    // One client at a time; a second one replaces the first, which is not told. -1 for an empty pointer, and the
    // earlier client stays.
    virtual int32_t RegisterCallback(const sptr<ICoreEngineCallback>& callback) = 0;
    // -1 for an empty pointer or one that is not the registered one; nothing changes then. Does not wait for a report
    // that is under way: it may still arrive afterwards.
    virtual int32_t UnregisterCallback(const sptr<ICoreEngineCallback>& callback) = 0;
};
} // namespace ORVX::TavomendEngine

#endif
