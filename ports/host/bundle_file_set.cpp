#include "ports/host/bundle_file_set.h"

#include <functional>
#include <optional>

#include "ports/host/known_bundle_file.h"

namespace ORVX::TavomendHost {
InstallResult AddToBundleFileSet(const std::string& path, const Formats::BundleManifest& manifest, BundleFileSet& set,
                                 std::string& message)
{
    return set.Add(path, manifest, message) ? INSTALL_OK : INSTALL_MIXED_SET;
}

namespace {
using Read = std::function<std::optional<Formats::BundleManifest>(const std::string& path, std::string& message)>;

InstallResult ReadWith(const Read& read, const std::vector<std::string>& paths, BundleFileSet& set,
                       std::string& message)
{
    for (const auto& path : paths) {
        const auto manifest = read(path, message);
        if (!manifest) {
            return INSTALL_BROKEN_BUNDLE_FILE;
        }
        const InstallResult result = AddToBundleFileSet(path, *manifest, set, message);
        if (result != INSTALL_OK) {
            return result;
        }
    }
    return INSTALL_OK;
}
} // namespace

InstallResult ReadBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set, std::string& message)
{
    return ReadWith(ReadBundleFile, paths, set, message);
}

InstallResult StageBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set, StagedFiles& staged,
                                 std::string& message)
{
    const auto read = [&staged](const std::string& path, std::string& why) {
        return StageBundleFile(path, staged, why);
    };
    return ReadWith(read, paths, set, message);
}

InstallResult CheckUpdate(const BundleFileSet& set, const InstalledBundle& installed, std::string& message)
{
    const std::string& name = set.manifest.bundleName;
    if (set.manifest.versionCode < installed.versionCode) {
        message = name + " version " + std::to_string(set.manifest.versionCode) + " is older than the installed " +
                  std::to_string(installed.versionCode);
        return INSTALL_DOWNGRADE;
    }
    return set.HasModulesOf(installed.modules, message) ? INSTALL_OK : INSTALL_INCOMPLETE_SET;
}

InstalledBundle MakeInstalledBundle(const BundleFileSet& set)
{
    InstalledBundle bundle;
    bundle.bundleName = set.manifest.bundleName;
    bundle.versionCode = set.manifest.versionCode;
    bundle.versionName = set.manifest.versionName;
    bundle.keepAlive = set.manifest.keepAlive;
    bundle.singleton = set.manifest.singleton;
    bundle.bundleType = set.manifest.bundleType;
    bundle.modules = set.modules;
    return bundle;
}
} // namespace ORVX::TavomendHost
