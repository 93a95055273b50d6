#include "apps/tvpk/package_inspector.h"

#include <nlohmann/json.hpp>

#include "apps/common/printable.h"
#include "apps/common/text_table.h"
#include "diff/difference_header.h"
#include "formats/patch_paths.h"
#include "formats/signature.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
using Formats::PackageInfo;
using Formats::ZipArchive;
using Json = nlohmann::ordered_json;

namespace {
const Formats::ArchiveMember* FindMember(const ZipArchive& archive, const std::string& target)
{
    const auto name = Formats::MemberNameOf(target);
    return name ? archive.Find(*name) : nullptr;
}

// What a device finds wrong with a file of an application, or fails on later; empty when nothing.
std::string ProblemOf(const ZipArchive& archive, const Formats::AppInfo& app, size_t index)
{
    const std::string& target = app.diffPaths[index];
    const std::string path = Formats::ExtractedPathOf(app, index);
    const Formats::ArchiveMember* member = FindMember(archive, target);
    if (member == nullptr) {
        return app.bundleName + ": the archive has no member " + target;
    }
    if (!TavomendEngine::FileUtils::IsValidPath(path)) {
        return path + " is not a path below the work directory";
    }
    std::string error;
    const bool isWrong = !Formats::IsDifference(target) &&
                         !Formats::IsSameHash(archive.HashMember(member->name, error), app.appsHashs[index]);
    return isWrong ? target + " does not have the stated hash" : "";
}

// What a device must read and hold for a difference of our own format; nothing for any other file, or a damaged one.
std::optional<Difference::DifferenceHeader> NeedOf(const ZipArchive& archive, const std::string& target)
{
    const Formats::ArchiveMember* member = Formats::IsDifference(target) ? FindMember(archive, target) : nullptr;
    std::string error;
    const auto content = member == nullptr ? std::nullopt : archive.ReadMember(member->name, member->size, error);
    Difference::DifferenceHeader header;
    const bool isOwn = content && Difference::ParseDifferenceHeader(
                                      {reinterpret_cast<const uint8_t*>(content->data()), content->size()}, header) ==
                                      Difference::DIFFERENCE_OK;
    return isOwn ? std::optional(header) : std::nullopt;
}

// How a file is shipped, and what not every device has that it needs.
std::string ShippedAs(const ZipArchive& archive, const std::string& target)
{
    const auto need = NeedOf(archive, target);
    if (need.has_value() && need->version > Difference::DIFFERENCE_VERSION_MIN) {
        return "difference, format " + std::to_string(need->version) + ", " +
               std::to_string(Difference::InMib(need->windowSize)) + " MiB";
    }
    return Formats::IsDifference(target) ? "difference" : "whole";
}

const char* ActionName(int action)
{
    constexpr const char* NAMES[] = {"enable", "1", "revoke"};
    return NAMES[action];
}

Json AppAsJson(const ZipArchive& archive, const Formats::AppInfo& app)
{
    Json files = Json::array();
    for (size_t i = 0; i < app.diffPaths.size(); ++i) {
        files.push_back({{"name", Formats::MemberNameOf(app.diffPaths[i]).value_or(app.diffPaths[i])},
                         {"base", app.basePaths[i]},
                         {"hash", app.appsHashs[i]}});
        if (const auto need = NeedOf(archive, app.diffPaths[i])) {
            files.back()["formatVersion"] = need->version;
            files.back()["window"] = need->windowSize;
        }
    }
    return {{"bundle", app.bundleName},  {"versionCode", app.version}, {"preVersionCode", app.preVersion},
            {"patch", app.appPatchType}, {"type", app.appType},        {"members", std::move(files)}};
}
} // namespace

std::optional<PackageInfo> ReadPackageConfig(const ZipArchive& archive, std::vector<std::string>& problems)
{
    std::string error;
    const auto text = archive.ReadMember(Formats::CONFIG_MEMBER_NAME, Formats::MAX_CONFIG_SIZE, error);
    if (!text) {
        problems.push_back(error);
        return std::nullopt;
    }
    return Formats::ParsePatchConfig(*text, problems);
}

std::vector<std::string> VerifyPackage(const std::string& package, const std::string& signature,
                                       const std::string& publicKey)
{
    std::vector<std::string> problems;
    std::string error;
    if (!Formats::VerifyFile(package, signature, publicKey, error)) {
        return {error}; // what is inside is nobody's word then
    }
    const auto archive = ZipArchive::Open(package, error);
    if (!archive || !archive->CheckWhole(error)) {
        return {error};
    }
    const auto config = ReadPackageConfig(*archive, problems);
    if (!config) {
        return problems;
    }
    if (std::string why = Formats::WhyNeverApplied(*config); !why.empty()) {
        problems.push_back(std::move(why));
    }
    for (const auto& app : config->appsList) {
        for (size_t i = 0; i < app.diffPaths.size(); ++i) {
            const std::string problem = ProblemOf(*archive, app, i);
            if (!problem.empty()) {
                problems.push_back(problem);
            }
        }
    }
    return problems;
}

std::string DescribePackage(const ZipArchive& archive, const PackageInfo& config)
{
    std::string text = Cli::Printable("patch " + config.version + " over " + config.preVersion) + ", action " +
                       ActionName(config.action) + ", needs " + std::to_string(config.space) + " KiB\nfor";
    for (size_t i = 0; i < config.productModel.size(); ++i) {
        text += (i == 0 ? " " : ", ") + Cli::Printable(config.productModel[i] + " at " + config.productVersion[i]);
    }
    text += "\n\n";
    Cli::TextTable table({"BUNDLE", "VERSION", "PATCH", "TYPE", "SHIPPED AS", "BYTES", "BASE FILE"});
    for (const auto& app : config.appsList) {
        for (size_t i = 0; i < app.diffPaths.size(); ++i) {
            const Formats::ArchiveMember* member = FindMember(archive, app.diffPaths[i]);
            table.Add({app.bundleName, std::to_string(app.preVersion) + " -> " + std::to_string(app.version),
                       app.appPatchType, app.appType, ShippedAs(archive, app.diffPaths[i]),
                       member == nullptr ? "missing" : std::to_string(member->size), app.basePaths[i]});
        }
    }
    return config.appsList.empty() ? text + "no applications: those of the patch in force are brought back\n"
                                   : text + table.ToString();
}

Json DescribePackageAsJson(const ZipArchive& archive, const PackageInfo& config)
{
    Json products = Json::array();
    for (size_t i = 0; i < config.productModel.size(); ++i) {
        products.push_back({{"model", config.productModel[i]}, {"baseVersion", config.productVersion[i]}});
    }
    Json apps = Json::array();
    for (const auto& app : config.appsList) {
        apps.push_back(AppAsJson(archive, app));
    }
    Json members = Json::array();
    for (const auto& member : archive.Members()) {
        members.push_back({{"name", member.name}, {"size", member.size}, {"packedSize", member.packedSize}});
    }
    return {{"version", config.version},       {"preVersion", config.preVersion}, {"action", ActionName(config.action)},
            {"space", config.space},           {"dataKept", config.dataKept},     {"needReboot", config.needReboot},
            {"products", std::move(products)}, {"apps", std::move(apps)},         {"members", std::move(members)}};
}
} // namespace ORVX::Tvpk
