#include "formats/bundle_file_set.h"

namespace ORVX::Formats {
namespace {
bool BelongTogether(const BundleManifest& one, const BundleManifest& other)
{
    return one.bundleName == other.bundleName && one.versionCode == other.versionCode &&
           one.keepAlive == other.keepAlive && one.singleton == other.singleton && one.bundleType == other.bundleType;
}
} // namespace

bool BundleFileSet::Add(const std::string& path, const BundleManifest& added, std::string& message)
{
    if (modules.empty()) {
        manifest = added;
    } else if (!BelongTogether(manifest, added)) {
        message =
            path + " does not belong to " + manifest.bundleName + " version " + std::to_string(manifest.versionCode);
        return false;
    }
    if (!modules.emplace(added.module, path).second) {
        message = path + " is a second file of module " + added.module;
        return false;
    }
    return true;
}

bool BundleFileSet::HasModulesOf(const std::map<std::string, std::string>& installed, std::string& message) const
{
    for (const auto& module : installed) {
        if (modules.count(module.first) == 0) {
            message = "module " + module.first + " of " + manifest.bundleName + " is missing from the files";
            return false;
        }
    }
    return true;
}
} // namespace ORVX::Formats
