// The bundle files of one application, as whoever installs them judges them.
#ifndef TAVOMEND_FORMATS_BUNDLE_FILE_SET_H
#define TAVOMEND_FORMATS_BUNDLE_FILE_SET_H

#include <map>
#include <string>

#include "formats/bundle_file.h"

namespace ORVX::Formats {
// Used by the bundle service, and by the maker, which refuses what the service would. From any thread. A refusal gives
// one line for people in `message`, which names the file or the module, and leaves the set as it was.
struct BundleFileSet {
    // Adds a file that has been read: of the same bundle, version and flags, and of a module that the set does not have
    // yet.
    [[nodiscard]] bool Add(const std::string& path, const BundleManifest& added, std::string& message);
    // An update brings every module that is installed. installed: module to file.
    [[nodiscard]] bool HasModulesOf(const std::map<std::string, std::string>& installed, std::string& message) const;

    BundleManifest manifest;                    // of the first file; what the set shares
    std::map<std::string, std::string> modules; // module to file
};
} // namespace ORVX::Formats

#endif
