#include "apps/tavomend/reports.h"

#include <nlohmann/json.hpp>

#include "apps/common/printable.h"

namespace ORVX::TavomendCli {
using TavomendHosting::BootStage;
using TavomendHosting::Outcome;
using TavomendHosting::PatchRunResult;

namespace {
constexpr int STAGE_DIED = -1;

// Says in one line how a run failed.
int FailRun(const Cli::Console& console, const std::string& what, const PatchRunResult& result)
{
    if (result.outcome != Outcome::FAILED) {
        return FailAs(console, result.outcome, result.reason);
    }
    console.Emit("result", {{"outcome", "failed"},
                            {"status", result.view.status},
                            {"version", result.view.version},
                            {"detail", result.view.detail},
                            {"explanation", result.reason}});
    return console.Fail(what + ": " + result.reason);
}

std::string LineOf(const ScanReport::Entry& entry)
{
    const std::string name = entry.bundleName.empty() ? "" : entry.bundleName + " ";
    return "  " + Cli::Printable(name + entry.action +
                                 (entry.reason.empty() ? " at version " + std::to_string(entry.versionCode)
                                                       : ": " + entry.reason));
}
} // namespace

int ExitCodeOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::DONE:
        return EXIT_DONE;
    case Outcome::NOTHING:
        return EXIT_NOTHING;
    case Outcome::BUSY:
        return EXIT_BUSY;
    case Outcome::INTERRUPTED:
        return Cli::StopRequest::ExitCode();
    default:
        return EXIT_FAILED;
    }
}

int FailAs(const Cli::Console& console, Outcome outcome, const std::string& reason)
{
    const char* code = outcome == Outcome::BUSY          ? "busy"
                       : outcome == Outcome::INTERRUPTED ? "interrupted"
                       : outcome == Outcome::NEEDS_BOOT  ? "needs boot"
                                                         : Cli::FAILED.code;
    return console.Fail(reason, {code, ExitCodeOf(outcome)});
}

int ShowLoad(const Cli::Console& console, const PatchRunResult& result)
{
    if (result.outcome != Outcome::DONE && result.outcome != Outcome::NOTHING) {
        return FailRun(console, "load failed", result);
    }
    const bool isDone = result.outcome == Outcome::DONE;
    console.Say(Cli::Printable("load: " + (isDone ? result.view.status : result.reason)));
    console.Emit("result", {{"outcome", isDone ? "done" : "nothing"}, {"status", result.view.status}});
    return ExitCodeOf(result.outcome);
}

int ShowApply(const Cli::Console& console, const PatchRunResult& result)
{
    const auto& view = result.view;
    if (result.outcome == Outcome::NOTHING) {
        console.Emit("result", {{"outcome", "nothing"}, {"status", view.status}, {"version", view.version}});
        console.Say(Cli::Printable("nothing to do: " + result.reason));
        return EXIT_NOTHING;
    }
    if (result.outcome != Outcome::DONE) {
        return FailRun(console, "apply failed", result);
    }
    nlohmann::ordered_json line = {
        {"outcome", "done"}, {"status", view.status}, {"version", view.version}, {"detail", view.detail}};
    console.Say(Cli::Printable("patch " + view.version + " is in force"));
    if (result.needReboot) {
        console.Say("the patch asks for a boot to be complete");
        line["needReboot"] = true;
    }
    console.Emit("result", line);
    return EXIT_DONE;
}

void ConsoleObserver::OnStageBegan(BootStage stage)
{
    console_.Emit("begin", {{"stage", NameOf(stage)}});
    console_.Say(std::string("-- ") + NameOf(stage));
}

void ConsoleObserver::OnScanned(const ScanReport& report)
{
    console_.Say(report.entries.empty() ? "scan: nothing has changed" : "scan:");
    for (const auto& entry : report.entries) {
        console_.Say(LineOf(entry));
        console_.Emit("scan", {{"bundle", entry.bundleName},
                               {"action", entry.action},
                               {"versionCode", entry.versionCode},
                               {"reason", entry.reason}});
    }
}

void ConsoleObserver::OnStoreRebuilt(const std::string& line)
{
    console_.Emit("store", {{"message", line}});
    console_.Say(line);
}

void ConsoleObserver::OnRevoking(const std::vector<std::string>& bundleNames, const std::vector<std::string>& unknown)
{
    console_.Emit("revoking", {{"names", bundleNames}, {"unknown", unknown}});
    for (const auto& name : bundleNames) {
        console_.Say(Cli::Printable("to be taken back by the next scan: " + name));
    }
    for (const auto& name : unknown) {
        console_.Say(Cli::Printable("not taken back: " + name + " is none of the patch in force"));
    }
}

void ConsoleObserver::OnRebuilding(const std::string& bundleName, int32_t number, int32_t total)
{
    const std::string step = "rebuilding " + Cli::Printable(bundleName);
    const std::string line = step + ", " + std::to_string(number) + " of " + std::to_string(total);
    rebuilding_.reset();
    console_.Emit("progress", {{"step", step}, {"done", number - 1}, {"total", total}, {"unit", "applications"}});
    if (console_.HasBar()) {
        console_.ShowBar(line);
    } else {
        console_.Say(line);
    }
    rebuildStep_ = line;
}

void ConsoleObserver::OnRebuilt(const std::string& /*product*/, uint64_t done, uint64_t total)
{
    if (!rebuilding_) {
        rebuilding_.emplace(console_);
    }
    rebuilding_->Report(rebuildStep_, done, total);
    if (done >= total) {
        rebuilding_.reset();
    }
}

void ConsoleObserver::OnRebuildsDone(const std::string& bundleName, int32_t total)
{
    console_.Emit("progress", {{"step", "rebuilding " + Cli::Printable(bundleName)},
                               {"done", total},
                               {"total", total},
                               {"unit", "applications"}});
}

void ConsoleObserver::OnCopied(const std::string& path, uint64_t done, uint64_t total)
{
    if (!copying_) {
        copying_.emplace(console_);
    }
    copying_->Report("copying " + path, done, total);
    if (done >= total) {
        copying_.reset();
    }
}

void ConsoleObserver::OnLoaded(bool isReady)
{
    console_.Emit("load", {{"ready", isReady}});
    console_.Say(isReady ? "load: ready" : "load: not everything is ready");
}

void ConsoleObserver::OnProgress(int32_t done, int32_t total)
{
    console_.Progress("installed", done, total);
}

void ConsoleObserver::OnEngineStatus(int32_t status, const std::string& message)
{
    console_.Emit("engine", {{"report", status}, {"message", message}});
    console_.Say("the engine reports: " + message + " (" + std::to_string(status) + ")");
}

void ConsoleObserver::OnStageResult(BootStage stage, const PatchRunResult& result)
{
    if (result.outcome == Outcome::INTERRUPTED) {
        return; // the boot says so, and what becomes of it
    }
    if (stage == BootStage::INIT) {
        static_cast<void>(ShowLoad(console_, result));
    } else if (stage == BootStage::SERVICE) {
        static_cast<void>(ShowApply(console_, result));
    } else if (result.outcome == Outcome::NO_PLATFORM) {
        console_.Fail(result.reason);
    }
}

void ConsoleObserver::OnStageEnded(BootStage stage, std::optional<Outcome> outcome)
{
    console_.Emit("stage", {{"stage", NameOf(stage)}, {"exit", outcome ? ExitCodeOf(*outcome) : STAGE_DIED}});
}
} // namespace ORVX::TavomendCli
