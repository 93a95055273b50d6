// What a host's operations do, as single events: for a log that can be searched for one application.
#ifndef TAVOMEND_HOSTING_EVENT_OBSERVER_H
#define TAVOMEND_HOSTING_EVENT_OBSERVER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "hosting/device_view.h"
#include "hosting/host_observer.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
struct HostEvent {
    enum class Kind { INFORMATION, WARNING, ERROR };
    Kind kind = Kind::INFORMATION;
    std::string text;            // one line for people
    std::string bundleName;      // empty for what is about no single application
    std::optional<int32_t> code; // of the engine or the bundle service (docs/status-record.md)
};

// Hands all that it is told to another observer, and the events in it to a function first, in the process and on the
// thread that it is told on. Port, observer and function must outlive it.
class EventObserver : public IHostObserver {
public:
    using Log = std::function<void(const HostEvent&)>;
    EventObserver(const IDevicePort& port, IHostObserver& next, Log log);

    // A load, or a load and apply, has come to this; a boot tells it of its stages by itself. What has failed is told
    // by application and code, what an apply has brought by application.
    void OnLoadEnded(const PatchRunResult& result);
    void OnApplyEnded(const PatchRunResult& result);

    // IHostObserver
    [[nodiscard]] bool IsStopAsked() const override { return next_.IsStopAsked(); }
    void OnStageBegan(BootStage stage) override { next_.OnStageBegan(stage); }
    void OnScanned(const ScanReport& report) override;
    void OnStoreRebuilt(const std::string& line) override;
    void OnRevoking(const std::vector<std::string>& bundleNames, const std::vector<std::string>& unknown) override;
    void OnRebuilding(const std::string& bundleName, int32_t number, int32_t total) override;
    void OnRebuilt(const std::string& product, uint64_t done, uint64_t total) override
    {
        next_.OnRebuilt(product, done, total);
    }
    void OnRebuildsDone(const std::string& bundleName, int32_t total) override
    {
        next_.OnRebuildsDone(bundleName, total);
    }
    void OnCopied(const std::string& path, uint64_t done, uint64_t total) override
    {
        next_.OnCopied(path, done, total);
    }
    void OnLoaded(bool isReady) override;
    void OnProgress(int32_t done, int32_t total) override { next_.OnProgress(done, total); }
    void OnEngineStatus(int32_t status, const std::string& message) override { next_.OnEngineStatus(status, message); }
    void OnStageResult(BootStage stage, const PatchRunResult& result) override;
    void OnStageEnded(BootStage stage, std::optional<Outcome> outcome) override;

private:
    void LogEnd(const char* run, const PatchRunResult& result) const;
    // operations: how many of the last ones the run was.
    void LogFailures(const PatchRunResult& result, size_t operations) const;
    void LogInForce(const PatchRunResult& result) const;

    const IDevicePort& port_;
    IHostObserver& next_;
    const Log log_;
    std::optional<PackageFacts> facts_; // before the apply, which may use the package up
};
} // namespace ORVX::TavomendHosting

#endif
