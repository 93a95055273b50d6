// Where an application's files are extracted to and rebuilt at, below the work directory.
#ifndef TAVOMEND_PACKAGE_RESTORE_PATHS_H
#define TAVOMEND_PACKAGE_RESTORE_PATHS_H

#include <string>
#include <vector>

#include "package/app_restore_record.h"
#include "tools/parse_app_config_tool.h"

namespace ORVX::TavomendEngine {
// Pure functions of their arguments, used by the package manager and the restorer. An application's lists must be
// parallel, and no path of it without a "."; the configuration's validation sees to the first, its maker to the second.
class RestorePaths {
public:
    // The record of a configuration's entry, in state PARSED.
    [[nodiscard]] static AppRestoreRecord RecordOf(const ParseAppConfigTool::AppInfo& appInfo);
    // Appends where each archive member is extracted to.
    static void AddDiffPaths(const ParseAppConfigTool::AppInfo& appInfo, AppRestoreRecord& record);
    // The bundle file of each diff path: rebuilt from a difference, or itself when it is shipped whole.
    [[nodiscard]] static std::vector<std::string> ProductPathsOf(const std::vector<std::string>& diffPaths,
                                                                 const std::vector<std::string>& basePaths);
    // Beside the difference, under the name of its base file.
    [[nodiscard]] static std::string ProductPathOf(const std::string& diffPath, const std::string& basePath);
    // False for a file that is shipped whole.
    [[nodiscard]] static bool IsDifference(const std::string& path);
    // The text between the last "/" and the last "."; empty, with a line in the log, when there is none.
    [[nodiscard]] static std::string FileNameOf(const std::string& path);
    // Up to and including the last "/".
    [[nodiscard]] static std::string DirPartOf(const std::string& path);
};
} // namespace ORVX::TavomendEngine

#endif
