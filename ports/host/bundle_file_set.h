// The bundle files of one application, as the bundle service judges them.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_FILE_SET_H
#define TAVOMEND_PORTS_HOST_BUNDLE_FILE_SET_H

#include <string>
#include <vector>

#include "formats/bundle_file_set.h"
#include "ports/host/bundle_store.h"
#include "ports/host/install_result.h"
#include "ports/host/staged_files.h"

namespace ORVX::TavomendHost {
// Used by the installer, the boot scan and whoever makes the store anew.
using Formats::BundleFileSet;

// INSTALL_OK, or a verdict whose `message` for people names the file or the module; from any thread.

// Reads every file and puts them together, in a set that is empty before. After a refusal the set holds what came
// before the refused file.
[[nodiscard]] InstallResult ReadBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set,
                                              std::string& message);
// The same; each file is copied as it is read.
[[nodiscard]] InstallResult StageBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set,
                                               StagedFiles& staged, std::string& message);
// Adds one file that has been read already: of the same bundle, version and flags, and of a module that the set does
// not have yet. A refused file leaves the set as it was.
[[nodiscard]] InstallResult AddToBundleFileSet(const std::string& path, const Formats::BundleManifest& manifest,
                                               BundleFileSet& set, std::string& message);
// An update brings every module that is installed, and no older version.
[[nodiscard]] InstallResult CheckUpdate(const BundleFileSet& set, const InstalledBundle& installed,
                                        std::string& message);
// What the store keeps of an installed set; users and factory version are the caller's to fill in.
[[nodiscard]] InstalledBundle MakeInstalledBundle(const BundleFileSet& set);
} // namespace ORVX::TavomendHost

#endif
