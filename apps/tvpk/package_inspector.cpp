#include "apps/tvpk/package_inspector.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "apps/common/text_table.h"
#include "formats/signature.h"

namespace ORVX::Tvpk {
using Formats::ConfigFile;
using Formats::PatchConfig;
using Formats::ZipArchive;

namespace {
uint64_t SizeOf(const ZipArchive& archive, const ConfigFile& file)
{
    const auto& members = archive.Members();
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&file](const auto& member) { return "/" + member.name == file.member; });
    return found == members.end() ? 0 : found->size;
}

const char* ActionName(int action)
{
    constexpr const char* NAMES[] = {"enable", "1", "revoke"};
    return NAMES[action];
}
} // namespace

std::optional<PatchConfig> ReadPackageConfig(const ZipArchive& archive, std::vector<std::string>& problems)
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
    for (const auto& app : config->apps) {
        for (const auto& file : app.files) {
            if (!archive->Has(file.member.substr(std::min<size_t>(1, file.member.size())))) {
                problems.push_back(app.bundleName + ": the archive has no member " + file.member);
            }
        }
    }
    return problems;
}

std::string DescribePackage(const ZipArchive& archive, const PatchConfig& config)
{
    std::string text = "patch " + config.version + " over " + config.preVersion + ", action " +
                       ActionName(config.action) + ", needs " + std::to_string(config.space) + " KiB\nfor";
    for (size_t i = 0; i < config.models.size(); ++i) {
        text += (i == 0 ? " " : ", ") + config.models[i] + " at " + config.baseVersions[i];
    }
    text += "\n\n";
    Cli::TextTable table({"BUNDLE", "VERSION", "PATCH", "TYPE", "SHIPPED AS", "BYTES", "BASE FILE"});
    for (const auto& app : config.apps) {
        for (const auto& file : app.files) {
            table.Add({app.bundleName, std::to_string(app.preVersion) + " -> " + std::to_string(app.version),
                       app.patchType, app.appType, Formats::IsDifference(file) ? "difference" : "whole",
                       std::to_string(SizeOf(archive, file)), file.base});
        }
    }
    return config.apps.empty() ? text + "no applications: those of the patch in force are brought back\n"
                               : text + table.ToString();
}

std::string DescribePackageAsJson(const ZipArchive& archive, const PatchConfig& config)
{
    using Json = nlohmann::ordered_json;
    Json root = Json::parse(Formats::WritePatchConfig(config));
    Json members = Json::array();
    for (const auto& member : archive.Members()) {
        members.push_back({{"name", member.name}, {"size", member.size}, {"packedSize", member.packedSize}});
    }
    const Json out = {{"schema", 1}, {"configuration", root}, {"members", members}};
    return out.dump(2) + "\n";
}
} // namespace ORVX::Tvpk
