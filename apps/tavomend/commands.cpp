#include "apps/tavomend/commands.h"

#include <nlohmann/json.hpp>

#include "apps/common/printable.h"
#include "apps/common/text_table.h"
#include "apps/tavomend/reports.h"
#include "apps/tavomend/status_report.h"
#include "hosting/boot.h"
#include "hosting/event_observer.h"
#include "hosting/patch_run.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendCli {
using namespace TavomendHosting;

namespace {
// Enters the device. A result that is not done has been shown.
DeliveryResult BringAndDeliver(Session& session, const PackageFiles& files, Refused refused)
{
    DeliveryResult result;
    ConsoleObserver observer(session.Out());
    if (!BringIn(files, session.DeviceFolder(), result.reason, &observer)) {
        session.Out().Fail(result.reason);
        return result;
    }
    if (!session.EnterDevice()) {
        return result;
    }
    result = DeliverIncoming(session.Port(), files, refused, observer);
    if (result.outcome != Outcome::DONE) {
        FailAs(session.Out(), result.outcome, result.reason);
    }
    return result;
}

BootStage StageOf(const std::string& name)
{
    return name == "init" ? BootStage::INIT : name == "scan" ? BootStage::SCAN : BootStage::SERVICE;
}

PatchRunResult LoadAndApplyHere(const Session& session)
{
    ConsoleObserver console(session.Out());
    EventObserver observer(session.Port(), console, session.Events());
    auto result = LoadAndApply(session.Port(), observer);
    observer.OnApplyEnded(result);
    return result;
}
} // namespace

int RunDeliver(Session& session, const PackageFiles& files, Refused refused)
{
    const DeliveryResult result = BringAndDeliver(session, files, refused);
    if (result.outcome != Outcome::DONE) {
        return ExitCodeOf(result.outcome);
    }
    session.Out().Emit("deliver", {{"delivered", true}, {"refusal", result.refusal}});
    session.Out().Say(result.refusal.empty()
                          ? Cli::Printable("delivered" + (result.needsBoot.empty() ? "" : "; " + result.needsBoot))
                          : Cli::Printable("delivered, but this device will refuse it: " + result.refusal));
    return EXIT_DONE;
}

int RunInstall(Session& session, const PackageFiles& files)
{
    const DeliveryResult delivered = BringAndDeliver(session, files, Refused::IS_SENT_BACK);
    if (delivered.outcome != Outcome::DONE) {
        return ExitCodeOf(delivered.outcome);
    }
    session.Out().Emit("deliver", {{"delivered", true}, {"refusal", delivered.refusal}});
    if (!delivered.needsBoot.empty()) {
        session.Out().Say("delivered; " + delivered.needsBoot);
        return EXIT_NEEDS_BOOT;
    }
    const auto applied = LoadAndApplyHere(session);
    const int shown = ShowApply(session.Out(), applied);
    return applied.outcome == Outcome::DONE && applied.needReboot ? EXIT_NEEDS_BOOT : shown;
}

int RunApply(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    return ShowApply(session.Out(), LoadAndApplyHere(session));
}

int RunLoad(Session& session, const std::string& stage)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const int32_t runningStage =
        stage == "init" ? TavomendEngine::RUNNING_STAGE_INIT : TavomendEngine::RUNNING_STAGE_SA;
    ConsoleObserver console(session.Out());
    EventObserver observer(session.Port(), console, session.Events());
    const auto result = Load(session.Port(), runningStage, &observer);
    observer.OnLoadEnded(result);
    return ShowLoad(session.Out(), result);
}

int RunBoot(Session& session, const std::string& stage)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    ConsoleObserver console(session.Out());
    EventObserver observer(session.Port(), console, session.Events());
    const auto result = stage.empty() ? TavomendHosting::RunBoot(session.Port(), observer)
                                      : RunBootStage(session.Port(), StageOf(stage), observer);
    if (!result.reason.empty()) {
        return FailAs(session.Out(), result.outcome, result.reason);
    }
    const bool isRecordedFailure = result.outcome == Outcome::FAILED && !stage.empty();
    // A boot is a boot.
    return result.outcome == Outcome::NOTHING || isRecordedFailure ? EXIT_DONE : ExitCodeOf(result.outcome);
}

int RunRevoke(Session& session, const std::vector<std::string>& bundleNames)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto result = RequestRevoke(session.Port(), bundleNames);
    if (result.outcome == Outcome::NOTHING) {
        session.Out().Emit("revoke", {{"names", nlohmann::ordered_json::array()}, {"notes", result.notes}});
        session.Out().Say(Cli::Printable("nothing to do: " + result.reason));
        return EXIT_NOTHING;
    }
    if (result.outcome != Outcome::DONE) {
        return session.Out().Fail(result.reason);
    }
    session.Out().Emit("revoke", {{"names", bundleNames}, {"notes", result.notes}});
    for (const auto& note : result.notes) {
        session.Out().Say(Cli::Printable(note));
    }
    session.Out().Say("asked for; the next boot does it: `tavomend boot`");
    return EXIT_DONE;
}

int RunClear(Session& session, bool isSure)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    if (IsBackupThere() && !isSure) {
        return session.Out().Fail("a patch is in force: after a clear nothing can take it off again, and applications "
                                  "stay as they are; `clear --yes` does it");
    }
    const auto result = ClearPatches();
    if (result.outcome != Outcome::DONE) {
        return session.Out().Fail(result.reason);
    }
    session.Out().Say("cleared: no patch is delivered for keeping or in force; applications stay as they are");
    session.Out().Emit("clear", {{"cleared", true}});
    return EXIT_DONE;
}

int RunTest(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto result = AskTest(session.Port());
    if (result.outcome != Outcome::DONE) {
        return session.Out().Fail(result.reason);
    }
    session.Out().Say(result.text);
    session.Out().Emit("test", {{"test", result.text}});
    return EXIT_DONE;
}

int RunVersion(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto result = AskVersion();
    if (result.outcome != Outcome::DONE) {
        return session.Out().Fail(result.reason);
    }
    session.Out().Emit("version", {{"version", result.version}});
    session.Out().Say(Cli::Printable(result.version));
    return EXIT_DONE;
}

int RunStatus(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    ShowStatus(session.Out(), AskStatus(session.Port()));
    return EXIT_DONE;
}

int RunInfo(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto result = AskInfo(session.Port());
    if (result.outcome == Outcome::NO_PLATFORM || result.outcome == Outcome::FAILED) {
        return session.Out().Fail(result.reason);
    }
    Cli::TextTable table({"BUNDLE", "PATCH"});
    auto applications = nlohmann::ordered_json::array();
    for (const auto& [name, isFixed] : result.fixed) {
        const char* word = isFixed ? "fixed" : "not fixed";
        table.Add({name, word});
        applications.push_back({{"bundle", name}, {"state", word}});
    }
    session.Out().Emit("info", {{"waiting", result.isPending}, {"applications", applications}});
    if (result.outcome == Outcome::NOTHING) {
        session.Out().Say(Cli::Printable(result.reason));
        return EXIT_NOTHING;
    }
    if (!session.Out().IsJson()) {
        session.Out().Say(table.ToString());
    }
    return EXIT_DONE;
}
} // namespace ORVX::TavomendCli
