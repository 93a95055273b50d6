#include "hosting/requests.h"

#include <cstdio>
#include <memory>

#include "common/results.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
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

bool CopyIn(const std::string& source, const std::string& target, std::string& error)
{
    if (!FileUtils::FileIsExist(source)) {
        error = "there is no file " + source;
        return false;
    }
    if (!FileUtils::ReplaceFileByCopy(source, target, INCOMING_MODE)) {
        error = "cannot copy " + source + " to the device";
        return false;
    }
    return true;
}
} // namespace

bool BringIn(const PackageFiles& files, const std::string& deviceRoot, std::string& error)
{
    const std::string package = deviceRoot + INCOMING_PACKAGE;
    const std::string signature = deviceRoot + INCOMING_SIGNATURE;
    if (CopyIn(files.package, package, error) && CopyIn(files.signature, signature, error)) {
        return true;
    }
    std::remove(package.c_str());
    return false;
}

DeliveryResult DeliverIncoming(Refused refused)
{
    DeliveryResult result;
    if (Deliver(refused, result.refusal, result.reason)) {
        result.outcome = Outcome::DONE;
        result.needsBoot = WhyBootIsNeeded();
    } else if (result.reason.empty()) {
        result.reason = "this device refuses the package: " + result.refusal;
    }
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
    result.version = MakeEngine()->GetTavomendVersion();
    if (!result.version.empty()) {
        result.outcome = Outcome::DONE;
        return result;
    }
    std::string why;
    static_cast<void>(JudgePackage(Formats::PACKAGE_PATH, Formats::SIGN_PATH, why));
    result.reason = "the delivered package does not pass its check" + (why.empty() ? "" : ": " + why);
    return result;
}

StatusView AskStatus(const IDevicePort& port)
{
    return ReadStatus(port, ReadPackageFacts().bundleNames);
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
    if (!IsBackupThere()) {
        result.reason = "no patch is in force";
        return result;
    }
    for (const auto& [name, status] : MakeEngine()->GetTavomendInfo()) {
        result.fixed[name] = status == TavomendEngine::PATCH_FIXED;
    }
    if (result.fixed.empty()) {
        result.reason = "the patch in force names no applications";
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
