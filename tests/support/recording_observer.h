// Writes what a host is told into a file, since a boot's stages report from processes of their own.
#ifndef TAVOMEND_TESTS_SUPPORT_RECORDING_OBSERVER_H
#define TAVOMEND_TESTS_SUPPORT_RECORDING_OBSERVER_H

#include <fstream>
#include <string>

#include "hosting/host_observer.h"

namespace ORVX::TavomendTest {
// One word for an outcome.
inline std::string WordOf(TavomendHosting::Outcome outcome)
{
    constexpr const char* WORDS[] = {"done", "nothing", "failed", "no platform", "busy", "interrupted", "needs a boot"};
    return WORDS[static_cast<int>(outcome)];
}

// "OUTCOME: REASON [STATUS VERSION DETAIL] needs a boot", what is empty left out.
inline std::string LineOf(const TavomendHosting::PatchRunResult& result)
{
    const auto& view = result.view;
    return WordOf(result.outcome) + (result.reason.empty() ? "" : ": " + result.reason) +
           (view.status.empty() ? "" : " [" + view.status + " " + view.version + " " + view.detail + "]") +
           (result.needReboot ? " needs a boot" : "");
}

// One line a report, in the order in which they come; the file is opened for each, so that no copy of the observer
// holds one back.
class RecordingObserver : public TavomendHosting::IHostObserver {
public:
    explicit RecordingObserver(std::string path) : path_(std::move(path)) {}

    void Record(const std::string& line) const { std::ofstream(path_, std::ios::app) << line << "\n"; }

    void OnStageBegan(TavomendHosting::BootStage stage) override { Record(std::string("-- ") + NameOf(stage)); }
    void OnScanned(const ScanReport& report) override
    {
        std::string line = "scanned";
        for (const auto& entry : report.entries) {
            line += ", " + entry.bundleName + " " + entry.action + " " + std::to_string(entry.versionCode);
        }
        Record(line);
    }
    void OnStoreRebuilt(const std::string& line) override { Record(line); }
    void OnRebuilding(const std::string& bundleName, int32_t number, int32_t total) override
    {
        Record("rebuilding " + bundleName + " " + std::to_string(number) + "/" + std::to_string(total));
    }
    void OnCopied(const std::string& path, uint64_t done, uint64_t total) override
    {
        Record("copied " + path + " " + std::to_string(done) + "/" + std::to_string(total));
    }
    void OnLoaded(bool isReady) override { Record(isReady ? "loaded" : "not all loaded"); }
    void OnProgress(int32_t done, int32_t total) override
    {
        Record("progress " + std::to_string(done) + "/" + std::to_string(total));
    }
    void OnEngineStatus(int32_t status, const std::string& message) override
    {
        Record("engine " + std::to_string(status) + " " + message);
    }
    void OnStageResult(TavomendHosting::BootStage /*stage*/, const TavomendHosting::PatchRunResult& result) override
    {
        Record(LineOf(result));
    }
    void OnStageEnded(TavomendHosting::BootStage stage, std::optional<TavomendHosting::Outcome> outcome) override
    {
        Record(std::string("end of ") + NameOf(stage) + ": " + (outcome ? WordOf(*outcome) : "died"));
    }

private:
    std::string path_;
};
} // namespace ORVX::TavomendTest

#endif
