// Reads an application package file: a zip archive (.vab) with a manifest.json at its top.
#ifndef TAVOMEND_FORMATS_BUNDLE_FILE_H
#define TAVOMEND_FORMATS_BUNDLE_FILE_H

#include <cstdint>
#include <optional>
#include <string>

namespace ORVX::Formats {
constexpr const char* MANIFEST_MEMBER = "manifest.json";
constexpr const char* BUNDLE_TYPE_APP = "app";
constexpr const char* BUNDLE_TYPE_SERVICE_FWK = "appServiceFwk";

struct BundleManifest {
    std::string bundleName;
    uint32_t versionCode = 0; // 0 to 2^31-1
    std::string versionName;
    std::string module = "entry";
    bool keepAlive = false;
    bool singleton = false;
    std::string bundleType = BUNDLE_TYPE_APP;
};

// Used by the bundle service for every file that it is given, and by the package maker.
class BundleFile {
public:
    // The manifest of a whole package: every member is read through and its checksum compared. Empty for anything
    // else, with a reason for people that names the file.
    [[nodiscard]] static std::optional<BundleManifest> Read(const std::string& path, std::string& error);
    // The manifest out of its JSON text.
    [[nodiscard]] static std::optional<BundleManifest> ParseManifest(const std::string& text, std::string& error);
};
} // namespace ORVX::Formats

#endif
