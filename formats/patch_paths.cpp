#include "formats/patch_paths.h"

#include <algorithm>

#include "formats/device_paths.h"

namespace ORVX::Formats {
std::string SuffixOf(const std::string& path)
{
    return path.substr(std::min(path.rfind('.'), path.size()));
}

std::string DirPartOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

std::optional<std::string> StemOf(const std::string& path)
{
    const size_t start = path.rfind('/') + 1; // 0 without "/"
    const size_t dot = path.rfind('.');
    return dot <= start ? std::nullopt : std::optional<std::string>(path.substr(start, dot - start));
}

bool IsDifference(const std::string& path)
{
    return SuffixOf(path) == DIFF_SUFFIX;
}

std::optional<std::string> MemberNameOf(const std::string& target)
{
    return target.rfind('/', 0) == 0 ? std::optional<std::string>(target.substr(1)) : std::nullopt;
}

std::string ExtractedPathOf(const AppInfo& app, size_t index)
{
    if (index >= app.diffPaths.size()) {
        return "";
    }
    const std::string base = index < app.basePaths.size() ? app.basePaths[index] : "";
    // A service framework's companion that lives among the ordinary applications.
    const bool isCompanion =
        app.appType == APP_TYPE_SERVICE_FWK && base.find(APP_TYPE_SERVICE_FWK) == std::string::npos;
    return std::string(WORK_DIR) + "/" + app.appPatchType + "/" + (isCompanion ? APP_TYPE_INTERNAL : app.appType) +
           app.diffPaths[index];
}

std::string RebuiltPathOf(const std::string& diffPath, const std::string& basePath)
{
    return DirPartOf(diffPath) + StemOf(basePath).value_or("") + SuffixOf(basePath);
}

std::string ProductPathOf(const AppInfo& app, size_t index)
{
    const std::string path = ExtractedPathOf(app, index);
    const std::string base = index < app.basePaths.size() ? app.basePaths[index] : "";
    return IsDifference(path) ? RebuiltPathOf(path, base) : path;
}
} // namespace ORVX::Formats
