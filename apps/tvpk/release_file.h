// The release file: what a maker says about a package. docs/package-format.md tells its format.
#ifndef TAVOMEND_APPS_TVPK_RELEASE_FILE_H
#define TAVOMEND_APPS_TVPK_RELEASE_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "diff/difference_limits.h"

namespace ORVX::Tvpk {
struct ReleaseFile {
    std::string base;    // installed file on the device
    std::string oldPath; // the maker's copy of it
    std::string newPath;
    bool isWhole = false; // ship the new file instead of a difference
};

struct ReleaseApp {
    std::string patch; // "hot" or "cold"
    std::string type = "internal";
    std::vector<ReleaseFile> files;
};

struct Release {
    std::string version;
    std::string preVersion = "patch00";
    std::vector<std::string> models;
    std::vector<std::string> baseVersions; // parallel to models
    bool isRevoke = false;
    bool dataKept = true;
    bool needReboot = false;
    // What the devices read and give at most for each difference.
    int format = Difference::DIFFERENCE_VERSION_MAX;
    int window = static_cast<int>(Difference::DIFFERENCE_WINDOW_USUAL >> 20); // MiB
    std::vector<ReleaseApp> apps;
};

// Paths of bundle files are taken from the release file's folder on; whether they exist is not looked at. Nothing on
// failure, with one line that says what is wrong and where, the first mistake only; an unknown key is an error, it is a
// typing mistake more often than not.
[[nodiscard]] std::optional<Release> ReadReleaseFile(const std::string& path, std::string& error);
} // namespace ORVX::Tvpk

#endif
