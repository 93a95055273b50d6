#include "tools/parse_app_config_tool.h"

#include <algorithm>
#include <memory>

#include "common/app_constants.h"
#include "common/log.h"
#include "formats/device_paths.h"
#include "handles/json.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ACTION_ENABLE = 0;
constexpr int32_t ACTION_REVOKE = 2;

// Outcome of reading an array of strings; the caller names a bad element in its own words.
enum class ReadResult { OK, REFUSED, BAD_ELEMENT };

ReadResult ReadStrings(const cJSON* array, std::vector<std::string>& target)
{
    if (array == nullptr) {
        TAVOMEND_LOG_E("root is null");
        return ReadResult::REFUSED;
    }
    if (cJSON_GetArraySize(array) < 1) {
        return ReadResult::REFUSED; // deliberately silent
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, array)
    {
        if (cJSON_IsString(item) == 0) {
            return ReadResult::BAD_ELEMENT;
        }
        target.emplace_back(item->valuestring);
    }
    return ReadResult::OK;
}

std::string JoinEntries(const std::vector<std::string>& entries)
{
    std::string text;
    for (const auto& entry : entries) {
        text += " " + entry + ",";
    }
    return text;
}
} // namespace

void ParseAppConfigTool::PackageInfo::Reset()
{
    *this = PackageInfo();
}

ParseAppConfigTool::ParseAppConfigTool()
    : appTypeNames_{{APP_TYPE::INTERNAL, APP_TYPE_INTERNAL},
                    {APP_TYPE::SHARED_BUNDLES, APP_TYPE_SHARED_BUNDLES},
                    {APP_TYPE::APP_SERVICE_FWK, APP_TYPE_SERVICE_FWK}}
{
}

bool ParseAppConfigTool::ParseTavomendConfig()
{
    const Handles::JsonRoot root(jsonTool_.ParseJsonFromFile(Formats::CONFIG_PATH));
    if (root == nullptr) {
        TAVOMEND_LOG_E("cJSON root is NULL.");
        return false;
    }
    packageInfo_.Reset();
    packageInfo_.space = jsonTool_.GetInt(root.get(), "space", -1);
    packageInfo_.version = jsonTool_.GetString(root.get(), "version", "");
    packageInfo_.preVersion = jsonTool_.GetString(root.get(), "pre_version", "");
    const bool productOk = ParseProduct(root.get());
    packageInfo_.action = jsonTool_.GetInt(root.get(), "action", -1);
    packageInfo_.dataKept = jsonTool_.GetBool(root.get(), "data_kept", true);
    packageInfo_.needReboot = jsonTool_.GetBool(root.get(), "need_reboot", false);
    const bool appsOk = productOk && ParseApps(root.get());
    TAVOMEND_LOG_W("result: %{public}d", static_cast<int>(appsOk));
    Dump();
    packageInfo_.isValid = appsOk && ValidateConfig();
    return packageInfo_.isValid;
}

ParseAppConfigTool::PackageInfo& ParseAppConfigTool::GetPackageInfo()
{
    return packageInfo_;
}

bool ParseAppConfigTool::ParseProduct(cJSON* root)
{
    if (root == nullptr) {
        TAVOMEND_LOG_E("root is null");
        return false;
    }
    const cJSON* product = jsonTool_.GetObject(root, "product");
    if (product == nullptr) {
        return false;
    }
    return ParseProductModel(jsonTool_.GetArray(product, "model")) &&
           ParseProductVersion(jsonTool_.GetArray(product, "version"));
}

bool ParseAppConfigTool::ParseProductModel(cJSON* array)
{
    const ReadResult result = ReadStrings(array, packageInfo_.productModel);
    if (result == ReadResult::BAD_ELEMENT) {
        TAVOMEND_LOG_E("parse product model failed");
    }
    return result == ReadResult::OK;
}

bool ParseAppConfigTool::ParseProductVersion(cJSON* array)
{
    const ReadResult result = ReadStrings(array, packageInfo_.productVersion);
    if (result == ReadResult::BAD_ELEMENT) {
        TAVOMEND_LOG_E("parse product version failed");
    }
    return result == ReadResult::OK;
}

bool ParseAppConfigTool::ParseAppBasePath(cJSON* array, AppInfo& info)
{
    const ReadResult result = ReadStrings(array, info.basePaths);
    if (result == ReadResult::BAD_ELEMENT) {
        TAVOMEND_LOG_E("parse base path array failed");
    }
    return result == ReadResult::OK;
}

bool ParseAppConfigTool::ParseAppDiffPath(cJSON* array, AppInfo& info)
{
    const ReadResult result = ReadStrings(array, info.diffPaths);
    if (result == ReadResult::BAD_ELEMENT) {
        TAVOMEND_LOG_E("parse diff path array failed");
    }
    return result == ReadResult::OK;
}

bool ParseAppConfigTool::ParseAppFileHash(cJSON* array, AppInfo& info)
{
    const ReadResult result = ReadStrings(array, info.appsHashs);
    if (result == ReadResult::BAD_ELEMENT) {
        TAVOMEND_LOG_E("parse file hash array failed");
    }
    return result == ReadResult::OK;
}

bool ParseAppConfigTool::ParseApps(cJSON* root)
{
    if (root == nullptr) {
        TAVOMEND_LOG_E("root is null");
        return false;
    }
    const cJSON* apps = jsonTool_.GetObject(root, "apps");
    if (apps == nullptr) {
        TAVOMEND_LOG_E("get apps object failed");
        return false;
    }
    packageInfo_.appsSize = jsonTool_.GetInt(apps, "size", -1);
    const cJSON* list = jsonTool_.GetArray(apps, "list");
    if (list == nullptr) {
        TAVOMEND_LOG_E("get app array failed");
        return false;
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list)
    {
        if (cJSON_IsString(item) == 0) {
            TAVOMEND_LOG_E("parse app failed");
            return false;
        }
        AppInfo info;
        const std::string bundleName = item->valuestring;
        const bool isParsed = ParseAppInfo(jsonTool_.GetObject(apps, bundleName), bundleName, info);
        info.sequence = static_cast<int32_t>(packageInfo_.appsList.size());
        // Also when it failed: the dump shows how far the reading came.
        packageInfo_.appsList.push_back(std::move(info));
        if (!isParsed) {
            return false;
        }
    }
    return true;
}

bool ParseAppConfigTool::ParseAppInfo(cJSON* appObject, const std::string& bundleName, AppInfo& info)
{
    if (appObject == nullptr || bundleName.empty()) {
        TAVOMEND_LOG_E("ParseAppInfo failed");
        return false;
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

bool ParseAppConfigTool::GetAppType(cJSON* appObject, AppInfo& info)
{
    if (appObject == nullptr) {
        TAVOMEND_LOG_E("root is null");
        return false;
    }
    const auto found = appTypeNames_.find(static_cast<APP_TYPE>(jsonTool_.GetInt(appObject, "app_type", -1)));
    if (found == appTypeNames_.end()) {
        TAVOMEND_LOG_E("app Type map find failed");
        return false;
    }
    info.appType = found->second;
    return true;
}

bool ParseAppConfigTool::ValidateConfig()
{
    const PackageInfo& info = packageInfo_;
    if (info.space <= 0 || info.productModel.size() != info.productVersion.size()) {
        return false;
    }
    if (info.action < ACTION_ENABLE || info.action > ACTION_REVOKE) {
        return false;
    }
    if (info.appsSize < 0 || static_cast<size_t>(info.appsSize) != info.appsList.size()) {
        return false;
    }
    if ((info.action == ACTION_ENABLE && info.appsSize < 1) || (info.action == ACTION_REVOKE && info.appsSize != 0)) {
        return false;
    }
    return std::all_of(info.appsList.begin(), info.appsList.end(),
                       [this](const AppInfo& app) { return ValidateAppInfo(app); });
}

bool ParseAppConfigTool::ValidateAppInfo(const AppInfo& info) const
{
    if (info.version <= info.preVersion) {
        return false;
    }
    if (info.appPatchType != PATCH_TYPE_COLD && info.appPatchType != PATCH_TYPE_HOT) {
        return false;
    }
    // A shared bundle can be named in a configuration, so that older engines read the document, and never passes.
    if (info.appType != APP_TYPE_INTERNAL && info.appType != APP_TYPE_SERVICE_FWK) {
        return false;
    }
    if (info.fileNum < 1) {
        return false;
    }
    const auto fileNum = static_cast<size_t>(info.fileNum);
    return fileNum == info.basePaths.size() && fileNum == info.diffPaths.size() && fileNum == info.appsHashs.size();
}

std::string ParseAppConfigTool::Dump()
{
    const PackageInfo& info = packageInfo_;
    std::string text = " space: " + std::to_string(info.space) + " version: " + info.version +
                       " preVersion: " + info.preVersion + " productModel: {" + JoinEntries(info.productModel) + "} " +
                       "productVersion: {" + JoinEntries(info.productVersion) + "} " +
                       " action: " + std::to_string(info.action) +
                       " dataKept: " + std::to_string(info.dataKept ? 1 : 0) +
                       " needReboot: " + std::to_string(info.needReboot ? 1 : 0) +
                       " appsSize: " + std::to_string(info.appsSize) + " appsList: {";
    // Error level, so that a log which keeps errors only still tells which package was judged.
    TAVOMEND_LOG_E("%{public}s", text.c_str());
    for (const AppInfo& app : info.appsList) {
        const std::string appText = "[ bundleName: " + app.bundleName + " version: " + std::to_string(app.version) +
                                    " preVersion: " + std::to_string(app.preVersion) + " appType: " + app.appType +
                                    " fileNum: " + std::to_string(app.fileNum) + " appPatchType: " + app.appPatchType +
                                    " diffPaths: {" + JoinEntries(app.diffPaths) + "} basePaths: {" +
                                    JoinEntries(app.basePaths) + "} appsHashs: {" + JoinEntries(app.appsHashs) + "}]";
        TAVOMEND_LOG_E("%{public}s", appText.c_str());
        text += appText;
    }
    return text;
}
} // namespace ORVX::TavomendEngine
