// The patch configuration as the programs around the engine read and write it; docs/package-format.md tells the format.
#ifndef TAVOMEND_FORMATS_PATCH_CONFIG_H
#define TAVOMEND_FORMATS_PATCH_CONFIG_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ORVX::Formats {
constexpr int ACTION_ENABLE = 0;
constexpr int ACTION_REVOKE = 2;

struct ConfigFile {
    std::string base;   // installed file on the device
    std::string member; // archive member with a leading "/"
    std::string hash;   // SHA-256 of the rebuilt file, hexadecimal
};

struct ConfigApp {
    std::string bundleName;
    uint32_t version = 0;
    uint32_t preVersion = 0;
    std::string patchType; // "hot" or "cold"
    std::string appType;   // "internal" or "appServiceFwk"
    std::vector<ConfigFile> files;
};

struct PatchConfig {
    int space = 0; // KiB
    std::string version;
    std::string preVersion;
    std::vector<std::string> models;
    std::vector<std::string> baseVersions;
    int action = ACTION_ENABLE;
    bool dataKept = true;
    bool needReboot = false;
    std::vector<ConfigApp> apps;
};

// Reads a configuration by the engine's own rules; nothing when one is broken, with every broken one in `problems`.
[[nodiscard]] std::optional<PatchConfig> ParsePatchConfig(const std::string& text, std::vector<std::string>& problems);
[[nodiscard]] std::string WritePatchConfig(const PatchConfig& config);

// Where a file of an application is extracted to on the device.
[[nodiscard]] std::string DevicePathOf(const ConfigApp& app, const ConfigFile& file);
// Where its rebuilt, or whole, package file is on the device.
[[nodiscard]] std::string ProductPathOf(const ConfigApp& app, const ConfigFile& file);
[[nodiscard]] bool IsDifference(const ConfigFile& file);
} // namespace ORVX::Formats

#endif
