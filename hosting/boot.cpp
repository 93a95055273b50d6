#include "hosting/boot.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "hosting/device_view.h"
#include "hosting/patch_run.h"
#include "hosting/revoke_request.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
namespace {
constexpr const char* INTERRUPTED_BOOT = "interrupted; the next boot finishes";

PatchRunResult Scan(const IDevicePort& port, IHostObserver& observer)
{
    PatchRunResult result;
    const auto platform = port.Start(ServiceStart::SCAN, result.reason);
    result.outcome = platform == nullptr ? Outcome::NO_PLATFORM : Outcome::DONE;
    if (platform != nullptr) {
        TellOfStore(*platform, observer);
        observer.OnScanned(platform->GetScanReport());
    }
    return result;
}

PatchRunResult Play(BootStage stage, const IDevicePort& port, IHostObserver& observer, Attempt attempt)
{
    switch (stage) {
    case BootStage::INIT:
        return Load(port, TavomendEngine::RUNNING_STAGE_INIT, &observer);
    case BootStage::SCAN:
        return Scan(port, observer);
    default:
        return FinishBoot(port, observer, attempt);
    }
}

// The outcome travels as the exit code; any other end than the stage's own is none.
std::optional<Outcome> OutcomeOf(int status)
{
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    for (const Outcome outcome :
         {Outcome::DONE, Outcome::NOTHING, Outcome::FAILED, Outcome::NO_PLATFORM, Outcome::INTERRUPTED}) {
        if (code == static_cast<int>(outcome)) {
            return outcome;
        }
    }
    return std::nullopt;
}

std::optional<Outcome> AwaitOutcome(pid_t child, const IHostObserver& observer)
{
    int status = 0;
    pid_t ended = -1;
    while ((ended = waitpid(child, &status, 0)) < 0 && errno == EINTR) {
        if (observer.IsStopAsked()) {
            kill(child, SIGTERM); // who sent it to this process alone means the boot
        }
    }
    return ended == child ? OutcomeOf(status) : std::nullopt;
}

std::optional<Outcome> RunInProcess(const IHostObserver& observer, const std::function<Outcome()>& stage)
{
    std::fflush(nullptr); // what is buffered must not be written by both
    const pid_t child = fork();
    if (child == 0) {
        const Outcome outcome = stage();
        std::fflush(nullptr);
        _exit(static_cast<int>(outcome)); // exit handlers are the parent's
    }
    return child < 0 ? std::nullopt : AwaitOutcome(child, observer);
}

// With a reason when the boot ends here.
OperationResult PlayStage(BootStage stage, const IDevicePort& port, IHostObserver& observer, Attempt attempt)
{
    if (observer.IsStopAsked()) {
        return {Outcome::INTERRUPTED, INTERRUPTED_BOOT};
    }
    observer.OnStageBegan(stage);
    const auto outcome = RunInProcess(observer, [stage, attempt, &port, &observer] {
        const auto played = Play(stage, port, observer, attempt);
        observer.OnStageResult(stage, played);
        return played.outcome;
    });
    observer.OnStageEnded(stage, outcome);
    if (outcome == Outcome::INTERRUPTED) {
        return {Outcome::INTERRUPTED, INTERRUPTED_BOOT};
    }
    if (!outcome || (stage == BootStage::SCAN && *outcome != Outcome::DONE)) {
        return {Outcome::FAILED, std::string("the boot ends here: the ") + NameOf(stage) + " did not come to its end"};
    }
    return {*outcome, ""};
}

using Stages = std::vector<BootStage>;
const Stages WHOLE_BOOT = {BootStage::INIT, BootStage::SCAN, BootStage::SERVICE};

OperationResult PlayStages(const Stages& stages, const IDevicePort& port, IHostObserver& observer, Attempt attempt)
{
    const bool isRevokeAsked = !ReadRevokeRequest().empty();
    OperationResult result;
    for (const BootStage stage : stages) {
        result = PlayStage(stage, port, observer, attempt);
        if (!result.reason.empty()) {
            return result;
        }
    }
    if (isRevokeAsked && ReadRevokeRequest().empty()) {
        // The engine has just written who is to be taken back, and it is a scan that does it.
        const OperationResult scanned = PlayStage(BootStage::SCAN, port, observer, attempt);
        return scanned.reason.empty() ? result : scanned;
    }
    return result;
}

// Up to the last stage, which a boot that fails and leaves its package delivered asks to be played once more.
OperationResult PlayToEnd(const Stages& stages, const IDevicePort& port, IHostObserver& observer)
{
    const OperationResult result = PlayStages(stages, port, observer, Attempt::FIRST);
    const bool isOnceMore = result.outcome == Outcome::FAILED && result.reason.empty() && IsPackageDelivered();
    return isOnceMore ? PlayStages(WHOLE_BOOT, port, observer, Attempt::LAST) : result;
}
} // namespace

const char* NameOf(BootStage stage)
{
    return stage == BootStage::INIT ? "init stage" : stage == BootStage::SCAN ? "bundle scan" : "system-service stage";
}

OperationResult RunBoot(const IDevicePort& port, IHostObserver& observer)
{
    return PlayToEnd(WHOLE_BOOT, port, observer);
}

OperationResult RunBootStage(const IDevicePort& port, BootStage stage, IHostObserver& observer)
{
    return stage == BootStage::SERVICE ? PlayToEnd({stage}, port, observer)
                                       : PlayStages({stage}, port, observer, Attempt::FIRST);
}
} // namespace ORVX::TavomendHosting
