// Looks into a patch package, for people and scripts. Nothing here asks a device.
#ifndef TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H
#define TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "formats/patch_config.h"
#include "formats/zip_archive.h"

namespace ORVX::Tvpk {
// The configuration of a package; nothing when it cannot be read, with every reason in `problems`.
[[nodiscard]] std::optional<Formats::PackageInfo> ReadPackageConfig(const Formats::ZipArchive& archive,
                                                                    std::vector<std::string>& problems);
// Every problem of a package and its signature; none when a device with that key takes it.
[[nodiscard]] std::vector<std::string> VerifyPackage(const std::string& package, const std::string& signature,
                                                     const std::string& publicKey);
// For people: what it is for, and a line for each file; a file that the archive lacks is "missing".
[[nodiscard]] std::string DescribePackage(const Formats::ZipArchive& archive, const Formats::PackageInfo& config);
// The same for scripts: the configuration in the words of a release file, and the archive's members.
[[nodiscard]] nlohmann::ordered_json DescribePackageAsJson(const Formats::ZipArchive& archive,
                                                           const Formats::PackageInfo& config);
} // namespace ORVX::Tvpk

#endif
