#include "formats/patch_config.h"

#include "formats/patch_config_parser.h"
#include "formats/status_words.h"
#include "handles/json.h"

namespace ORVX::Formats {
namespace {
void AddTexts(cJSON* object, const char* key, const std::vector<std::string>& texts)
{
    cJSON* list = cJSON_AddArrayToObject(object, key);
    for (const auto& text : texts) {
        cJSON_AddItemToArray(list, cJSON_CreateString(text.c_str()));
    }
}

APP_TYPE CodeOf(const std::string& appType)
{
    if (appType == APP_TYPE_SERVICE_FWK) {
        return APP_TYPE::APP_SERVICE_FWK;
    }
    return appType == APP_TYPE_SHARED_BUNDLES ? APP_TYPE::SHARED_BUNDLES : APP_TYPE::INTERNAL;
}

// Version codes are read as an int's bits, so that is how they are written.
double NumberOf(uint32_t version)
{
    return static_cast<int32_t>(version);
}

void AddApp(cJSON* apps, const AppInfo& app)
{
    cJSON* entry = cJSON_AddObjectToObject(apps, app.bundleName.c_str());
    cJSON_AddNumberToObject(entry, "version", NumberOf(app.version));
    cJSON_AddNumberToObject(entry, "pre_version", NumberOf(app.preVersion));
    cJSON_AddNumberToObject(entry, "file_num", app.fileNum);
    cJSON_AddStringToObject(entry, "app_patch_type", app.appPatchType.c_str());
    cJSON_AddNumberToObject(entry, "app_type", static_cast<double>(CodeOf(app.appType)));
    AddTexts(entry, "base_path", app.basePaths);
    AddTexts(entry, "diff_path", app.diffPaths);
    AddTexts(entry, "apps_hash", app.appsHashs);
}
} // namespace

std::optional<PackageInfo> ParsePatchConfig(const std::string& text, std::vector<std::string>& problems)
{
    const Handles::JsonRoot root(TavomendEngine::JsonTool().ParseJson(text));
    PatchConfigParser parser;
    PackageInfo& info = parser.GetPackageInfo();
    info.isValid = parser.ParseConfig(root.get()) && parser.ValidateConfig();
    problems.insert(problems.end(), parser.Problems().begin(), parser.Problems().end());
    return info.isValid ? std::optional<PackageInfo>(std::move(info)) : std::nullopt;
}

std::string WhyNeverApplied(const PackageInfo& info)
{
    return info.version == NO_PATCH_VERSION ? "\"version\" is \"patch00\", which means a device without a patch" : "";
}

std::string WritePatchConfig(const PackageInfo& info)
{
    const Handles::JsonRoot root(cJSON_CreateObject());
    cJSON_AddNumberToObject(root.get(), "space", info.space);
    cJSON_AddStringToObject(root.get(), "version", info.version.c_str());
    cJSON_AddStringToObject(root.get(), "pre_version", info.preVersion.c_str());
    cJSON* product = cJSON_AddObjectToObject(root.get(), "product");
    AddTexts(product, "model", info.productModel);
    AddTexts(product, "version", info.productVersion);
    cJSON_AddNumberToObject(root.get(), "action", info.action);
    cJSON_AddBoolToObject(root.get(), "data_kept", static_cast<cJSON_bool>(info.dataKept));
    cJSON_AddBoolToObject(root.get(), "need_reboot", static_cast<cJSON_bool>(info.needReboot));
    cJSON* apps = cJSON_AddObjectToObject(root.get(), "apps");
    cJSON_AddNumberToObject(apps, "size", info.appsSize);
    std::vector<std::string> names;
    for (const auto& app : info.appsList) {
        names.push_back(app.bundleName);
    }
    AddTexts(apps, "list", names);
    for (const auto& app : info.appsList) {
        AddApp(apps, app);
    }
    const Handles::JsonText text(cJSON_Print(root.get()));
    return text == nullptr ? "" : text.get();
}
} // namespace ORVX::Formats
