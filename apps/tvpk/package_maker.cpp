#include "apps/tvpk/package_maker.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "diff/difference_maker.h"
#include "formats/bundle_file.h"
#include "formats/signature.h"
#include "formats/status_words.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
namespace fs = std::filesystem;
using Formats::BundleFile;
using Formats::BundleManifest;
using Formats::ConfigApp;
using Formats::ConfigFile;
using Formats::PatchConfig;
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
    explicit WorkDir(const std::string& outDir) : path_(outDir + "/.tvpk-XXXXXX")
    {
        isMade_ = FileUtils::MakeDirs(outDir) && mkdtemp(path_.data()) != nullptr;
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
    bool isMade_ = false;
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
    PatchConfig& config = made.config;
    config.version = release_.version;
    config.preVersion = release_.preVersion;
    config.models = release_.models;
    config.baseVersions = release_.baseVersions;
    config.action = release_.isRevoke ? Formats::ACTION_REVOKE : Formats::ACTION_ENABLE;
    config.dataKept = release_.dataKept;
    config.needReboot = release_.needReboot;
    std::set<std::string> names;
    for (const auto& app : release_.apps) {
        ConfigApp described;
        if (!DescribeApp(app, described, error)) {
            return false;
        }
        if (!names.insert(described.bundleName).second) {
            error = described.bundleName + " is named twice";
            return false;
        }
        config.apps.push_back(std::move(described));
    }
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

bool PackageMaker::DescribeApp(const ReleaseApp& app, ConfigApp& config, std::string& error) const
{
    if (app.patch != "hot" && app.patch != "cold") {
        error = "\"patch\" is neither \"hot\" nor \"cold\" but \"" + app.patch + "\"";
        return false;
    }
    if (app.type != "internal" && app.type != "appServiceFwk") {
        error = "\"type\" is neither \"internal\" nor \"appServiceFwk\" but \"" + app.type + "\"";
        return false;
    }
    if (app.files.empty()) {
        error = "an application has no files";
        return false;
    }
    config.patchType = app.patch;
    config.appType = app.type;
    std::set<std::string> products;
    for (const auto& file : app.files) {
        BundleManifest before;
        BundleManifest after;
        if (!CheckBase(file.base, error) || !ReadSides(file, before, after, error)) {
            return false;
        }
        if (config.files.empty()) {
            config.bundleName = after.bundleName;
            config.version = after.versionCode;
            config.preVersion = before.versionCode;
        }
        const std::string& name = config.bundleName;
        if (after.bundleName != name) {
            error = file.newPath + " is " + after.bundleName + ", not " + name;
        } else if (after.versionCode != config.version || before.versionCode != config.preVersion) {
            error = "the files of " + name + " have different version codes";
        } else if (after.versionCode <= before.versionCode) {
            error = name + ": version " + std::to_string(after.versionCode) + " is not above version " +
                    std::to_string(before.versionCode);
        } else if (app.patch == "hot" && app.type != "internal") {
            error = name + ": a service framework can be patched cold only";
        } else if (app.patch == "hot" && (before.keepAlive || after.keepAlive)) {
            error = name + ": a keep-alive application is never installed hot; patch it cold";
        }
        const ConfigFile entry{file.base, "/" + name + "/" + FileNameOf(file.base), ""};
        if (error.empty() && !products.insert(Formats::ProductPathOf(config, entry)).second) {
            error = name + ": two files would be rebuilt as " + FileNameOf(file.base);
        }
        if (!error.empty()) {
            return false;
        }
        config.files.push_back(entry);
    }
    return true;
}

bool PackageMaker::AddFiles(const std::string& workDir, MadePackage& made, std::string& error) const
{
    uint64_t space = 0;
    for (size_t i = 0; i < release_.apps.size(); ++i) {
        ConfigApp& app = made.config.apps[i];
        for (size_t k = 0; k < app.files.size(); ++k) {
            MadeFile file;
            file.bundleName = app.bundleName;
            if (!MakeFile(release_.apps[i].files[k], workDir, app.files[k], file, error)) {
                return false;
            }
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

bool PackageMaker::MakeFile(const ReleaseFile& source, const std::string& workDir, ConfigFile& file, MadeFile& made,
                            std::string& error) const
{
    file.hash = Formats::Sha256OfFile(source.newPath, error);
    if (file.hash.empty()) {
        return false;
    }
    const std::string shipped = workDir + file.member;
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
        if (!Difference::MakeDifference({source.oldPath, source.newPath, shipped + ".diff"}, options, report, error)) {
            return false;
        }
        isWhole = report.differenceSize >= made.newSize; // then a difference costs and gains nothing
        made.kind = Difference::DifferenceKindName(report.kind);
        made.shippedSize = report.differenceSize;
    }
    if (isWhole) {
        made.kind = "whole";
        made.shippedSize = made.newSize;
        if (!FileUtils::ReplaceFileByCopy(source.newPath, shipped, 0644)) {
            error = "cannot write " + shipped;
            return false;
        }
    } else {
        file.member += ".diff";
    }
    made.member = file.member.substr(1);
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
