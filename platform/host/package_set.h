// The package files of one application, as the bundle service judges them.
#ifndef TAVOMEND_PLATFORM_HOST_PACKAGE_SET_H
#define TAVOMEND_PLATFORM_HOST_PACKAGE_SET_H

#include <map>
#include <string>
#include <vector>

#include "platform/host/bundle_store.h"
#include "platform/host/install_result.h"
#include "platform/host/package_reader.h"

namespace ORVX::TavomendHost {
struct PackageSet {
    PackageManifest manifest;                   // of the first file; what the set shares
    std::map<std::string, std::string> modules; // module to file
};

// Reads every file and puts them together; a refusal's message names the file.
[[nodiscard]] InstallResult ReadPackageSet(const std::vector<std::string>& paths, PackageSet& set,
                                           std::string& message);
// Adds one file that has been read already.
[[nodiscard]] InstallResult AddToPackageSet(const std::string& path, const PackageManifest& manifest, PackageSet& set,
                                            std::string& message);
// An update brings every module that is installed, and no older version.
[[nodiscard]] InstallResult CheckUpdate(const PackageSet& set, const StoredBundle& installed, std::string& message);
// What the store keeps of an installed set.
[[nodiscard]] StoredBundle MakeStoredBundle(const PackageSet& set);
} // namespace ORVX::TavomendHost

#endif
