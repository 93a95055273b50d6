#include "tools/parse_app_config_tool.h"

#include "common/log.h"
#include "formats/device_paths.h"
#include "handles/json.h"

namespace ORVX::TavomendEngine {
namespace {
std::string JoinEntries(const std::vector<std::string>& entries)
{
    std::string text;
    for (const auto& entry : entries) {
        text += " " + entry + ",";
    }
    return text;
}
} // namespace

bool ParseAppConfigTool::ParseTavomendConfig()
{
    return ParseDocument(jsonTool_.ParseJsonFromFile(Formats::CONFIG_PATH));
}

bool ParseAppConfigTool::ParseTavomendConfig(const std::string& text)
{
    return ParseDocument(jsonTool_.ParseJson(text));
}

bool ParseAppConfigTool::ParseDocument(cJSON* document)
{
    const Handles::JsonRoot root(document);
    if (root == nullptr) {
        TAVOMEND_LOG_E("cJSON root is NULL.");
        return false;
    }
    const bool appsOk = ParseConfig(root.get());
    TAVOMEND_LOG_W("result: %{public}d", static_cast<int>(appsOk));
    Dump();
    packageInfo_.isValid = appsOk && ValidateConfig();
    return packageInfo_.isValid;
}

ParseAppConfigTool::PackageInfo& ParseAppConfigTool::GetPackageInfo()
{
    return packageInfo_;
}

void ParseAppConfigTool::OnRefusal(const char* step, const char* message)
{
    // The step's name stands in the prefix: several say the same.
    WriteLog(TAVOMEND_LOG_ERROR, {__FILE_NAME__, step, __LINE__}, TAVOMEND_LOG_PREFIX "%{public}s", message);
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
