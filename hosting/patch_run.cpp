#include "hosting/patch_run.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

#include "common/app_constants.h"
#include "common/results.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "formats/signature.h"
#include "formats/status_words.h"
#include "hosting/delivery.h"
#include "hosting/error_text.h"
#include "hosting/kept_packages.h"
#include "hosting/rebuild_progress.h"
#include "hosting/revoke_request.h"
#include "platform/utility/delayed_singleton.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::CreateEngineApp;
using TavomendEngine::DelayedSingletons;
using TavomendEngine::FileUtils;
using TavomendEngine::RESULT_NOTHING_TO_DO;
using TavomendEngine::RESULT_SUCCESS;
using TavomendEngine::RUNNING_STAGE_INIT;
using TavomendEngine::RUNNING_STAGE_SA;
using TavomendEngine::SysUtils;

namespace {
constexpr const char* INTERRUPTED_BEFORE_APPLY = "interrupted; the package stays";

// Counts applications by itself: the engine's raw counts start at 0 and go on from run to run.
class Client : public CoreEngineCallbackStub {
public:
    explicit Client(IHostObserver& observer) : observer_(observer) {}
    void OnProgressChanged(int32_t /*installed*/, int32_t total) override { observer_.OnProgress(++done_, total); }
    void OnStatusChanged(int32_t status, const std::string& message) override
    {
        observer_.OnEngineStatus(status, message);
    }

private:
    IHostObserver& observer_;
    int32_t done_ = 0;
};

void MendDevice()
{
    RepairPackagePlaces();
    RemoveLeftovers();
    FinishDelivery();
}

// Why a revoke has nothing to take back; asked before the run, which may change the backup. Empty for other packages.
std::string WhyUnrevocable(const PackageFacts& facts)
{
    if (!facts.isRevoke) {
        return "";
    }
    const PackageView inForce = ViewPackage(Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH);
    if (inForce.state == PackageState::KNOWN) {
        return inForce.apps.empty() ? "the patch in force names no applications" : "";
    }
    return inForce.state == PackageState::NONE ? "there is no patch to take back"
                                               : ProblemOf(inForce, "the patch to take back");
}

// The engine records no code where it has compared versions only, which is what a revoke's apply does.
std::string WhyFailed(const StatusView& view, const std::string& unrevocable, bool hasCompared)
{
    if (!view.explanation.empty()) {
        return view.explanation;
    }
    return !unrevocable.empty() ? unrevocable
           : hasCompared        ? "an application does not run the version that the patch asks for"
                                : "the engine has recorded no reason";
}

// The delivered package, to be known again under another name.
class DeliveredFile {
public:
    DeliveredFile() : isThere_(stat(Formats::PACKAGE_PATH, &info_) == 0) {}
    // When the package has become the backup, says since when: a file keeps its time of modification while queries
    // rename it to and fro.
    void StampAsBackup() const
    {
        struct stat now {};
        if (isThere_ && stat(Formats::BACKUP_PACKAGE_PATH, &now) == 0 && now.st_ino == info_.st_ino &&
            now.st_dev == info_.st_dev) {
            static_cast<void>(utimensat(AT_FDCWD, Formats::BACKUP_PACKAGE_PATH, nullptr, AT_SYMLINK_NOFOLLOW));
        }
    }

private:
    struct stat info_ {};
    bool isThere_;
};

std::string WhyNothing(const StatusView& view, const PackageFacts& facts)
{
    if (view.status == Formats::STATUS_ACTIVITES_FAILED) {
        return "no package is delivered; the last apply failed" +
               (view.explanation.empty() ? "" : ": " + view.explanation);
    }
    if (view.status == Formats::STATUS_ACTIVITES) {
        return "patch " + view.version + (facts.isRevoke ? " has taken the patch back" : " is in force");
    }
    return "no package is delivered";
}

PatchRunResult Untried(Outcome outcome, const std::string& reason)
{
    PatchRunResult result;
    result.outcome = outcome;
    result.reason = reason;
    return result;
}

PatchRunResult NoPlatform(const std::string& reason)
{
    return Untried(Outcome::NO_PLATFORM, reason);
}

// The engine's load copies the legacy directory and leaves it. Once its package has been taken, or a newer one was
// there already, it must not come again at each boot.
void RetireLegacyPatch()
{
    const std::string retired = std::string(Formats::LEGACY_PATCH_DIR) + ".taken";
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT || !IsPackageDelivered() ||
        !FileUtils::DirIsExist(Formats::LEGACY_PATCH_DIR)) {
        return;
    }
    FileUtils::CleanDir(retired, true);
    if (FileUtils::MoveFile(Formats::LEGACY_PATCH_DIR, retired)) {
        FileUtils::SyncDir(std::string(Formats::LEGACY_PATCH_DIR) + "/..");
    }
}

// Nothing is delivered; a request may wait all the same, which only the system-service stage carries out.
void EndWithoutPackage(TavomendEngine::IEngineApp& engine, int32_t runningStage, IHostObserver* observer,
                       PatchRunResult& result)
{
    std::string error;
    const bool isHandedOver = runningStage == RUNNING_STAGE_INIT || HandOverRevokeRequest(engine, observer, error);
    result.outcome = isHandedOver ? Outcome::NOTHING : Outcome::FAILED;
    if (!isHandedOver) {
        result.reason = error;
    }
}

PatchRunResult RunLoad(const IDevicePort& port, int32_t runningStage, IHostObserver* observer)
{
    const auto facts = ReadPackageFacts();
    const std::string unrevocable = WhyUnrevocable(facts);
    std::optional<RebuildProgress> progress;
    if (observer != nullptr) {
        progress.emplace(port, facts, runningStage, *observer);
    }
    const auto engine = CreateEngineApp();
    const int32_t loaded = engine->LoadTavomend();
    RetireLegacyPatch();
    PatchRunResult result;
    result.view = ReadStatus(port, facts.bundleNames);
    if (loaded == RESULT_NOTHING_TO_DO || !IsPackageDelivered()) {
        result.reason = "no package is delivered";
        EndWithoutPackage(*engine, runningStage, observer, result);
    } else if (loaded == RESULT_SUCCESS) {
        result.outcome = Outcome::DONE;
    } else {
        result.reason = WhyFailed(result.view, unrevocable, false);
    }
    return result;
}

int32_t Apply(TavomendEngine::IEngineApp& engine, IHostObserver& observer)
{
    const auto client = MakeSptr<Client>(observer);
    engine.RegisterCallback(client);
    const int32_t applied = engine.ApplyTavomend();
    engine.UnregisterCallback(client);
    return applied;
}

bool HasPatchFile(const InstalledBundle& bundle, const Formats::AppInfo& app)
{
    std::string ignored;
    return std::any_of(bundle.modules.begin(), bundle.modules.end(), [&](const auto& module) {
        const std::string hash = Formats::Sha256OfFile(module.second, ignored);
        return std::any_of(app.appsHashs.begin(), app.appsHashs.end(),
                           [&hash](const auto& stated) { return Formats::IsSameHash(hash, stated); });
    });
}

// The application runs the promised version, or a higher one that is none of the patch's doing, or is not installed.
bool RunsAsPromised(const std::vector<InstalledBundle>& bundles, const Formats::AppInfo& app, std::string& reason)
{
    const auto runs = std::find_if(bundles.begin(), bundles.end(),
                                   [&app](const auto& bundle) { return bundle.bundleName == app.bundleName; });
    if (runs == bundles.end() || runs->versionCode == app.version ||
        (runs->versionCode > app.version && !HasPatchFile(*runs, app))) {
        return true;
    }
    reason = "the patch is recorded as in force, but " + app.bundleName + " runs version " +
             std::to_string(runs->versionCode) + " and not " + std::to_string(app.version);
    return false;
}

void Judge(const IDevicePlatform& platform, const PackageFacts& facts, PatchRunResult& result)
{
    const auto bundles = platform.ListBundles();
    if (!bundles) {
        result.reason = "the patch is recorded as in force, but what is installed cannot be read";
        return;
    }
    if (std::all_of(facts.apps.begin(), facts.apps.end(),
                    [&](const auto& app) { return RunsAsPromised(*bundles, app, result.reason); })) {
        result.outcome = Outcome::DONE;
        result.needReboot = facts.needReboot;
    }
}

// The engine goes on when the record cannot be written; without one, the next boot would not know what has been done.
bool IsOutcomeRecorded(const StatusView& view, const PackageFacts& facts, bool isApplied)
{
    if (!isApplied) {
        return view.status == Formats::STATUS_ACTIVITES_FAILED;
    }
    return view.status == Formats::STATUS_ACTIVITES && (facts.version.empty() || view.version == facts.version);
}

// The engine leaves a backup that it could not remove where it is, and the package beside it.
void FinishMoveToBackup()
{
    static_cast<void>(std::rename(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH));
    static_cast<void>(std::rename(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH));
}

// A package that this device takes was not refused for what it is: whatever was in the way may pass. The gate's words
// of such a package are about the device, and stay true until that changes.
void SettleFailure(PatchRunResult& result, const PackageFacts& facts, Attempt attempt)
{
    std::string refusal;
    const bool isGood = JudgePackage(KEPT_PACKAGE, KEPT_SIGNATURE, refusal).has_value();
    const auto operations = ParseDetail(result.view.detail);
    const bool isGate = !operations.empty() && operations.back().codes.count(TavomendEngine::ERROR_KEY_PACKAGE) != 0;
    if (isGood && facts.isRevoke && attempt == Attempt::LAST && !isGate && HasKeptBackup()) {
        static_cast<void>(PutKeptBackupBack()); // the patch is still in force, and its revoke can be repeated
        return;
    }
    if (!isGood || (attempt == Attempt::LAST && !isGate)) {
        DropKeptPackages();
        return;
    }
    PutKeptPackagesBack();
    if (isGate) {
        result.reason += "; the package stays";
    }
}

PatchRunResult RunLoadAndApply(const IDevicePort& port, const IDevicePlatform& platform, IHostObserver& observer,
                               Attempt attempt)
{
    auto facts = ReadPackageFacts();
    const bool wasDelivered = IsPackageDelivered();
    const auto engine = CreateEngineApp();
    int32_t loaded = 0;
    {
        const RebuildProgress progress(port, facts, RUNNING_STAGE_SA, observer);
        loaded = engine->LoadTavomend();
    }
    RetireLegacyPatch();
    PatchRunResult result;
    if (!wasDelivered) {
        if (!IsPackageDelivered()) {
            result.view = ReadStatus(port, facts.bundleNames);
            result.reason = WhyNothing(result.view, facts);
            EndWithoutPackage(*engine, RUNNING_STAGE_SA, &observer, result);
            return result;
        }
        facts = ReadPackageFacts(); // a migration has brought one
    }
    observer.OnLoaded(loaded == RESULT_SUCCESS);
    if (observer.IsStopAsked()) {
        return Untried(Outcome::INTERRUPTED, INTERRUPTED_BEFORE_APPLY);
    }
    if (!KeepPackages()) {
        result.view = ReadStatus(port, facts.bundleNames);
        result.reason = "the device cannot be written now; the package stays";
        return result;
    }
    const std::string unrevocable = WhyUnrevocable(facts);
    const DeliveredFile delivered;
    const int32_t applied = Apply(*engine, observer);
    result.view = ReadStatus(port, facts.bundleNames);
    if (!IsOutcomeRecorded(result.view, facts, applied == RESULT_SUCCESS)) {
        PutKeptPackagesBack();
        result.reason = "the outcome could not be recorded; the package stays";
    } else if (applied == RESULT_SUCCESS) {
        DropKeptPackages();
        FinishMoveToBackup();
        Judge(platform, facts, result);
    } else {
        result.reason = WhyFailed(result.view, unrevocable, facts.isRevoke);
        SettleFailure(result, facts, attempt);
    }
    delivered.StampAsBackup();
    return result;
}
} // namespace

void TellOfStore(const IDevicePlatform& platform, IHostObserver& observer)
{
    const std::string& line = platform.GetScanReport().storeRebuilt;
    if (!line.empty()) {
        observer.OnStoreRebuilt(line);
    }
}

PatchRunResult Load(const IDevicePort& port, int32_t runningStage, IHostObserver* observer)
{
    MendDevice();
    SysUtils::SetRunningStage(runningStage);
    if (runningStage == RUNNING_STAGE_INIT) {
        return RunLoad(port, runningStage, observer);
    }
    std::string error;
    const auto platform = port.Start(ServiceStart::SCAN, error);
    if (platform != nullptr && observer != nullptr) {
        TellOfStore(*platform, *observer);
    }
    return platform == nullptr ? NoPlatform(error) : RunLoad(port, runningStage, observer);
}

namespace {
PatchRunResult AttemptApply(const IDevicePort& port, IHostObserver& observer, Attempt attempt)
{
    MendDevice();
    if (const std::string why = WhyBootIsNeeded(); !why.empty()) {
        return Untried(Outcome::NEEDS_BOOT, why);
    }
    if (observer.IsStopAsked()) {
        return Untried(Outcome::INTERRUPTED, INTERRUPTED_BEFORE_APPLY);
    }
    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    std::string error;
    const auto platform = port.Start(ServiceStart::SCAN, error);
    if (platform == nullptr) {
        return NoPlatform(error);
    }
    TellOfStore(*platform, observer);
    return RunLoadAndApply(port, *platform, observer, attempt);
}
} // namespace

PatchRunResult LoadAndApply(const IDevicePort& port, IHostObserver& observer)
{
    PatchRunResult result = AttemptApply(port, observer, Attempt::FIRST);
    if (result.outcome == Outcome::FAILED && IsPackageDelivered()) {
        DelayedSingletons::DestroyAll(); // the engine keeps its judgement of a package for the process
        result = AttemptApply(port, observer, Attempt::LAST);
    }
    return result;
}

PatchRunResult FinishBoot(const IDevicePort& port, IHostObserver& observer, Attempt attempt)
{
    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    std::string error;
    const auto platform = port.Start(ServiceStart::ATTACH, error);
    return platform == nullptr ? NoPlatform(error) : RunLoadAndApply(port, *platform, observer, attempt);
}
} // namespace ORVX::TavomendHosting
