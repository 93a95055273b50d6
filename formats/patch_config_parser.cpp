#include "formats/patch_config_parser.h"

namespace ORVX::Formats {
namespace {
constexpr const char* SILENT = nullptr; // some refusals leave no message, and stay so
} // namespace

PatchConfigParser::PatchConfigParser()
    : appTypeNames_{{APP_TYPE::INTERNAL, APP_TYPE_INTERNAL},
                    {APP_TYPE::SHARED_BUNDLES, APP_TYPE_SHARED_BUNDLES},
                    {APP_TYPE::APP_SERVICE_FWK, APP_TYPE_SERVICE_FWK}}
{
}

bool PatchConfigParser::ParseConfig(cJSON* root)
{
    problems_.clear();
    packageInfo_.Reset();
    packageInfo_.space = jsonTool_.GetInt(root, "space", -1);
    packageInfo_.version = jsonTool_.GetString(root, "version", "");
    packageInfo_.preVersion = jsonTool_.GetString(root, "pre_version", "");
    const bool isProductRead = ParseProduct(root);
    packageInfo_.action = jsonTool_.GetInt(root, "action", -1);
    packageInfo_.dataKept = jsonTool_.GetBool(root, "data_kept", true);
    packageInfo_.needReboot = jsonTool_.GetBool(root, "need_reboot", false);
    return isProductRead && ParseApps(root);
}

bool PatchConfigParser::ParseProduct(cJSON* root)
{
    if (root == nullptr) {
        return Refuse(__func__, "root is null", "the configuration is not JSON, or has a NUL in it");
    }
    const cJSON* product = jsonTool_.GetObject(root, "product");
    if (product == nullptr) {
        return Refuse(__func__, SILENT, "\"product\" is not an object");
    }
    return ParseProductModel(jsonTool_.GetArray(product, "model")) &&
           ParseProductVersion(jsonTool_.GetArray(product, "version"));
}

bool PatchConfigParser::ParseProductModel(cJSON* array)
{
    return ReadTexts(array, packageInfo_.productModel, {__func__, "product: \"model\"", "parse product model failed"});
}

bool PatchConfigParser::ParseProductVersion(cJSON* array)
{
    return ReadTexts(array, packageInfo_.productVersion,
                     {__func__, "product: \"version\"", "parse product version failed"});
}

bool PatchConfigParser::ParseAppBasePath(cJSON* array, AppInfo& info)
{
    return ReadTexts(array, info.basePaths,
                     {__func__, info.bundleName + ": \"base_path\"", "parse base path array failed"});
}

bool PatchConfigParser::ParseAppDiffPath(cJSON* array, AppInfo& info)
{
    return ReadTexts(array, info.diffPaths,
                     {__func__, info.bundleName + ": \"diff_path\"", "parse diff path array failed"});
}

bool PatchConfigParser::ParseAppFileHash(cJSON* array, AppInfo& info)
{
    return ReadTexts(array, info.appsHashs,
                     {__func__, info.bundleName + ": \"apps_hash\"", "parse file hash array failed"});
}

bool PatchConfigParser::ParseApps(cJSON* root)
{
    if (root == nullptr) {
        return Refuse(__func__, "root is null", "the configuration is not JSON, or has a NUL in it");
    }
    const cJSON* apps = jsonTool_.GetObject(root, "apps");
    if (apps == nullptr) {
        return Refuse(__func__, "get apps object failed", "\"apps\" is not an object");
    }
    packageInfo_.appsSize = jsonTool_.GetInt(apps, "size", -1);
    const cJSON* list = jsonTool_.GetArray(apps, "list");
    if (list == nullptr) {
        return Refuse(__func__, "get app array failed", "apps: \"list\" is not a list");
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list)
    {
        if (cJSON_IsString(item) == 0) {
            return Refuse(__func__, "parse app failed", "apps: \"list\" holds something other than texts");
        }
        AppInfo info;
        const std::string bundleName = item->valuestring;
        const bool isParsed = ParseAppInfo(jsonTool_.GetObject(apps, bundleName), bundleName, info);
        info.sequence = static_cast<int32_t>(packageInfo_.appsList.size());
        // Also when it failed: the record shows how far the reading came.
        packageInfo_.appsList.push_back(std::move(info));
        if (!isParsed) {
            return false;
        }
    }
    return true;
}

bool PatchConfigParser::ParseAppInfo(cJSON* appObject, const std::string& bundleName, AppInfo& info)
{
    if (appObject == nullptr || bundleName.empty()) {
        return Refuse(__func__, "ParseAppInfo failed",
                      bundleName.empty() ? "apps: \"list\" holds an empty name"
                                         : "apps: \"" + bundleName + "\" is not an object");
    }
    info.bundleName = bundleName;
    info.version = static_cast<uint32_t>(jsonTool_.GetInt(appObject, "version", 0));
    info.preVersion = static_cast<uint32_t>(jsonTool_.GetInt(appObject, "pre_version", 0));
    info.fileNum = jsonTool_.GetInt(appObject, "file_num", -1);
    info.appPatchType = jsonTool_.GetString(appObject, "app_patch_type", "");
    return GetAppType(appObject, info) && ParseAppBasePath(jsonTool_.GetArray(appObject, "base_path"), info) &&
           ParseAppDiffPath(jsonTool_.GetArray(appObject, "diff_path"), info) &&
           ParseAppFileHash(jsonTool_.GetArray(appObject, "apps_hash"), info);
}

bool PatchConfigParser::GetAppType(cJSON* appObject, AppInfo& info)
{
    if (appObject == nullptr) {
        return Refuse(__func__, "root is null", info.bundleName + " is not an object");
    }
    const auto found = appTypeNames_.find(static_cast<APP_TYPE>(jsonTool_.GetInt(appObject, "app_type", -1)));
    if (found == appTypeNames_.end()) {
        return Refuse(__func__, "app Type map find failed", info.bundleName + ": \"app_type\" is unknown");
    }
    info.appType = found->second;
    return true;
}

bool PatchConfigParser::ReadTexts(const cJSON* array, std::vector<std::string>& target, const ListPlace& place)
{
    if (array == nullptr) {
        return Refuse(place.step, "root is null", place.where + " is not a list");
    }
    if (cJSON_GetArraySize(array) < 1) {
        return Refuse(place.step, SILENT, place.where + " is empty");
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, array)
    {
        if (cJSON_IsString(item) == 0) {
            return Refuse(place.step, place.message, place.where + " holds something other than texts");
        }
        target.emplace_back(item->valuestring);
    }
    return true;
}

bool PatchConfigParser::ValidateConfig()
{
    const PackageInfo& info = packageInfo_;
    const size_t before = problems_.size();
    Demand(info.space > 0, "\"space\" is not above 0");
    Demand(info.productModel.size() == info.productVersion.size(),
           "product: \"model\" and \"version\" differ in length");
    Demand(info.action >= ACTION_ENABLE && info.action <= ACTION_REVOKE, "\"action\" is neither 0, 1 nor 2");
    Demand(info.appsSize >= 0 && static_cast<size_t>(info.appsSize) == info.appsList.size(),
           "apps: \"size\" is not the number of applications");
    Demand(info.action != ACTION_ENABLE || info.appsSize >= 1, "an enabling package names no application");
    Demand(info.action != ACTION_REVOKE || info.appsSize == 0, "a revoke package names applications");
    for (const auto& app : info.appsList) {
        static_cast<void>(ValidateAppInfo(app)); // the rules of every application are looked at
    }
    return problems_.size() == before;
}

bool PatchConfigParser::ValidateAppInfo(const AppInfo& info)
{
    const size_t before = problems_.size();
    const std::string where = info.bundleName + ": ";
    Demand(info.version > info.preVersion, where + "its version is not above its pre-version");
    Demand(info.appPatchType == PATCH_TYPE_COLD || info.appPatchType == PATCH_TYPE_HOT,
           where + "\"app_patch_type\" is neither \"hot\" nor \"cold\"");
    // A shared bundle can be named in a configuration, so that older engines read the document, and never passes.
    Demand(info.appType == APP_TYPE_INTERNAL || info.appType == APP_TYPE_SERVICE_FWK,
           where + "\"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)");
    const auto isFileNum = [&info](const auto& list) { return static_cast<size_t>(info.fileNum) == list.size(); };
    Demand(info.fileNum >= 1 && isFileNum(info.basePaths) && isFileNum(info.diffPaths) && isFileNum(info.appsHashs),
           where + "\"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number");
    return problems_.size() == before;
}

void PatchConfigParser::OnRefusal(const char* /*step*/, const char* /*message*/) {}

bool PatchConfigParser::Refuse(const char* step, const char* message, const std::string& problem)
{
    problems_.push_back(problem);
    if (message != nullptr) {
        OnRefusal(step, message);
    }
    return false;
}

void PatchConfigParser::Demand(bool isKept, const std::string& problem)
{
    if (!isKept) {
        problems_.push_back(problem);
    }
}
} // namespace ORVX::Formats
