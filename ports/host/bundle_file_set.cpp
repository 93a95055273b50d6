#include "ports/host/bundle_file_set.h"

namespace ORVX::TavomendHost {
namespace {
bool BelongTogether(const Formats::BundleManifest& one, const Formats::BundleManifest& other)
{
    return one.bundleName == other.bundleName && one.versionCode == other.versionCode &&
           one.keepAlive == other.keepAlive && one.singleton == other.singleton && one.bundleType == other.bundleType;
}
} // namespace

InstallResult AddToBundleFileSet(const std::string& path, const Formats::BundleManifest& manifest, BundleFileSet& set,
                                 std::string& message)
{
    if (set.modules.empty()) {
        set.manifest = manifest;
    } else if (!BelongTogether(set.manifest, manifest)) {
        message = path + " does not belong to " + set.manifest.bundleName + " version " +
                  std::to_string(set.manifest.versionCode);
        return INSTALL_MIXED_SET;
    }
    if (!set.modules.emplace(manifest.module, path).second) {
        message = path + " is a second file of module " + manifest.module;
        return INSTALL_MIXED_SET;
    }
    return INSTALL_OK;
}

InstallResult ReadBundleFileSet(const std::vector<std::string>& paths, BundleFileSet& set, std::string& message)
{
    for (const auto& path : paths) {
        const auto manifest = Formats::BundleFile::Read(path, message);
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

InstallResult CheckUpdate(const BundleFileSet& set, const InstalledBundle& installed, std::string& message)
{
    const std::string& name = set.manifest.bundleName;
    if (set.manifest.versionCode < installed.versionCode) {
        message = name + " version " + std::to_string(set.manifest.versionCode) + " is older than the installed " +
                  std::to_string(installed.versionCode);
        return INSTALL_DOWNGRADE;
    }
    for (const auto& module : installed.modules) {
        if (set.modules.count(module.first) == 0) {
            message = "module " + module.first + " of " + name + " is missing from the files";
            return INSTALL_INCOMPLETE_SET;
        }
    }
    return INSTALL_OK;
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
