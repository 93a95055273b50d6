#include "apps/tavomend/patch_run.h"

#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "formats/status_words.h"
#include "hosting/device_view.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendCli {
using namespace TavomendHosting;
using TavomendEngine::CreateEngineApp;
using TavomendEngine::SysUtils;

namespace {
constexpr int32_t NOTHING_TO_DO = -2;

// Counts applications by itself: the engine's raw counts start at 0 and go on from run to run.
class Client : public CoreEngineCallbackStub {
public:
    explicit Client(const Console& console) : console_(console) {}
    void OnProgressChanged(int32_t /*installed*/, int32_t total) override
    {
        console_.Progress("installed", ++done_, total);
    }
    void OnStatusChanged(int32_t status, const std::string& message) override
    {
        console_.Emit({{"event", "status"}, {"status", status}, {"message", message}});
        console_.Say("the engine reports: " + message + " (" + std::to_string(status) + ")");
    }

private:
    const Console& console_;
    int32_t done_ = 0;
};

// Says in one line how a failed operation failed.
int FailWithStatus(const Session& session, const std::string& what, const std::vector<std::string>& bundleNames)
{
    const StatusView view = ReadStatus(session.Port(), bundleNames);
    const std::string reason =
        view.explanation.empty() ? "an application does not run the version that the patch asks for" : view.explanation;
    session.Out().Emit({{"event", "result"},
                        {"done", false},
                        {"status", view.status},
                        {"version", view.version},
                        {"detail", view.detail},
                        {"explanation", reason}});
    return session.Out().Fail(what + ": " + reason);
}
} // namespace

int LoadOnce(const Session& session, int32_t stage)
{
    SysUtils::SetRunningStage(stage);
    const auto bundleNames = ReadBundleNames();
    const auto engine = CreateEngineApp();
    const int32_t result = engine->LoadTavomend();
    if (result == NOTHING_TO_DO || !IsPackageDelivered()) {
        session.Out().Say("load: no package is delivered");
        session.Out().Emit({{"event", "result"}, {"done", false}, {"status", engine->GetTavomendStatus()}});
        return EXIT_NOTHING;
    }
    if (result != 0) {
        return FailWithStatus(session, "load failed", bundleNames);
    }
    session.Out().Say("load: " + engine->GetTavomendStatus());
    session.Out().Emit({{"event", "result"}, {"done", true}, {"status", engine->GetTavomendStatus()}});
    return EXIT_DONE;
}

int LoadAndApply(const Session& session)
{
    SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    const auto bundleNames = ReadBundleNames();
    const bool isDelivered = IsPackageDelivered();
    const auto engine = CreateEngineApp();
    const int32_t loaded = engine->LoadTavomend();
    if (!isDelivered && !IsPackageDelivered()) { // a migration may have brought one
        const StatusView view = ReadStatus(session.Port(), bundleNames);
        const bool isInForce = view.status == Formats::STATUS_ACTIVITES;
        session.Out().Emit({{"event", "result"}, {"done", false}, {"status", view.status}, {"version", view.version}});
        if (view.status == Formats::STATUS_ACTIVITES_FAILED) {
            session.Out().Say("nothing to do: no package is delivered; the last apply failed" +
                              (view.explanation.empty() ? "" : ": " + view.explanation));
        } else {
            session.Out().Say(isInForce ? "nothing to do: patch " + view.version + " is in force"
                              : IsHalfDelivered()
                                  ? "nothing to do: a package and its signature are delivered only together"
                                  : "nothing to do: no package is delivered");
        }
        return EXIT_NOTHING;
    }
    session.Out().Say(loaded == 0 ? "load: ready" : "load: not everything is ready");
    const auto client = MakeSptr<Client>(session.Out());
    engine->RegisterCallback(client);
    const int32_t result = engine->ApplyTavomend();
    engine->UnregisterCallback(client);
    if (result != 0) {
        return FailWithStatus(session, "apply failed", bundleNames);
    }
    const StatusView view = ReadStatus(session.Port(), bundleNames);
    session.Out().Say("patch " + view.version + " is in force");
    session.Out().Emit({{"event", "result"},
                        {"done", true},
                        {"status", view.status},
                        {"version", view.version},
                        {"detail", view.detail}});
    return EXIT_DONE;
}
} // namespace ORVX::TavomendCli
