// The patch configuration inside a package: reading, validation, diagnostic dump. Its format is in
// docs/package-format.md.
#ifndef TAVOMEND_TOOLS_PARSE_APP_CONFIG_TOOL_H
#define TAVOMEND_TOOLS_PARSE_APP_CONFIG_TOOL_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/api/ref_base.h"
#include "platform/utility/json_tool.h"

namespace ORVX::TavomendEngine {
enum class APP_TYPE : int32_t {
    INTERNAL = 0,
    SHARED_BUNDLES = 1,
    APP_SERVICE_FWK = 2,
};

// Owned by each of the two package managers, which keep pointing at the record that it holds.
class ParseAppConfigTool : public virtual RefBase {
public:
    struct AppInfo {
        std::string bundleName;
        int32_t sequence = -1; // position in the configuration's list
        uint32_t version = 0;
        uint32_t preVersion = 0;
        std::string appType;
        int32_t fileNum = -1;
        std::string appPatchType; // "cold" or "hot"
        // Parallel: entry i of each describes file i.
        std::vector<std::string> diffPaths; // archive members, with a leading "/"
        std::vector<std::string> basePaths; // installed files
        std::vector<std::string> appsHashs; // SHA-256 of the rebuilt files, in hexadecimal
    };

    struct PackageInfo {
        void Reset();

        int32_t space = -1; // KiB that the rebuilt applications need
        std::string version;
        std::string preVersion;
        std::vector<std::string> productModel;
        std::vector<std::string> productVersion; // base versions that the package is for
        int32_t action = -1;
        bool isValid = false; // of the last parse and validation
        bool dataKept = true;
        bool needReboot = false;
        int32_t appsSize = -1;
        std::vector<AppInfo> appsList;
    };

    ParseAppConfigTool();

    // Reads and validates the extracted configuration. False when it cannot be read (the record is untouched), parsed
    // or validated (the record holds what was read).
    bool ParseTavomendConfig();
    [[nodiscard]] PackageInfo& GetPackageInfo();
    // Logs the record, the package first and then each application on a line of its own, and returns the text.
    std::string Dump();

private:
    bool ParseProduct(cJSON* root);
    bool ParseProductModel(cJSON* array);
    bool ParseProductVersion(cJSON* array);
    bool ParseApps(cJSON* root);
    bool ParseAppInfo(cJSON* appObject, const std::string& bundleName, AppInfo& info);
    bool GetAppType(cJSON* appObject, AppInfo& info);
    bool ParseAppBasePath(cJSON* array, AppInfo& info);
    bool ParseAppDiffPath(cJSON* array, AppInfo& info);
    bool ParseAppFileHash(cJSON* array, AppInfo& info);
    bool ValidateConfig();
    [[nodiscard]] bool ValidateAppInfo(const AppInfo& info) const;

    PackageInfo packageInfo_;
    JsonTool jsonTool_;
    std::unordered_map<APP_TYPE, std::string> appTypeNames_;
};
} // namespace ORVX::TavomendEngine

#endif
