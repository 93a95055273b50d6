#include "hosting/package_view.h"

#include <algorithm>
#include <optional>

#include "formats/device_paths.h"
#include "formats/signature.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
using Formats::PackageInfo;
using TavomendEngine::FileUtils;
using TavomendEngine::SysUtils;

namespace {
std::string RefusalOf(const PackageInfo& config)
{
    const std::string baseVersion = SysUtils::GetBaseVersion();
    const auto& versions = config.productVersion;
    const bool isForDevice = std::find(versions.begin(), versions.end(), baseVersion) != versions.end();
    return isForDevice ? "" : "it is not made for base version " + baseVersion;
}

PackageView Unknown(PackageState state, const std::string& problem)
{
    PackageView view;
    view.state = state;
    view.problem = problem;
    return view;
}
} // namespace

std::optional<PackageInfo> ReadConfig(const std::string& package, std::string& problem)
{
    const auto archive = Formats::ZipArchive::Open(package, problem);
    const auto text =
        archive ? archive->ReadMember(Formats::CONFIG_MEMBER_NAME, Formats::MAX_CONFIG_SIZE, problem) : std::nullopt;
    std::vector<std::string> problems;
    auto config = text ? Formats::ParsePatchConfig(*text, problems) : std::nullopt;
    if (text && !config) {
        problem = problems.front();
    }
    return config;
}

std::string ProblemOf(const PackageView& view, const std::string& name)
{
    switch (view.state) {
    case PackageState::UNREADABLE:
        return name + " cannot be read: " + view.problem;
    case PackageState::KEY_MISFITS:
        return "the key does not fit " + name + ": " + view.problem;
    default:
        return view.refusal.empty() ? "" : "this device does not take " + name + ": " + view.refusal;
    }
}

const Formats::AppInfo* FindApp(const PackageView& view, const std::string& bundleName)
{
    const auto app = std::find_if(view.apps.begin(), view.apps.end(),
                                  [&bundleName](const auto& one) { return one.bundleName == bundleName; });
    return app == view.apps.end() ? nullptr : &*app;
}

bool NeedsBoot(const PackageView& view)
{
    return view.isRevoke || std::any_of(view.apps.begin(), view.apps.end(),
                                        [](const auto& app) { return app.appPatchType == Formats::PATCH_TYPE_COLD; });
}

PackageView ViewPackage(const std::string& package, const std::string& signature)
{
    if (!FileUtils::FileIsExist(package) || !FileUtils::FileIsExist(signature)) {
        return {};
    }
    std::string problem;
    auto config = ReadConfig(package, problem);
    if (!config) {
        return Unknown(PackageState::UNREADABLE, problem);
    }
    if (FileUtils::GetFileStream(signature, Formats::MAX_SIGNATURE_SIZE).empty()) {
        return Unknown(PackageState::UNREADABLE, signature + " is no signature");
    }
    problem = WhyNoPublicKey();
    if (!problem.empty() || !Formats::VerifyFile(package, signature, Formats::PUBLIC_KEY_PATH, problem)) {
        return Unknown(PackageState::KEY_MISFITS, problem);
    }
    PackageView view;
    view.state = PackageState::KNOWN;
    view.refusal = RefusalOf(*config);
    view.version = config->version;
    view.isRevoke = config->action == Formats::ACTION_REVOKE;
    view.needReboot = config->needReboot;
    view.apps = std::move(config->appsList);
    return view;
}

std::string WhyNoPublicKey()
{
    std::string problem;
    return Formats::HasPublicKey(Formats::PUBLIC_KEY_PATH, problem) ? "" : problem;
}
} // namespace ORVX::TavomendHosting
