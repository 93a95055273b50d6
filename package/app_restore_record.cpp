#include "package/app_restore_record.h"

namespace ORVX::TavomendEngine {
namespace {
std::string JoinEntries(const std::string& label, const std::vector<std::string>& entries)
{
    std::string text = label + ": {";
    for (const auto& entry : entries) {
        text += entry + ",";
    }
    return text + "}";
}
} // namespace

std::string AppRestoreRecord::Dump() const
{
    // The irregular blanks are part of the format.
    return "dump: [bundleName: " + bundleName + ",version:" + std::to_string(version) +
           ",preVersion: " + std::to_string(preVersion) + ",appType:" + appType + ",appPatchType: " + appPatchType +
           ",fileNum:" + std::to_string(fileNum) + "," + JoinEntries("targetFiles", targetFiles) + "," +
           JoinEntries("diffPaths", diffPaths) + "," + JoinEntries("basePaths", basePaths) + "," +
           JoinEntries("appsHashs", appsHashs) + "," + JoinEntries("restoreProductPaths", restoreProductPaths) + "]";
}
} // namespace ORVX::TavomendEngine
