// The reading of a patch configuration, step by step, and the rules that it must keep.
#ifndef TAVOMEND_FORMATS_PATCH_CONFIG_PARSER_H
#define TAVOMEND_FORMATS_PATCH_CONFIG_PARSER_H

#include <string>
#include <unordered_map>
#include <vector>

#include "formats/patch_config.h"
#include "platform/utility/json_tool.h"

namespace ORVX::Formats {
// The only code that reads a configuration: the engine's tool derives from it and logs each refusal, hosts and the
// maker take the lines for people through ParsePatchConfig. So no two programs can judge one package differently.
//
// Each step gives false when it refuses. It then has added one line to the problems and told OnRefusal; the steps stop
// at the first refusal, and the record keeps what was read until then. Not for several threads at once.
class PatchConfigParser {
public:
    PatchConfigParser();
    virtual ~PatchConfigParser() = default;
    PatchConfigParser(const PatchConfigParser&) = delete;
    PatchConfigParser& operator=(const PatchConfigParser&) = delete;

    // Empties record and problems and reads a document's root, which may be any JSON value. The members of the top
    // level are read even when a step between them refuses.
    [[nodiscard]] bool ParseConfig(cJSON* root);
    // Whether what was read keeps every rule; a line is added to the problems for each broken one.
    [[nodiscard]] bool ValidateConfig();
    [[nodiscard]] PackageInfo& GetPackageInfo() { return packageInfo_; }
    // Since the last ParseConfig; each says where and what.
    [[nodiscard]] const std::vector<std::string>& Problems() const { return problems_; }

protected:
    // A step of the reading has refused. step: its name; message: for a log. Silent refusals do not come here.
    virtual void OnRefusal(const char* step, const char* message);

    bool ParseProduct(cJSON* root);
    bool ParseProductModel(cJSON* array);
    bool ParseProductVersion(cJSON* array);
    bool ParseApps(cJSON* root);
    bool ParseAppInfo(cJSON* appObject, const std::string& bundleName, AppInfo& info);
    bool GetAppType(cJSON* appObject, AppInfo& info);
    bool ParseAppBasePath(cJSON* array, AppInfo& info);
    bool ParseAppDiffPath(cJSON* array, AppInfo& info);
    bool ParseAppFileHash(cJSON* array, AppInfo& info);
    bool ValidateAppInfo(const AppInfo& info);

    PackageInfo packageInfo_;

private:
    // Who reads a list, where it stands, and what the log says of an element that is no text.
    struct ListPlace {
        const char* step;
        std::string where;
        const char* message;
    };
    bool ReadTexts(const cJSON* array, std::vector<std::string>& target, const ListPlace& place);
    // Always false. message: null for a silent refusal.
    bool Refuse(const char* step, const char* message, const std::string& problem);
    void Demand(bool isKept, const std::string& problem);

    TavomendEngine::JsonTool jsonTool_;
    std::unordered_map<APP_TYPE, std::string> appTypeNames_;
    std::vector<std::string> problems_;
};
} // namespace ORVX::Formats

#endif
