#include "hosting/requests.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "common/results.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "formats/status_words.h"
#include "handles/file_error.h"
#include "hosting/delivery.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::CreateEngineApp;
using TavomendEngine::FileUtils;
using TavomendEngine::IEngineApp;
using TavomendEngine::RESULT_SUCCESS;
using TavomendEngine::SysUtils;

namespace {
constexpr uint32_t INCOMING_MODE = 0600; // nobody else's until it is in place
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
    if (CopyIn(files.package, package, observer, error) && CopyIn(files.signature, signature, nullptr, error)) {
        return true;
    }
    std::remove(package.c_str());
    return false;
}

DeliveryResult DeliverIncoming(const PackageFiles& files, Refused refused, const IHostObserver& observer)
{
    DeliveryResult result;
    if (observer.IsStopAsked()) {
        std::remove(INCOMING_PACKAGE);
        std::remove(INCOMING_SIGNATURE);
        result.outcome = Outcome::INTERRUPTED;
        result.reason = "interrupted; nothing was delivered";
    } else if (Deliver(refused, result.refusal, result.reason)) {
        result.outcome = Outcome::DONE;
        result.needsBoot = WhyBootIsNeeded();
    } else if (result.reason.empty()) {
        result.reason = "this device refuses the package: " + InUsersWords(result.refusal, files);
    }
    result.refusal = InUsersWords(result.refusal, files);
    return result;
}

OperationResult ClearPatches()
{
    if (MakeEngine()->ClearTavomend() == RESULT_SUCCESS) {
        return {Outcome::DONE, ""};
    }
    return {Outcome::FAILED, "the engine could not go back to idle"};
}

OperationResult RevokeBundles(const std::vector<std::string>& bundleNames)
{
    return {MakeEngine()->RevokeTavomend(bundleNames) == RESULT_SUCCESS ? Outcome::DONE : Outcome::FAILED, ""};
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
    result.outcome = Outcome::NOTHING;
    if (result.isPending) {
        result.reason = "a delivered package is waiting: apply it, or boot, first";
        return result;
    }
    const PackageView inForce = ViewPackages().inForce;
    if (inForce.state == PackageState::NONE) {
        result.reason = "no patch is in force";
        return result;
    }
    result.reason = ProblemOf(inForce, IN_FORCE_NAME);
    if (!result.reason.empty()) {
        result.outcome = Outcome::FAILED;
        return result;
    }
    if (inForce.isRevoke) {
        result.reason = "no patch is in force: " + inForce.version + " has taken it back";
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
