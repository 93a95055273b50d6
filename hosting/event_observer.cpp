#include "hosting/event_observer.h"

#include <algorithm>

#include "hosting/error_text.h"

namespace ORVX::TavomendHosting {
namespace {
using Kind = HostEvent::Kind;
constexpr const char* SKIPPED = "skipped";
} // namespace

EventObserver::EventObserver(const IDevicePort& port, IHostObserver& next, Log log)
    : port_(port), next_(next), log_(std::move(log))
{
}

void EventObserver::OnLoadEnded(const PatchRunResult& result)
{
    LogEnd("load", result);
    LogFailures(result, 1);
}

void EventObserver::OnApplyEnded(const PatchRunResult& result)
{
    LogEnd("apply", result);
    LogFailures(result, 2); // and the load before
    if (result.outcome == Outcome::DONE) {
        LogInForce(result);
    }
}

void EventObserver::LogEnd(const char* run, const PatchRunResult& result) const
{
    if (result.outcome == Outcome::DONE || result.outcome == Outcome::NOTHING) {
        return;
    }
    const bool isPassing = result.outcome == Outcome::INTERRUPTED || result.outcome == Outcome::NEEDS_BOOT;
    log_({isPassing ? Kind::WARNING : Kind::ERROR, std::string(run) + (isPassing ? ": " : " failed: ") + result.reason,
          "", std::nullopt});
}

void EventObserver::LogInForce(const PatchRunResult& result) const
{
    const PackageFacts facts = facts_.value_or(PackageFacts());
    const std::string patch = "patch " + result.view.version;
    log_({Kind::INFORMATION, patch + (facts.isRevoke ? " has taken the patch back" : " is in force"), "", {}});
    for (const auto& app : facts.apps) {
        log_({Kind::INFORMATION,
              app.bundleName + " is patched to version " + std::to_string(app.version) + " by " + result.view.version,
              app.bundleName, std::nullopt});
    }
}

void EventObserver::LogFailures(const PatchRunResult& result, size_t operations) const
{
    if (result.outcome != Outcome::FAILED) {
        return;
    }
    const auto facts = facts_ ? *facts_ : ReadPackageFacts();
    const auto all = ParseDetail(result.view.detail);
    for (size_t i = all.size() - std::min(all.size(), operations); i < all.size(); ++i) {
        for (const auto& [key, codes] : all[i].codes) {
            const bool isNamed = key >= 0 && static_cast<size_t>(key) < facts.bundleNames.size();
            const std::string name = isNamed ? facts.bundleNames[static_cast<size_t>(key)] : "";
            for (auto code = codes.rbegin(); code != codes.rend(); ++code) { // as they came
                const std::string text = ErrorCodeText(port_, key, *code);
                log_({Kind::ERROR, isNamed ? name + ": " + text : text, name, *code});
            }
        }
    }
}

void EventObserver::OnScanned(const ScanReport& report)
{
    for (const auto& entry : report.entries) {
        const bool isSkipped = entry.action == SKIPPED;
        log_({isSkipped ? Kind::WARNING : Kind::INFORMATION,
              entry.bundleName + (entry.bundleName.empty() ? "" : " ") + entry.action +
                  (isSkipped ? ": " + entry.reason : " at version " + std::to_string(entry.versionCode)),
              entry.bundleName, std::nullopt});
    }
    next_.OnScanned(report);
}

void EventObserver::OnStoreRebuilt(const std::string& line)
{
    log_({Kind::WARNING, line, "", std::nullopt});
    next_.OnStoreRebuilt(line);
}

void EventObserver::OnRevoking(const std::vector<std::string>& bundleNames, const std::vector<std::string>& unknown)
{
    for (const auto& name : bundleNames) {
        log_({Kind::INFORMATION, name + " is to be taken back by the next scan", name, std::nullopt});
    }
    next_.OnRevoking(bundleNames, unknown);
}

void EventObserver::OnRebuilding(const std::string& bundleName, int32_t number, int32_t total)
{
    log_({Kind::INFORMATION, "rebuilding " + bundleName, bundleName, std::nullopt});
    next_.OnRebuilding(bundleName, number, total);
}

void EventObserver::OnLoaded(bool isReady)
{
    facts_ = ReadPackageFacts();
    next_.OnLoaded(isReady);
}

void EventObserver::OnStageResult(BootStage stage, const PatchRunResult& result)
{
    if (stage == BootStage::INIT) {
        OnLoadEnded(result);
    } else if (stage == BootStage::SERVICE) {
        OnApplyEnded(result);
    } else {
        LogEnd("scan", result);
    }
    next_.OnStageResult(stage, result);
}

void EventObserver::OnStageEnded(BootStage stage, std::optional<Outcome> outcome)
{
    if (!outcome) {
        log_({Kind::ERROR, std::string("the ") + NameOf(stage) + " did not come to its end", "", std::nullopt});
    }
    next_.OnStageEnded(stage, outcome);
}
} // namespace ORVX::TavomendHosting
