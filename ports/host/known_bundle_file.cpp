#include "ports/host/known_bundle_file.h"

#include <filesystem>

#include "ports/host/cache_file.h"

namespace ORVX::TavomendHost {
using Formats::BundleManifest;
using Formats::KnownMembers;

namespace {
// No name of a bundle or module has an "@" in it.
std::string KnownMembersPath(const std::string& bundleName, const std::string& module)
{
    return std::string(KNOWN_MEMBERS_DIR) + "/" + bundleName + "@" + module;
}

std::optional<BundleManifest> Read(const std::string& path, const Formats::ByteTaker& take, std::string& error)
{
    KnownMembers known;
    std::string knownPath;
    std::string former;
    auto manifest = Formats::BundleFile::Read(path, error, [&](const BundleManifest& announced) {
        knownPath = KnownMembersPath(announced.bundleName, announced.module);
        former = ReadCacheFile(knownPath);
        known = KnownMembers(former);
        return Formats::BundleFile::Company{&known, take};
    });
    const std::string noted = manifest ? known.Print() : "";
    if (!noted.empty() && noted != former) {
        std::error_code ignored;
        std::filesystem::create_directory(KNOWN_MEMBERS_DIR, ignored);
        WriteCacheFile(knownPath, noted);
    }
    return manifest;
}
} // namespace

std::optional<BundleManifest> ReadBundleFile(const std::string& path, std::string& error)
{
    return Read(path, nullptr, error);
}

std::optional<BundleManifest> StageBundleFile(const std::string& path, StagedFiles& staged, std::string& error)
{
    return Read(path, staged.CopyOf(path), error);
}

void ForgetBundleFiles(const InstalledBundle& bundle)
{
    for (const auto& module : bundle.modules) {
        RemoveCacheFile(KnownMembersPath(bundle.bundleName, module.first));
    }
}
} // namespace ORVX::TavomendHost
