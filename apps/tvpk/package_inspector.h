// Looks into a patch package, for people and scripts.
#ifndef TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H
#define TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H

#include <optional>
#include <string>
#include <vector>

#include "formats/patch_config.h"
#include "formats/zip_archive.h"

namespace ORVX::Tvpk {
// The configuration of a package; nothing when it cannot be read, with every reason in `problems`.
[[nodiscard]] std::optional<Formats::PatchConfig> ReadPackageConfig(const Formats::ZipArchive& archive,
                                                                    std::vector<std::string>& problems);
// Every problem of a package and its signature; none when a device with that key takes it.
[[nodiscard]] std::vector<std::string> VerifyPackage(const std::string& package, const std::string& signature,
                                                     const std::string& publicKey);
[[nodiscard]] std::string DescribePackage(const Formats::ZipArchive& archive, const Formats::PatchConfig& config);
// The same as JSON text.
[[nodiscard]] std::string DescribePackageAsJson(const Formats::ZipArchive& archive, const Formats::PatchConfig& config);
} // namespace ORVX::Tvpk

#endif
