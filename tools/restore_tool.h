// Rebuilds one bundle file from an installed base file and a difference.
#ifndef TAVOMEND_TOOLS_RESTORE_TOOL_H
#define TAVOMEND_TOOLS_RESTORE_TOOL_H

#include <string>

#include "platform/api/ref_base.h"

namespace ORVX::TavomendEngine {
// Called by the package manager once per file of an application. Stateless.
class RestoreTool : public virtual RefBase {
public:
    // 0 when the file was rebuilt; -1, and nothing is touched, when difference or base is not there or the output path
    // is empty; otherwise the difference library's own code, unchanged. The output's directory must exist. Whether the
    // output is the file that was meant, only its hash tells, and that is the caller's to compare.
    [[nodiscard]] int RestoreFile(const std::string& diffPath, const std::string& basePath,
                                  const std::string& restoreProductPath);
};
} // namespace ORVX::TavomendEngine

#endif
