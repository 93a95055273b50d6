// Looks into a patch package, for people and scripts.
#ifndef TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H
#define TAVOMEND_APPS_TVPK_PACKAGE_INSPECTOR_H

#include <optional>
#include <string>
#include <vector>

#include "apps/common/package_archive.h"
#include "apps/common/patch_config.h"

namespace ORVX::Tvpk {
// The configuration of a package; nothing when it cannot be read, with every reason in `problems`.
[[nodiscard]] std::optional<PackageFile::PatchConfig> ReadPackageConfig(const PackageFile::PackageArchive& archive,
                                                                        std::vector<std::string>& problems);
// Every problem of a package and its signature; none when a device with that key takes it.
[[nodiscard]] std::vector<std::string> VerifyPackage(const std::string& package, const std::string& signature,
                                                     const std::string& publicKey);
[[nodiscard]] std::string DescribePackage(const PackageFile::PackageArchive& archive,
                                          const PackageFile::PatchConfig& config);
// The same as JSON text.
[[nodiscard]] std::string DescribePackageAsJson(const PackageFile::PackageArchive& archive,
                                                const PackageFile::PatchConfig& config);
} // namespace ORVX::Tvpk

#endif
