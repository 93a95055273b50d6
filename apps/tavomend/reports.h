// What the room hosting reports, in the program's words: lines for people, and JSON with the same content.
#ifndef TAVOMEND_APPS_TAVOMEND_REPORTS_H
#define TAVOMEND_APPS_TAVOMEND_REPORTS_H

#include <optional>
#include <string>

#include "apps/common/console.h"
#include "apps/common/progress.h"
#include "apps/common/stop_request.h"
#include "hosting/host_observer.h"

namespace ORVX::TavomendCli {
using Cli::EXIT_BUSY;
using Cli::EXIT_DONE;
using Cli::EXIT_FAILED;
using Cli::EXIT_NOTHING;

[[nodiscard]] int ExitCodeOf(TavomendHosting::Outcome outcome);
// One line on standard error, with a code of the outcome's own for scripts; gives the program's exit code.
int FailAs(const Cli::Console& console, TavomendHosting::Outcome outcome, const std::string& reason);
// Both show what a run came to and give the program's exit code.
[[nodiscard]] int ShowLoad(const Cli::Console& console, const TavomendHosting::PatchRunResult& result);
[[nodiscard]] int ShowApply(const Cli::Console& console, const TavomendHosting::PatchRunResult& result);

// Prints each report as it comes, flushed, as a boot's processes need it. The console must outlive it.
class ConsoleObserver : public TavomendHosting::IHostObserver {
public:
    explicit ConsoleObserver(const Cli::Console& console) : console_(console) {}

    [[nodiscard]] bool IsStopAsked() const override { return Cli::StopRequest::Signal() != 0; }
    void OnStageBegan(TavomendHosting::BootStage stage) override;
    void OnScanned(const ScanReport& report) override;
    void OnStoreRebuilt(const std::string& line) override;
    void OnRevoking(const std::vector<std::string>& bundleNames, const std::vector<std::string>& unknown) override;
    void OnRebuilding(const std::string& bundleName, int32_t number, int32_t total) override;
    void OnRebuilt(const std::string& product, uint64_t done, uint64_t total) override;
    void OnRebuildsDone(const std::string& bundleName, int32_t total) override;
    void OnCopied(const std::string& path, uint64_t done, uint64_t total) override;
    void OnLoaded(bool isReady) override;
    void OnProgress(int32_t done, int32_t total) override;
    void OnEngineStatus(int32_t status, const std::string& message) override;
    void OnStageResult(TavomendHosting::BootStage stage, const TavomendHosting::PatchRunResult& result) override;
    void OnStageEnded(TavomendHosting::BootStage stage, std::optional<TavomendHosting::Outcome> outcome) override;

private:
    const Cli::Console& console_;
    std::optional<Cli::Progress> copying_; // from the first piece on
    std::optional<Cli::Progress> rebuilding_;
    std::string rebuildStep_;
};
} // namespace ORVX::TavomendCli

#endif
