// How a host is told what its operations do while they do it.
#ifndef TAVOMEND_HOSTING_HOST_OBSERVER_H
#define TAVOMEND_HOSTING_HOST_OBSERVER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hosting/host_result.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
enum class BootStage { INIT, SCAN, SERVICE };

// The stage's name for people: "init stage", "bundle scan", "system-service stage".
[[nodiscard]] const char* NameOf(BootStage stage);

// Implemented by the hosting program; prints, forwards or records. It must outlive the operation that it is given to.
// A boot plays each stage in a process of its own: what is marked (stage) is called in a copy of the observer there, so
// that only what it writes outside of its memory is seen by the process that asked for the boot. Such copies neither
// flush buffers of the caller's nor run its destructors. Calls never overlap within a process. An operation of the
// engine is under way during OnProgress and over when OnEngineStatus comes; none of the calls may start another.
class IHostObserver {
public:
    virtual ~IHostObserver() = default;

    // Asked at safe points, at which nothing is half done: whether to stop there, as INTERRUPTED. A boot passes it on
    // to its stage with SIGTERM when a signal has come to this process.
    [[nodiscard]] virtual bool IsStopAsked() const { return false; }

    // A boot's next stage begins; before its process is there.
    virtual void OnStageBegan(BootStage stage) = 0;
    // (stage) The scan has run; its entries in the order in which they happened.
    virtual void OnScanned(const ScanReport& report) = 0;
    // (stage) The record of what is installed was damaged and has been made anew; one line for people. Before
    // OnScanned.
    virtual void OnStoreRebuilt(const std::string& /*line*/) {}
    // (stage) A request to take single applications back has been handed to the engine; the next scan takes them back.
    // unknown: those asked for that are none of the patch in force any more.
    virtual void OnRevoking(const std::vector<std::string>& /*bundleNames*/,
                            const std::vector<std::string>& /*unknown*/)
    {
    }
    // A load begins to rebuild the files of another application; number counts from 1 in each load. The total are the
    // applications of the load's stage: those that need no rebuilding are never told of.
    virtual void OnRebuilding(const std::string& /*bundleName*/, int32_t /*number*/, int32_t /*total*/) {}
    // A file of that application is being rebuilt, in bytes of the new file: its path on the device. The end comes
    // unless it fails.
    virtual void OnRebuilt(const std::string& /*product*/, uint64_t /*done*/, uint64_t /*total*/) {}
    // The load has gone through all of them; after the last OnRebuilding, with the same name and total.
    virtual void OnRebuildsDone(const std::string& /*bundleName*/, int32_t /*total*/) {}
    // A file is being copied onto the device, in bytes; `path` as the user has named it.
    virtual void OnCopied(const std::string& /*path*/, uint64_t /*done*/, uint64_t /*total*/) {}
    // The load that goes before an apply is over; apply follows in either case.
    virtual void OnLoaded(bool isReady) = 0;
    // Another application of the apply is over, whatever became of it; done counts from 1 in each apply.
    virtual void OnProgress(int32_t done, int32_t total) = 0;
    // The engine's report at the end of an apply: 101 with the status word, or 151.
    virtual void OnEngineStatus(int32_t status, const std::string& message) = 0;
    // (stage) What the stage has come to. For the scan only outcome and reason are filled.
    virtual void OnStageResult(BootStage stage, const PatchRunResult& result) = 0;
    // The stage's process is gone; without an outcome when it did not come to its end.
    virtual void OnStageEnded(BootStage stage, std::optional<Outcome> outcome) = 0;
};
} // namespace ORVX::TavomendHosting

#endif
