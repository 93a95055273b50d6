#include "hosting/requests.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "common/results.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "formats/status_words.h"
#include "handles/file_error.h"
#include "hosting/delivery.h"
#include "hosting/revoke_request.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::CreateEngineApp;
using TavomendEngine::FileUtils;
using TavomendEngine::IEngineApp;
using TavomendEngine::RESULT_SUCCESS;
using TavomendEngine::SysUtils;

namespace {
constexpr uint32_t INCOMING_MODE = 0600;                   // nobody else's until it is in place
constexpr int64_t MAX_COPIED_SIGNATURE = int64_t{1} << 20; // a mistake would fill the device's disk
constexpr const char* REFUSED = "this device refuses the package: ";
constexpr const char* DELIVERED_NAME = "the delivered package";
constexpr const char* IN_FORCE_NAME = "the patch in force";

std::unique_ptr<IEngineApp> MakeEngine()
{
    SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    return CreateEngineApp();
}

// The platform as it has come up; without one the result says so.
std::unique_ptr<IDevicePlatform> Attach(const IDevicePort& port, OperationResult& result)
{
    SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    auto platform = port.Start(ServiceStart::ATTACH, result.reason);
    result.outcome = platform == nullptr ? Outcome::NO_PLATFORM : Outcome::DONE;
    return platform;
}

bool CopyIn(const std::string& source, const std::string& target, IHostObserver* observer, std::string& error)
{
    if (!Handles::WhyUnreadable(source).empty()) {
        error = Handles::CannotRead(source);
        return false;
    }
    FileUtils::Copied tell;
    if (observer != nullptr) {
        const auto size = static_cast<uint64_t>(FileUtils::GetFileSize(source, FileUtils::Unit::BYTE));
        tell = [&source, observer, size](uint64_t done) { observer->OnCopied(source, done, size); };
    }
    errno = 0;
    if (!FileUtils::ReplaceFileByCopy(source, target, INCOMING_MODE, tell)) {
        error = "cannot copy " + source + " to the device" + (errno == 0 ? "" : ": " + Handles::SystemReason(errno));
        return false;
    }
    return true;
}

constexpr const char* PACKAGE_WAITS = "a delivered package is waiting: apply it, or boot, first";

// Why there is nothing to ask about the patch in force: NOTHING without one, FAILED when it cannot be told. DONE when
// it can.
OperationResult LookAt(const PackageView& inForce)
{
    if (inForce.state == PackageState::NONE) {
        return {Outcome::NOTHING, "no patch is in force"};
    }
    if (const std::string problem = ProblemOf(inForce, IN_FORCE_NAME); !problem.empty()) {
        return {Outcome::FAILED, problem};
    }
    if (inForce.isRevoke) {
        return {Outcome::NOTHING, "no patch is in force: " + inForce.version + " has taken it back"};
    }
    return {Outcome::DONE, ""};
}

// Also adds a note where the factory version is not the one that the patch was made from.
std::string WhyNotRevocable(const std::string& name, const PackageView& patch,
                            const std::optional<std::vector<InstalledBundle>>& bundles, std::vector<std::string>& notes)
{
    const Formats::AppInfo* const app = FindApp(patch, name);
    if (app == nullptr) {
        return name + " is none of the applications of " + patch.version;
    }
    if (!bundles) {
        return "what is installed cannot be read";
    }
    const auto runs = std::find_if(bundles->begin(), bundles->end(),
                                   [&name](const auto& bundle) { return bundle.bundleName == name; });
    if (runs == bundles->end() || !runs->factoryVersion) {
        return name + (runs == bundles->end() ? " is not installed" : " has no factory version to go back to");
    }
    if (*runs->factoryVersion != app->preVersion) {
        notes.push_back(name + " goes back to its factory version " + std::to_string(*runs->factoryVersion) +
                        ", not to version " + std::to_string(app->preVersion) + " that it was patched from");
    }
    return "";
}

// A line about a copy, as one about the file that was given.
std::string InUsersWords(std::string line, const PackageFiles& files)
{
    for (const auto& [copy, given] : {std::pair<std::string, std::string>{INCOMING_PACKAGE, files.package},
                                      {INCOMING_SIGNATURE, files.signature}}) {
        const size_t at = line.find(copy);
        if (at != std::string::npos) {
            return line.replace(at, copy.size(), given);
        }
    }
    return line;
}
} // namespace

bool BringIn(const PackageFiles& files, const std::string& deviceRoot, std::string& error, IHostObserver* observer)
{
    const std::string package = deviceRoot + INCOMING_PACKAGE;
    const std::string signature = deviceRoot + INCOMING_SIGNATURE;
    if (FileUtils::GetFileSize(files.signature, FileUtils::Unit::BYTE) > MAX_COPIED_SIGNATURE) {
        error = std::string(REFUSED) + files.signature + " is larger than a signature can be";
        return false;
    }
    if (CopyIn(files.package, package, observer, error) && CopyIn(files.signature, signature, nullptr, error)) {
        return true;
    }
    std::remove(package.c_str());
    return false;
}

DeliveryResult DeliverIncoming(const IDevicePort& port, const PackageFiles& files, Refused refused,
                               const IHostObserver& observer)
{
    DeliveryResult result;
    if (observer.IsStopAsked()) {
        std::remove(INCOMING_PACKAGE);
        std::remove(INCOMING_SIGNATURE);
        result.outcome = Outcome::INTERRUPTED;
        result.reason = "interrupted; nothing was delivered";
    } else if (Deliver(port, refused, result.refusal, result.reason)) {
        result.outcome = Outcome::DONE;
        result.needsBoot = WhyBootIsNeeded();
    } else if (result.reason.empty()) {
        result.reason = REFUSED + InUsersWords(result.refusal, files);
    }
    result.refusal = InUsersWords(result.refusal, files);
    return result;
}

OperationResult ClearPatches()
{
    if (!WriteRevokeRequest({})) {
        return {Outcome::FAILED, "the request to take applications back cannot be removed"};
    }
    if (MakeEngine()->ClearTavomend() == RESULT_SUCCESS) {
        return {Outcome::DONE, ""};
    }
    return {Outcome::FAILED, "the engine could not go back to idle"};
}

RevokeResult RequestRevoke(const IDevicePort& port, const std::vector<std::string>& bundleNames)
{
    RevokeResult result;
    const PackageView inForce = ViewPackages().inForce;
    static_cast<OperationResult&>(result) =
        IsPackageDelivered() ? OperationResult{Outcome::FAILED, PACKAGE_WAITS} : LookAt(inForce);
    if (result.outcome != Outcome::DONE) {
        return result;
    }
    const auto platform = Attach(port, result);
    if (platform == nullptr) {
        return result;
    }
    const auto bundles = platform->ListBundles();
    auto asked = ReadRevokeRequest();
    const auto taken = TakenBack();
    for (const auto& name : bundleNames) {
        result.reason = WhyNotRevocable(name, inForce, bundles, result.notes);
        if (!result.reason.empty()) {
            result.outcome = Outcome::FAILED;
            return result;
        }
        if (taken.count(name) == 0) {
            asked.insert(name);
        }
    }
    if (asked.empty()) {
        return {{Outcome::NOTHING, "what was named has been taken back already"}, {}};
    }
    if (!WriteRevokeRequest(asked)) {
        return {{Outcome::FAILED, Handles::CannotWrite(REVOKE_REQUEST, errno)}, {}};
    }
    return result;
}

VersionResult AskVersion()
{
    VersionResult result;
    const PackagesView packages = ViewPackages();
    const bool isPending = packages.pending.state != PackageState::NONE;
    const PackageView& view = isPending ? packages.pending : packages.inForce;
    if (view.state == PackageState::NONE) {
        result.version = Formats::NO_PATCH_VERSION;
    } else if (view.state == PackageState::KNOWN && (view.refusal.empty() || !isPending)) {
        result.version = view.version;
    } else {
        result.reason = ProblemOf(view, isPending ? DELIVERED_NAME : IN_FORCE_NAME);
        return result;
    }
    result.outcome = Outcome::DONE;
    return result;
}

DeviceView AskStatus(const IDevicePort& port)
{
    return ViewDevice(port);
}

InfoResult AskInfo(const IDevicePort& port)
{
    InfoResult result;
    const auto platform = Attach(port, result);
    if (platform == nullptr) {
        return result;
    }
    result.isPending = IsPackageDelivered();
    static_cast<OperationResult&>(result) =
        result.isPending ? OperationResult{Outcome::NOTHING, PACKAGE_WAITS} : LookAt(ViewPackages().inForce);
    if (result.outcome != Outcome::DONE) {
        return result;
    }
    for (const auto& [name, status] : MakeEngine()->GetTavomendInfo()) {
        result.fixed[name] = status == TavomendEngine::PATCH_FIXED;
    }
    if (result.fixed.empty()) {
        result.outcome = Outcome::FAILED;
        const std::string list = Formats::RecoverListInForce();
        const bool isDamaged =
            FileUtils::FileIsExist(list) && Formats::ReadRecoverList(list).kind != Formats::RecoverList::Kind::WHOLE;
        result.reason = isDamaged ? "the recover list is damaged; the next boot removes it"
                                  : "the engine cannot tell which applications carry the patch in force";
    } else {
        result.outcome = Outcome::DONE;
    }
    return result;
}

TestResult AskTest(const IDevicePort& port)
{
    TestResult result;
    const auto platform = Attach(port, result);
    if (platform != nullptr) {
        result.text = MakeEngine()->TestTavomend();
    }
    return result;
}
} // namespace ORVX::TavomendHosting
