#include "formats/bundle_file.h"

#include <algorithm>

#include "formats/zip_archive.h"
#include "handles/json.h"
#include "platform/utility/json_tool.h"

namespace ORVX::Formats {
namespace {
constexpr uint64_t MAX_MANIFEST_SIZE = 64 * 1024;
constexpr size_t MAX_NAME_SIZE = 199;
constexpr double MAX_VERSION_CODE = 2147483647.0;

bool ReadText(const cJSON* root, const char* key, std::string& value)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, key);
    if (member == nullptr) {
        return true; // keeps its default
    }
    if (cJSON_IsString(member) == 0 || member->valuestring[0] == '\0') {
        return false;
    }
    value = member->valuestring;
    return true;
}

bool ReadFlag(const cJSON* root, const char* key, bool& value)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, key);
    if (member != nullptr) {
        value = cJSON_IsTrue(member) != 0;
    }
    return member == nullptr || cJSON_IsBool(member) != 0;
}

// Bundle and module names become names of directories and files.
bool IsPlainName(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_NAME_SIZE && name.front() != '.' &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
               std::string::npos;
}

std::optional<BundleManifest> ReadManifest(const ZipArchive& archive, const std::string& path, std::string& error)
{
    const auto& members = archive.Members();
    const auto manifests = std::count_if(members.begin(), members.end(),
                                         [](const auto& member) { return member.name == MANIFEST_MEMBER; });
    if (manifests != 1) {
        // Which of two counts would depend on who reads.
        error = path + (manifests == 0 ? " has no manifest.json at its top" : " has more than one manifest.json");
        return std::nullopt;
    }
    const auto text = archive.ReadMember(MANIFEST_MEMBER, MAX_MANIFEST_SIZE, error);
    if (!text) {
        return std::nullopt;
    }
    auto manifest = BundleFile::ParseManifest(*text, error);
    if (!manifest) {
        error = path + ": " + error;
    }
    return manifest;
}
} // namespace

std::optional<BundleManifest> BundleFile::Read(const std::string& path, std::string& error, const CompanyOf& companyOf)
{
    const auto archive = ZipArchive::Open(path, error);
    if (!archive) {
        return std::nullopt;
    }
    Company company;
    if (companyOf != nullptr) {
        std::string ignored; // damage is told first, and by the member's name
        const auto announced = ReadManifest(*archive, path, ignored);
        company = announced ? companyOf(*announced) : Company();
    }
    return archive->CheckWhole(error, company.known, company.take) ? ReadManifest(*archive, path, error) : std::nullopt;
}

std::optional<BundleManifest> BundleFile::ParseManifest(const std::string& text, std::string& error)
{
    const Handles::JsonRoot root(TavomendEngine::JsonTool().ParseJson(text));
    if (root == nullptr || cJSON_IsObject(root.get()) == 0) {
        error = "manifest.json is not a JSON object, or has a NUL in it";
        return std::nullopt;
    }
    BundleManifest manifest;
    if (!ReadText(root.get(), "bundleName", manifest.bundleName) || !IsPlainName(manifest.bundleName)) {
        error = "manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')";
        return std::nullopt;
    }
    const cJSON* version = cJSON_GetObjectItemCaseSensitive(root.get(), "versionCode");
    const double number = cJSON_IsNumber(version) != 0 ? version->valuedouble : -1;
    if (number < 0 || number > MAX_VERSION_CODE || number != static_cast<double>(static_cast<int64_t>(number))) {
        error = "manifest.json has no \"versionCode\" from 0 to 2147483647";
        return std::nullopt;
    }
    manifest.versionCode = static_cast<uint32_t>(number);
    manifest.versionName = std::to_string(manifest.versionCode);
    for (const auto& [key, field] :
         {std::pair{"versionName", &manifest.versionName}, std::pair{"module", &manifest.module},
          std::pair{"bundleType", &manifest.bundleType}}) {
        if (!ReadText(root.get(), key, *field)) {
            error = std::string("manifest.json: \"") + key + "\" is not a text";
            return std::nullopt;
        }
    }
    for (const auto& [key, field] :
         {std::pair{"keepAlive", &manifest.keepAlive}, std::pair{"singleton", &manifest.singleton}}) {
        if (!ReadFlag(root.get(), key, *field)) {
            error = std::string("manifest.json: \"") + key + "\" is neither true nor false";
            return std::nullopt;
        }
    }
    if (!IsPlainName(manifest.module)) {
        error = "manifest.json has no usable \"module\" (letters, digits, '.', '_', '-')";
        return std::nullopt;
    }
    if (manifest.bundleType != BUNDLE_TYPE_APP && manifest.bundleType != BUNDLE_TYPE_SERVICE_FWK) {
        error = "manifest.json: \"bundleType\" is neither \"app\" nor \"appServiceFwk\"";
        return std::nullopt;
    }
    return manifest;
}
} // namespace ORVX::Formats
