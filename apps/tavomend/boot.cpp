#include "apps/tavomend/boot.h"

#include <functional>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/tavomend/patch_run.h"
#include "hosting/delivery.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendCli {
using namespace TavomendHosting;

namespace {
using Stage = std::function<int(Session&)>;

constexpr int DIED = -1;

// The stage's exit code; DIED for a process that is gone in another way than by its own exit.
int RunInProcess(const Options& options, const Stage& stage)
{
    std::cout.flush();
    std::cerr.flush();
    const pid_t child = fork();
    if (child < 0) {
        return DIED;
    }
    if (child == 0) {
        int result = EXIT_FAILED;
        {
            Session session(options);
            result = session.EnterDevice() ? stage(session) : EXIT_FAILED;
        }
        std::cout.flush();
        _exit(result); // exit handlers are the parent's
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : DIED;
}

int InitStage(Session& session)
{
    RepairPackagePlaces();
    FinishDelivery();
    return LoadOnce(session, TavomendEngine::RUNNING_STAGE_INIT);
}

int ServiceStage(Session& session)
{
    const auto platform = session.StartPlatform(ServiceStart::ATTACH);
    return platform == nullptr ? EXIT_FAILED : LoadAndApply(session);
}

std::string LineOf(const ScanReport::Entry& entry)
{
    const std::string name = entry.bundleName.empty() ? "" : entry.bundleName + " ";
    return "  " + name + entry.action +
           (entry.reason.empty() ? " at version " + std::to_string(entry.versionCode) : ": " + entry.reason);
}
} // namespace

int RunScan(const Session& session)
{
    const auto platform = session.StartPlatform(ServiceStart::SCAN);
    if (platform == nullptr) {
        return EXIT_FAILED;
    }
    const auto& entries = platform->GetScanReport().entries;
    session.Out().Say(entries.empty() ? "scan: nothing has changed" : "scan:");
    for (const auto& entry : entries) {
        session.Out().Say(LineOf(entry));
        session.Out().Emit({{"event", "scan"},
                            {"bundle", entry.bundleName},
                            {"action", entry.action},
                            {"version", entry.versionCode},
                            {"reason", entry.reason}});
    }
    return EXIT_DONE;
}

int RunBoot(const Options& options)
{
    struct NamedStage {
        const char* name;
        Stage run;
        bool isNeeded;
    };
    const NamedStage stages[] = {{"init stage", InitStage, false},
                                 {"bundle scan", RunScan, true},
                                 {"system-service stage", ServiceStage, false}};
    const Console console(options.isJson);
    int result = EXIT_DONE;
    for (const auto& stage : stages) {
        console.Say(std::string("-- ") + stage.name);
        result = RunInProcess(options, stage.run);
        console.Emit({{"event", "stage"}, {"stage", stage.name}, {"exit", result}});
        // A load that failed is judged by the apply at the end; without a scan there is nothing to go on with.
        if (result == DIED || (stage.isNeeded && result != EXIT_DONE)) {
            return console.Fail(std::string("the boot ends here: the ") + stage.name + " did not come to its end");
        }
    }
    return result;
}
} // namespace ORVX::TavomendCli
