#include "apps/tvpk/package_maker.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "diff/difference_maker.h"
#include "formats/bundle_file.h"
#include "formats/device_paths.h"
#include "formats/patch_paths.h"
#include "formats/signature.h"
#include "formats/status_words.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
namespace fs = std::filesystem;
using Formats::AppInfo;
using Formats::BundleFile;
using Formats::BundleManifest;
using Formats::PackageInfo;
using TavomendEngine::FileUtils;

namespace {
constexpr uint64_t KIB = 1024;
constexpr int STORED = 0;

std::string FileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// The work beside the output; removed with everything in it unless the package was moved out.
class WorkDir {
public:
    explicit WorkDir(const std::string& outDir)
        : path_(outDir + "/.tvpk-XXXXXX"), isMade_(FileUtils::MakeDirs(outDir) && mkdtemp(path_.data()) != nullptr)
    {
    }
    ~WorkDir()
    {
        if (isMade_) {
            FileUtils::CleanDir(path_, true);
        }
    }
    WorkDir(const WorkDir&) = delete;
    WorkDir& operator=(const WorkDir&) = delete;
    [[nodiscard]] bool IsMade() const { return isMade_; }
    [[nodiscard]] const std::string& Path() const { return path_; }

private:
    std::string path_;
    const bool isMade_;
};

bool CheckBase(const std::string& base, std::string& error)
{
    const std::string name = FileNameOf(base);
    if (!FileUtils::IsValidPath(base)) {
        error = "\"" + base + "\" is no absolute path of a device";
    } else if (name.rfind('.') == std::string::npos || name.rfind('.') == 0) {
        error = "\"" + base + "\" has no name with a \".\" in it, which the device needs to name the rebuilt file";
    }
    return error.empty();
}

// Both sides of one file, which must be the same application.
bool ReadSides(const ReleaseFile& file, BundleManifest& before, BundleManifest& after, std::string& error)
{
    const auto oldManifest = BundleFile::Read(file.oldPath, error);
    const auto newManifest = oldManifest ? BundleFile::Read(file.newPath, error) : std::nullopt;
    if (!newManifest) {
        return false;
    }
    if (oldManifest->bundleName != newManifest->bundleName) {
        error =
            file.oldPath + " is " + oldManifest->bundleName + ", " + file.newPath + " is " + newManifest->bundleName;
        return false;
    }
    if (FileUtils::GetFileSize(file.newPath, FileUtils::Unit::BYTE) > INT_MAX) {
        error = file.newPath + " is 2 GiB or more";
        return false;
    }
    before = *oldManifest;
    after = *newManifest;
    return true;
}

// Both sides against the application that the first file has named.
bool CheckSides(const AppInfo& app, const ReleaseFile& file, const BundleManifest& before, const BundleManifest& after,
                std::string& error)
{
    const std::string& name = app.bundleName;
    const bool isHot = app.appPatchType == Formats::PATCH_TYPE_HOT;
    if (after.bundleName != name) {
        error = file.newPath + " is " + after.bundleName + ", not " + name;
    } else if (after.versionCode != app.version || before.versionCode != app.preVersion) {
        error = "the files of " + name + " have different version codes";
    } else if (after.versionCode <= before.versionCode) {
        error = name + ": version " + std::to_string(after.versionCode) + " is not above version " +
                std::to_string(before.versionCode);
    } else if (isHot && app.appType != Formats::APP_TYPE_INTERNAL) {
        error = name + ": a service framework can be patched cold only";
    } else if (isHot && (before.keepAlive || after.keepAlive)) {
        error = name + ": a keep-alive application is never installed hot; patch it cold";
    }
    return error.empty();
}
} // namespace

PackageMaker::PackageMaker(const Release& release, bool isPlainOnly, Progress progress)
    : release_(release), isPlainOnly_(isPlainOnly), progress_(std::move(progress))
{
}

bool PackageMaker::Make(const std::string& privateKeyPath, const std::string& outDir, MadePackage& made,
                        std::string& error)
{
    if (!CheckRelease(error)) {
        return false;
    }
    PackageInfo& config = made.config;
    config.version = release_.version;
    config.preVersion = release_.preVersion;
    config.productModel = release_.models;
    config.productVersion = release_.baseVersions;
    config.action = release_.isRevoke ? Formats::ACTION_REVOKE : Formats::ACTION_ENABLE;
    config.dataKept = release_.dataKept;
    config.needReboot = release_.needReboot;
    std::set<std::string> names;
    for (const auto& app : release_.apps) {
        AppInfo described;
        if (!DescribeApp(app, described, error)) {
            return false;
        }
        if (!names.insert(described.bundleName).second) {
            error = described.bundleName + " is named twice";
            return false;
        }
        config.appsList.push_back(std::move(described));
    }
    config.appsSize = static_cast<int32_t>(config.appsList.size());
    const WorkDir work(outDir);
    if (!work.IsMade()) {
        error = "cannot write to " + outDir;
        return false;
    }
    const std::string package = work.Path() + "/" + PACKAGE_NAME;
    const std::string signature = work.Path() + "/" + SIGNATURE_NAME;
    if (!AddFiles(work.Path(), made, error) || !WritePackage(work.Path(), made, error) ||
        !Formats::SignFile(package, privateKeyPath, signature, error) ||
        !Formats::VerifyFile(package, signature, privateKeyPath, error)) {
        return false;
    }
    made.packageSize = static_cast<uint64_t>(FileUtils::GetFileSize(package, FileUtils::Unit::BYTE));
    std::error_code failure;
    fs::remove(outDir + "/" + SIGNATURE_NAME, failure); // never an old signature beside a new package
    fs::rename(package, outDir + "/" + PACKAGE_NAME, failure);
    if (!failure) {
        fs::rename(signature, outDir + "/" + SIGNATURE_NAME, failure);
    }
    if (failure) {
        error = "cannot write to " + outDir + ": " + failure.message();
    }
    return !failure;
}

bool PackageMaker::CheckRelease(std::string& error) const
{
    if (release_.version.empty() || release_.version == Formats::NO_PATCH_VERSION) {
        error = "\"version\" is empty or \"patch00\", which means a device without a patch";
    } else if (release_.models.empty()) {
        error = "\"products\" names no device";
    } else if (release_.isRevoke && !release_.apps.empty()) {
        error = "a revoke names no applications: those of the patch in force are meant";
    } else if (!release_.isRevoke && release_.apps.empty()) {
        error = "\"apps\" names no application";
    }
    return error.empty();
}

bool PackageMaker::DescribeApp(const ReleaseApp& app, AppInfo& config, std::string& error) const
{
    if (app.patch != Formats::PATCH_TYPE_HOT && app.patch != Formats::PATCH_TYPE_COLD) {
        error = "\"patch\" is neither \"hot\" nor \"cold\" but \"" + app.patch + "\"";
        return false;
    }
    if (app.type != Formats::APP_TYPE_INTERNAL && app.type != Formats::APP_TYPE_SERVICE_FWK) {
        error = "\"type\" is neither \"internal\" nor \"appServiceFwk\" but \"" + app.type + "\"";
        return false;
    }
    if (app.files.empty()) {
        error = "an application has no files";
        return false;
    }
    config.appPatchType = app.patch;
    config.appType = app.type;
    std::set<std::string> products;
    for (const auto& file : app.files) {
        BundleManifest before;
        BundleManifest after;
        if (!CheckBase(file.base, error) || !ReadSides(file, before, after, error)) {
            return false;
        }
        if (config.basePaths.empty()) {
            config.bundleName = after.bundleName;
            config.version = after.versionCode;
            config.preVersion = before.versionCode;
        }
        if (!CheckSides(config, file, before, after, error)) {
            return false;
        }
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

bool PackageMaker::AddFiles(const std::string& workDir, MadePackage& made, std::string& error) const
{
    uint64_t space = 0;
    for (size_t i = 0; i < release_.apps.size(); ++i) {
        AppInfo& app = made.config.appsList[i];
        for (size_t k = 0; k < app.diffPaths.size(); ++k) {
            MadeFile file;
            file.bundleName = app.bundleName;
            file.member = app.diffPaths[k].substr(1);
            if (!MakeFile(release_.apps[i].files[k], workDir, file, error)) {
                return false;
            }
            app.diffPaths[k] = "/" + file.member;
            app.appsHashs[k] = file.hash;
            space += (file.newSize + KIB - 1) / KIB;
            made.files.push_back(std::move(file));
        }
    }
    if (space > INT_MAX) {
        error = "the applications are too large for one package";
        return false;
    }
    made.config.space = std::max(1, static_cast<int>(space));
    return true;
}

bool PackageMaker::MakeFile(const ReleaseFile& source, const std::string& workDir, MadeFile& made,
                            std::string& error) const
{
    made.hash = Formats::Sha256OfFile(source.newPath, error);
    if (made.hash.empty()) {
        return false;
    }
    const std::string shipped = workDir + "/" + made.member;
    if (!FileUtils::MakeDirs(shipped.substr(0, shipped.rfind('/')))) {
        error = "cannot write to " + workDir;
        return false;
    }
    made.newSize = static_cast<uint64_t>(FileUtils::GetFileSize(source.newPath, FileUtils::Unit::BYTE));
    bool isWhole = source.isWhole;
    if (!isWhole) {
        progress_("making the difference for " + FileNameOf(source.base) + " of " + made.bundleName);
        Difference::DifferenceReport report;
        Difference::DifferenceOptions options;
        options.isPlainOnly = isPlainOnly_;
        if (!Difference::MakeDifference({source.oldPath, source.newPath, shipped + Formats::DIFF_SUFFIX}, options,
                                        report, error)) {
            return false;
        }
        isWhole = report.differenceSize >= made.newSize; // then a difference costs and gains nothing
        made.kind = Difference::DifferenceKindName(report.kind);
        made.shippedSize = report.differenceSize;
    }
    if (!isWhole) {
        made.member += Formats::DIFF_SUFFIX;
        return true;
    }
    made.kind = "whole";
    made.shippedSize = made.newSize;
    if (!FileUtils::ReplaceFileByCopy(source.newPath, shipped, 0644)) {
        error = "cannot write " + shipped;
        return false;
    }
    return true;
}

bool PackageMaker::WritePackage(const std::string& workDir, const MadePackage& made, std::string& error) const
{
    const std::string text = Formats::WritePatchConfig(made.config);
    std::vector<std::string> problems;
    if (!Formats::ParsePatchConfig(text, problems)) {
        error = problems.front();
        return false;
    }
    const std::string path = workDir + "/" + PACKAGE_NAME;
    Formats::ZipWriter writer(path);
    if (!writer.Add(Formats::CONFIG_MEMBER_NAME, text, 9, error)) {
        return false;
    }
    for (const auto& file : made.files) {
        if (!writer.AddFile(file.member, workDir + "/" + file.member, STORED, error)) {
            return false;
        }
    }
    if (!writer.Close(error)) {
        return false;
    }
    const auto archive = Formats::ZipArchive::Open(path, error);
    return archive && archive->CheckWhole(error);
}
} // namespace ORVX::Tvpk
