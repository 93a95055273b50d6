// Bundle files (.vab): the files of an application, each a zip archive with a manifest.json at its top. The manifest's
// keys are in docs/package-format.md.
#ifndef TAVOMEND_FORMATS_BUNDLE_FILE_H
#define TAVOMEND_FORMATS_BUNDLE_FILE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "formats/buffered_file.h"
#include "formats/known_members.h"

namespace ORVX::Formats {
constexpr const char* BUNDLE_FILE_SUFFIX = ".vab";
constexpr const char* MANIFEST_MEMBER = "manifest.json";
constexpr const char* BUNDLE_TYPE_APP = "app";
constexpr const char* BUNDLE_TYPE_SERVICE_FWK = "appServiceFwk";

struct BundleManifest {
    std::string bundleName;   // letters, digits, '.', '_', '-': it names files and directories
    uint32_t versionCode = 0; // 0 to 2^31-1
    std::string versionName;
    std::string module = "entry";
    bool keepAlive = false;
    bool singleton = false;
    std::string bundleType = BUNDLE_TYPE_APP;
};

// Used by the bundle service for every file that it is given, and by the maker. Stateless.
class BundleFile {
public:
    // What goes along with the reading of a file.
    struct Company {
        KnownMembers* known = nullptr; // of the members of such a file
        ByteTaker take;                // is given the whole file, or a part of one that turns out not to be whole
    };
    using CompanyOf = std::function<Company(const BundleManifest& manifest)>;

    // The manifest of a whole file: one manifest.json, of at most 64 KiB, and every member is read through and its
    // checksum compared. Nothing for any other file, with a line for people in `error` that names the file.
    // companyOf: is asked before the members are read, at most once, with what the manifest says so far.
    [[nodiscard]] static std::optional<BundleManifest> Read(const std::string& path, std::string& error,
                                                            const CompanyOf& companyOf = nullptr);
    // The manifest out of its JSON text. Nothing for a text that is no such manifest, with a line in `error`.
    [[nodiscard]] static std::optional<BundleManifest> ParseManifest(const std::string& text, std::string& error);
};
} // namespace ORVX::Formats

#endif
