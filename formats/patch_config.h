// The patch configuration of a package: its records and words, the text to the record and back. The format is in
// docs/package-format.md; formats/patch_config_parser.h has the steps and rules of the reading.
#ifndef TAVOMEND_FORMATS_PATCH_CONFIG_H
#define TAVOMEND_FORMATS_PATCH_CONFIG_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ORVX::Formats {
// What a package asks for ("action"); 1 is allowed as well, and asks for nothing of its own.
constexpr int32_t ACTION_ENABLE = 0;
constexpr int32_t ACTION_REVOKE = 2;

// How an application is patched ("app_patch_type").
constexpr const char* PATCH_TYPE_HOT = "hot";
constexpr const char* PATCH_TYPE_COLD = "cold";

// Kinds of applications: the codes of "app_type", and the words that records and paths carry.
enum class APP_TYPE : int32_t {
    INTERNAL = 0,
    SHARED_BUNDLES = 1,
    APP_SERVICE_FWK = 2,
};
constexpr const char* APP_TYPE_INTERNAL = "internal";
constexpr const char* APP_TYPE_SHARED_BUNDLES = "shared_bundles";
constexpr const char* APP_TYPE_SERVICE_FWK = "appServiceFwk";

// One application of a configuration, in the engine as well as in hosts and the maker.
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

// A whole configuration.
struct PackageInfo {
    // Back to the values of a new record.
    void Reset() { *this = PackageInfo(); }

    int32_t space = -1; // KiB that the rebuilt applications need
    std::string version;
    std::string preVersion;
    // Parallel: the devices and the base versions that the package is for.
    std::vector<std::string> productModel;
    std::vector<std::string> productVersion;
    int32_t action = -1;
    bool isValid = false; // of the last parse and validation
    bool dataKept = true;
    bool needReboot = false;
    int32_t appsSize = -1;
    std::vector<AppInfo> appsList;
};

// For hosts and the maker: the record of a configuration that the engine takes. Otherwise nothing, and lines for people
// are added to `problems`: the one place where the reading stopped, or every rule that what was read breaks.
[[nodiscard]] std::optional<PackageInfo> ParsePatchConfig(const std::string& text, std::vector<std::string>& problems);

// Why the engine never begins with a package whose record is valid: one line for people, empty for any other. For those
// who judge packages before the engine does.
[[nodiscard]] std::string WhyNeverApplied(const PackageInfo& info);

// The text of a record; a valid one reads back as it was. "size", "file_num" and the codes come from the record's own
// fields, nothing is checked. Empty when memory ran out.
[[nodiscard]] std::string WritePatchConfig(const PackageInfo& info);
} // namespace ORVX::Formats

#endif
