// Bundle files as the bundle service reads them: with what it knows of the last one of the same module.
#ifndef TAVOMEND_PORTS_HOST_KNOWN_BUNDLE_FILE_H
#define TAVOMEND_PORTS_HOST_KNOWN_BUNDLE_FILE_H

#include <optional>
#include <string>

#include "formats/bundle_file.h"
#include "ports/host/bundle_store.h"
#include "ports/host/staged_files.h"

namespace ORVX::TavomendHost {
// A cache file for each module of a bundle, BUNDLE@MODULE.
constexpr const char* KNOWN_MEMBERS_DIR = "/data/service/bundles/members";

// Used by the installer and by the boot scan; from any thread.

// What Formats::BundleFile::Read gives. What the file has in common with the one of its bundle and module that was
// whole last is read and not unpacked again; a file that is whole becomes that one.
[[nodiscard]] std::optional<Formats::BundleManifest> ReadBundleFile(const std::string& path, std::string& error);
// The same; the file is copied as it is read.
[[nodiscard]] std::optional<Formats::BundleManifest> StageBundleFile(const std::string& path, StagedFiles& staged,
                                                                     std::string& error);
// Removes what is known of a bundle's files.
void ForgetBundleFiles(const InstalledBundle& bundle);
} // namespace ORVX::TavomendHost

#endif
