#include "apps/tvpk/release_judge.h"

#include <algorithm>
#include <climits>
#include <set>

#include "formats/device_paths.h"
#include "formats/patch_paths.h"
#include "formats/status_words.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
using Formats::AppInfo;
using Formats::BundleFile;
using Formats::PackageInfo;
using TavomendEngine::FileUtils;

namespace {

std::string FileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// Records, lists and paths of a device have one thing a line.
bool HasControl(const std::string& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char letter) { return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f'; });
}

bool CheckBase(const std::string& base, std::string& error)
{
    const std::string name = FileNameOf(base);
    if (!FileUtils::IsValidPath(base)) {
        error = "\"" + base + "\" is no absolute path of a device";
    } else if (HasControl(base)) {
        error = "\"" + base + "\" has a control character in it";
    } else if (name.rfind('.') == std::string::npos || name.rfind('.') == 0) {
        error = "\"" + base + "\" has no name with a \".\" in it, which the device needs to name the rebuilt file";
    }
    return error.empty();
}

bool CheckProducts(const std::vector<std::string>& texts, const char* key, std::string& error)
{
    for (const auto& text : texts) {
        if (text.empty() || HasControl(text)) {
            error = std::string("\"products\": a \"") + key + "\" " +
                    (text.empty() ? "is empty" : "has a control character in it");
            return false;
        }
    }
    return true;
}
} // namespace

bool ReleaseJudge::CheckWords(std::string& error) const
{
    if (release_.version.empty() || release_.version == Formats::NO_PATCH_VERSION) {
        error = "\"version\" is empty or \"patch00\", which means a device without a patch";
    } else if (HasControl(release_.version) || HasControl(release_.preVersion)) {
        error = "\"version\" or \"preVersion\" has a control character in it";
    } else if (release_.models.empty()) {
        error = "\"products\" names no device";
    } else if (release_.isRevoke && !release_.apps.empty()) {
        error = "a revoke names no applications: those of the patch in force are meant";
    } else if (!release_.isRevoke && release_.apps.empty()) {
        error = "\"apps\" names no application";
    }
    return error.empty() && CheckProducts(release_.models, "model", error) &&
           CheckProducts(release_.baseVersions, "baseVersion", error) &&
           std::all_of(release_.apps.begin(), release_.apps.end(),
                       [&error](const auto& app) { return CheckApp(app, error); });
}

bool ReleaseJudge::CheckApp(const ReleaseApp& app, std::string& error)
{
    if (app.patch != Formats::PATCH_TYPE_HOT && app.patch != Formats::PATCH_TYPE_COLD) {
        error = "\"patch\" is neither \"hot\" nor \"cold\" but \"" + app.patch + "\"";
    } else if (app.type != Formats::APP_TYPE_INTERNAL && app.type != Formats::APP_TYPE_SERVICE_FWK) {
        error = "\"type\" is neither \"internal\" nor \"appServiceFwk\" but \"" + app.type + "\"";
    } else if (app.files.empty()) {
        error = "an application has no files";
    }
    return error.empty() && std::all_of(app.files.begin(), app.files.end(),
                                        [&error](const auto& file) { return CheckBase(file.base, error); });
}

bool ReleaseJudge::Describe(const std::function<void()>& onFile, PackageInfo& config, std::string& error) const
{
    config.version = release_.version;
    config.preVersion = release_.preVersion;
    config.productModel = release_.models;
    config.productVersion = release_.baseVersions;
    config.action = release_.isRevoke ? Formats::ACTION_REVOKE : Formats::ACTION_ENABLE;
    config.dataKept = release_.dataKept;
    config.needReboot = release_.needReboot;
    std::set<std::string> names;
    uint64_t space = 0;
    for (const auto& app : release_.apps) {
        onFile();
        AppInfo described;
        if (!DescribeApp(app, described, error)) {
            return false;
        }
        if (!names.insert(described.bundleName).second) {
            error = described.bundleName + " is named twice";
            return false;
        }
        for (const auto& file : app.files) {
            space += static_cast<uint64_t>(FileUtils::GetFileSize(file.newPath, FileUtils::Unit::KIB));
        }
        config.appsList.push_back(std::move(described));
    }
    config.appsSize = static_cast<int32_t>(config.appsList.size());
    if (space > INT_MAX) {
        error = "the applications are too large for one package";
        return false;
    }
    config.space = std::max(1, static_cast<int>(space));
    std::vector<std::string> problems;
    if (!Formats::ParsePatchConfig(Formats::WritePatchConfig(config), problems)) {
        error = problems.front();
    }
    return problems.empty();
}

bool ReleaseJudge::DescribeApp(const ReleaseApp& app, AppInfo& config, std::string& error)
{
    Sides sides;
    if (!ReadSides(app, sides, error) || !CheckSides(app, sides, error)) {
        return false;
    }
    config.appPatchType = app.patch;
    config.appType = app.type;
    config.bundleName = sides.after.manifest.bundleName;
    config.version = sides.after.manifest.versionCode;
    config.preVersion = sides.before.manifest.versionCode;
    return AddPaths(app, config, error);
}

bool ReleaseJudge::ReadSides(const ReleaseApp& app, Sides& sides, std::string& error)
{
    for (const auto& file : app.files) {
        const auto before = BundleFile::Read(file.oldPath, error);
        const auto after = before ? BundleFile::Read(file.newPath, error) : std::nullopt;
        if (!after) {
            return false;
        }
        if (before->bundleName != after->bundleName) {
            error = file.oldPath + " is " + before->bundleName + ", " + file.newPath + " is " + after->bundleName;
            return false;
        }
        if (FileUtils::GetFileSize(file.newPath, FileUtils::Unit::BYTE) > INT_MAX) {
            error = file.newPath + " is 2 GiB or more";
            return false;
        }
        if (!sides.before.Add(file.oldPath, *before, error) || !sides.after.Add(file.newPath, *after, error)) {
            return false;
        }
    }
    return sides.after.HasModulesOf(sides.before.modules, error);
}

bool ReleaseJudge::CheckSides(const ReleaseApp& app, const Sides& sides, std::string& error)
{
    const auto& before = sides.before.manifest;
    const auto& after = sides.after.manifest;
    const std::string where = after.bundleName + ": ";
    const bool isHot = app.patch == Formats::PATCH_TYPE_HOT;
    const bool isFwk = app.type == Formats::APP_TYPE_SERVICE_FWK;
    if (after.versionCode <= before.versionCode) {
        error = where + "version " + std::to_string(after.versionCode) + " is not above version " +
                std::to_string(before.versionCode);
    } else if (after.singleton != before.singleton) {
        error = where + "\"singleton\" differs between the old and the new files; an update cannot change it";
    } else if (after.bundleType != before.bundleType) {
        error = where + "\"bundleType\" differs between the old and the new files; an update cannot change it";
    } else if (isHot && isFwk) {
        error = where + "a service framework can be patched cold only";
    } else if (isFwk != (after.bundleType == Formats::BUNDLE_TYPE_SERVICE_FWK)) {
        error = where + "its files are of the bundle type \"" + after.bundleType + "\", which is not of the type \"" +
                app.type + "\"";
    } else if (isHot && (before.keepAlive || after.keepAlive)) {
        error = where + "a keep-alive application is never installed hot; patch it cold";
    }
    return error.empty();
}

bool ReleaseJudge::AddPaths(const ReleaseApp& app, AppInfo& config, std::string& error)
{
    std::set<std::string> products;
    for (const auto& file : app.files) {
        config.basePaths.push_back(file.base);
        config.diffPaths.push_back("/" + config.bundleName + "/" + FileNameOf(file.base));
        if (!products.insert(Formats::ProductPathOf(config, config.diffPaths.size() - 1)).second) {
            error = config.bundleName + ": two files would be rebuilt as " + FileNameOf(file.base);
            return false;
        }
    }
    config.fileNum = static_cast<int32_t>(config.basePaths.size());
    config.appsHashs.resize(config.basePaths.size());
    return true;
}

std::vector<std::string> ReleaseJudge::NotesOn(const PackageInfo& config)
{
    std::vector<std::string> notes;
    const std::string installed = std::string(Formats::INSTALLED_APP_DIR) + "/";
    for (const auto& app : config.appsList) {
        const auto isInstalled = [&installed](const auto& base) { return base.rfind(installed, 0) == 0; };
        const auto base = std::find_if(app.basePaths.begin(), app.basePaths.end(), isInstalled);
        if (base != app.basePaths.end()) {
            notes.push_back(app.bundleName + " is patched from " + *base +
                            ": a revoke takes it back to its factory version, not to version " +
                            std::to_string(app.preVersion) + ", and is reported as failed");
        }
    }
    return notes;
}
} // namespace ORVX::Tvpk
