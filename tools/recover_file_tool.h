// The recover list: which applications must be put back to their unpatched state, kept across restarts.
#ifndef TAVOMEND_TOOLS_RECOVER_FILE_TOOL_H
#define TAVOMEND_TOOLS_RECOVER_FILE_TOOL_H

#include <string>
#include <vector>

#include "platform/api/ref_base.h"
#include "platform/utility/json_tool.h"

namespace ORVX::TavomendEngine {
// Used by the ready and revoke states, which write the list, and by the app patch manager, which reads it; at boot the
// platform reads it too (formats/recover_list.h has the format). The backup copy, made before the applications are
// checked, takes precedence, so that a pass that was interrupted goes on with the same names. From any thread: one lock
// of the process is around both names.
class RecoverFileTool : public virtual RefBase {
public:
    // Writes the names in their order, and drops the backup: a new list makes it obsolete. An empty list writes
    // nothing, leaves both files and succeeds. False when the list could not be written whole; a cut one may be left
    // then.
    [[nodiscard]] bool WriteReInstallFile(const std::vector<std::string>& bundleNames);
    // Appends the names of the list in force. True also without any file; false for a damaged one (the names before
    // the damage stay appended).
    [[nodiscard]] bool GetRecoverBundleNameList(std::vector<std::string>& bundleNames);
    // Makes the list the backup, replacing an old one; without a list nothing is done. A failure is only logged, and
    // leaves the list where it is.
    void RenameRevokeFileToBak();
    // A failure is only logged; the backup then goes on taking precedence.
    void RemoveRevokeBakFile();
    // Of the list, not of the backup.
    [[nodiscard]] bool RecoverFileIsExist();

private:
    JsonTool jsonTool_;
};
} // namespace ORVX::TavomendEngine

#endif
