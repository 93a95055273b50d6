// The recover list: which applications must be put back to their unpatched state, kept across restarts.
#ifndef TAVOMEND_TOOLS_RECOVER_FILE_TOOL_H
#define TAVOMEND_TOOLS_RECOVER_FILE_TOOL_H

#include <string>
#include <vector>

#include "platform/api/ref_base.h"
#include "platform/utility/json_tool.h"

namespace ORVX::TavomendEngine {
// Written by the ready state (revoke package) and the revoke state, read by the app patch manager and, at boot, by the
// platform. The file is {"list": ["NAME", ...]}. Its backup copy, made before the applications are checked, takes
// precedence, so that a pass that was interrupted resumes with the same names.
class RecoverFileTool : public virtual RefBase {
public:
    // Writes the list and drops the backup. An empty list writes nothing and succeeds.
    [[nodiscard]] bool WriteReInstallFile(const std::vector<std::string>& bundleNames);
    // Appends the names, of the backup if there is one. True also without any file; false for a damaged one (the names
    // before the damage stay appended).
    [[nodiscard]] bool GetRecoverBundleNameList(std::vector<std::string>& bundleNames);
    // Makes the list the backup, replacing an old one.
    void RenameRevokeFileToBak();
    void RemoveRevokeBakFile();
    // Of the list, not of the backup.
    [[nodiscard]] bool RecoverFileIsExist();

private:
    JsonTool jsonTool_;
};
} // namespace ORVX::TavomendEngine

#endif
