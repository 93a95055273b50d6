// The bundle files of one application, as the bundle service judges them.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_FILE_SET_H
#define TAVOMEND_PORTS_HOST_BUNDLE_FILE_SET_H

#include <map>
#include <string>
#include <vector>

#include "formats/bundle_file.h"
#include "ports/host/bundle_store.h"
#include "ports/host/install_result.h"

namespace ORVX::TavomendHost {
struct BundleFileSet {
    Formats::BundleManifest manifest;           // of the first file; what the set shares
    std::map<std::string, std::string> modules; // module to file
};

// Reads every file and puts them together; a refusal's message names the file.
[[nodiscard]] InstallResult ReadBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set,
                                              std::string& message);
// Adds one file that has been read already.
[[nodiscard]] InstallResult AddToBundleFileSet(const std::string& path, const Formats::BundleManifest& manifest,
                                               BundleFileSet& set, std::string& message);
// An update brings every module that is installed, and no older version.
[[nodiscard]] InstallResult CheckUpdate(const BundleFileSet& set, const InstalledBundle& installed,
                                        std::string& message);
// What the store keeps of an installed set.
[[nodiscard]] InstalledBundle MakeInstalledBundle(const BundleFileSet& set);
} // namespace ORVX::TavomendHost

#endif
