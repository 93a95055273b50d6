// The patch configuration of a package, as the engine reads it. Its format is in docs/package-format.md.
#ifndef TAVOMEND_TOOLS_PARSE_APP_CONFIG_TOOL_H
#define TAVOMEND_TOOLS_PARSE_APP_CONFIG_TOOL_H

#include <string>

#include "formats/patch_config_parser.h"
#include "platform/api/ref_base.h"
#include "platform/utility/json_tool.h"

namespace ORVX::TavomendEngine {
using Formats::APP_TYPE;

// Owned by each of the two package managers, which keep pointing at the record that it holds; used by one operation at
// a time. The steps and rules of the reading are the base's, which hosts and the maker share; the tool reads the
// extracted file and logs.
class ParseAppConfigTool : public virtual RefBase, private Formats::PatchConfigParser {
public:
    using AppInfo = Formats::AppInfo;
    using PackageInfo = Formats::PackageInfo;

    // Reads and validates the extracted configuration. False when it cannot be read or is no JSON (the record is
    // untouched), or cannot be parsed or validated (the record holds what was read). Logs the record in both outcomes.
    bool ParseTavomendConfig();
    // The same for a text.
    bool ParseTavomendConfig(const std::string& text);
    // The record of the last parse, also of a failed one; the default values before the first.
    [[nodiscard]] PackageInfo& GetPackageInfo();
    // Logs the record, the package first and then each application on a line of its own, and returns the text.
    std::string Dump();

private:
    bool ParseDocument(cJSON* document); // which it frees
    void OnRefusal(const char* step, const char* message) override;

    JsonTool jsonTool_;
};
} // namespace ORVX::TavomendEngine

#endif
