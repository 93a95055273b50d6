#include "tools/restore_tool.h"

#include "common/log.h"
#include "common/results.h"
#include "platform/api/apply_patch.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
int RestoreTool::RestoreFile(const std::string& diffPath, const std::string& basePath,
                             const std::string& restoreProductPath)
{
    if (!FileUtils::FileIsExist(basePath) || !FileUtils::FileIsExist(diffPath)) {
        TAVOMEND_LOG_E("base: %{public}s, diff: %{public}s file not found", basePath.c_str(), diffPath.c_str());
        return RESULT_FAILURE;
    }
    if (restoreProductPath.empty()) {
        TAVOMEND_LOG_E("restoreProductPath is empty");
        return RESULT_FAILURE;
    }
    TAVOMEND_LOG_I("restore begin, restoreProductPath: %{public}s", restoreProductPath.c_str());
    const int result = ApplyPatch(diffPath, basePath, restoreProductPath);
    if (result == 0) {
        FileUtils::GiveAwayInInitStage(restoreProductPath);
    }
    TAVOMEND_LOG_I("restore file result: %{public}d", result);
    return result;
}
} // namespace ORVX::TavomendEngine
