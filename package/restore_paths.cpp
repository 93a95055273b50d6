#include "package/restore_paths.h"

#include "common/app_constants.h"
#include "common/log.h"
#include "formats/device_paths.h"

namespace ORVX::TavomendEngine {
namespace {
// From the last "." on; empty for a path without one.
std::string SuffixOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? "" : path.substr(dot);
}
} // namespace

AppRestoreRecord RestorePaths::RecordOf(const ParseAppConfigTool::AppInfo& appInfo)
{
    AppRestoreRecord record;
    record.bundleName = appInfo.bundleName;
    record.appSequence = appInfo.sequence;
    record.version = appInfo.version;
    record.preVersion = appInfo.preVersion;
    record.appType = appInfo.appType;
    record.appPatchType = appInfo.appPatchType;
    record.fileNum = appInfo.fileNum;
    AddDiffPaths(appInfo, record);
    record.targetFiles = appInfo.diffPaths;
    record.basePaths = appInfo.basePaths;
    record.appsHashs = appInfo.appsHashs;
    record.restoreProductPaths = ProductPathsOf(record.diffPaths, record.basePaths);
    return record;
}

void RestorePaths::AddDiffPaths(const ParseAppConfigTool::AppInfo& appInfo, AppRestoreRecord& record)
{
    for (size_t i = 0; i < appInfo.diffPaths.size(); ++i) {
        // A service framework's companion lives among the ordinary applications.
        const bool isCompanion = appInfo.appType == APP_TYPE_SERVICE_FWK &&
                                 appInfo.basePaths[i].find(APP_TYPE_SERVICE_FWK) == std::string::npos;
        record.diffPaths.push_back(std::string(Formats::WORK_DIR) + "/" + appInfo.appPatchType + "/" +
                                   (isCompanion ? APP_TYPE_INTERNAL : appInfo.appType) + appInfo.diffPaths[i]);
    }
}

std::vector<std::string> RestorePaths::ProductPathsOf(const std::vector<std::string>& diffPaths,
                                                      const std::vector<std::string>& basePaths)
{
    TAVOMEND_LOG_I("restoreProductPaths begin");
    std::vector<std::string> products;
    for (size_t i = 0; i < diffPaths.size(); ++i) {
        TAVOMEND_LOG_I("diffPath: %{public}s, fileSuffix: %{public}s", diffPaths[i].c_str(),
                       SuffixOf(diffPaths[i]).c_str());
        if (!IsDifference(diffPaths[i])) {
            products.push_back(diffPaths[i]);
            continue;
        }
        products.push_back(ProductPathOf(diffPaths[i], basePaths[i]));
        TAVOMEND_LOG_I("restoreProductPath: %{public}s", products.back().c_str());
    }
    return products;
}

std::string RestorePaths::ProductPathOf(const std::string& diffPath, const std::string& basePath)
{
    return DirPartOf(diffPath) + FileNameOf(basePath) + SuffixOf(basePath);
}

bool RestorePaths::IsDifference(const std::string& path)
{
    return SuffixOf(path) == Formats::DIFF_SUFFIX;
}

std::string RestorePaths::FileNameOf(const std::string& path)
{
    const size_t start = path.rfind('/') + 1; // a path without "/" counts from its start
    const size_t dot = path.rfind('.');       // without ".", all that is left is the name
    if (dot <= start) {
        TAVOMEND_LOG_E("get fileName failed");
        return "";
    }
    return path.substr(start, dot - start);
}

std::string RestorePaths::DirPartOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}
} // namespace ORVX::TavomendEngine
