#include "apps/tvpk/package_maker.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "apps/tvpk/free_room.h"
#include "apps/tvpk/release_judge.h"
#include "diff/difference_maker.h"
#include "formats/patch_paths.h"
#include "formats/signature.h"
#include "formats/zip_archive.h"
#include "handles/file_error.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
namespace fs = std::filesystem;
using Formats::AppInfo;
using TavomendEngine::FileUtils;

namespace {
constexpr int STORED = 0;
constexpr int REMOVALS_MAX = 100;

std::string FileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// The work beside the output; removed with everything in it, and with the output's directory if that was made for it
// and is empty, also when the program is interrupted.
class WorkDir {
public:
    WorkDir(const std::string& outDir, Interruption& interruption)
        : outDir_(outDir), path_(outDir + "/.tvpk-XXXXXX"), interruption_(interruption),
          isOutMade_(!FileUtils::DirIsExist(outDir)),
          isMade_(FileUtils::MakeDirs(outDir) && mkdtemp(path_.data()) != nullptr), error_(errno)
    {
        interruption_.SetCleanUp([this] { Remove(); });
    }
    ~WorkDir()
    {
        interruption_.SetCleanUp(nullptr);
        Remove();
    }
    WorkDir(const WorkDir&) = delete;
    WorkDir& operator=(const WorkDir&) = delete;
    [[nodiscard]] bool IsMade() const { return isMade_; }
    // errno of a directory that could not be made.
    [[nodiscard]] int Error() const { return error_; }
    [[nodiscard]] const std::string& Path() const { return path_; }

private:
    void Remove() const
    {
        // What is still being written in an interruption may come in between.
        for (int i = 0; isMade_ && i < REMOVALS_MAX && !FileUtils::CleanDir(path_, true); ++i) {
        }
        if (isOutMade_) {
            std::error_code stays;
            fs::remove(outDir_, stays);
        }
    }

    const std::string outDir_;
    std::string path_;
    Interruption& interruption_;
    const bool isOutMade_;
    const bool isMade_;
    const int error_;
};

// Whether a file can be moved to each of the places; known before the work, not after it.
bool CheckPlaces(const std::string& outDir, std::string& error)
{
    for (const char* name : {PACKAGE_NAME, SIGNATURE_NAME}) {
        if (FileUtils::DirIsExist(outDir + "/" + name)) {
            error = Handles::CannotWrite(outDir + "/" + name, EISDIR);
            return false;
        }
    }
    return true;
}

// What the work takes at least, in bytes: whole files are there twice at its end, beside and in the package, and each
// difference is proven by making its new file.
uint64_t LeastRoom(const Release& release)
{
    uint64_t whole = 0;
    uint64_t proven = 0;
    for (const auto& app : release.apps) {
        for (const auto& file : app.files) {
            const auto size = static_cast<uint64_t>(FileUtils::GetFileSize(file.newPath, FileUtils::Unit::BYTE));
            (file.isWhole ? whole : proven) = file.isWhole ? whole + size : std::max(proven, size);
        }
    }
    return whole + std::max(whole, proven);
}

bool MoveOut(const std::string& workDir, const std::string& outDir, std::string& error)
{
    const auto move = [&](const char* name) {
        const bool isMoved = FileUtils::MoveFile(workDir + "/" + name, outDir + "/" + name);
        error = isMoved ? "" : Handles::CannotWrite(outDir + "/" + name, errno);
        return isMoved;
    };
    std::error_code ignored;
    fs::remove(outDir + "/" + SIGNATURE_NAME, ignored); // never an old signature beside a new package
    return move(PACKAGE_NAME) && move(SIGNATURE_NAME);
}

// What is said of a file in the work directory is said of the output's directory, which people know.
std::string InUsersWords(std::string error, const std::string& workDir, const std::string& outDir)
{
    const size_t at = error.find(workDir);
    return at == std::string::npos ? error : error.replace(at, workDir.size(), outDir);
}
} // namespace

PackageMaker::PackageMaker(const Release& release, MakerOptions options, Interruption& interruption)
    : release_(release), options_(std::move(options)), interruption_(interruption)
{
}

bool PackageMaker::Make(const std::string& privateKeyPath, const std::string& outDir, MadePackage& made,
                        std::string& error)
{
    const ReleaseJudge judge(release_);
    if (!judge.CheckWords(error) || !Formats::CheckSigningKey(privateKeyPath, error)) {
        return false;
    }
    const WorkDir work(outDir, interruption_);
    if (!work.IsMade()) {
        error = Handles::CannotWrite(outDir, work.Error());
        return false;
    }
    if (!CheckPlaces(outDir, error) || !judge.Describe([this] { interruption_.Check(); }, made.config, error)) {
        return false;
    }
    error = WhyNoRoom(work.Path(), LeastRoom(release_), outDir);
    if (!error.empty()) {
        return false;
    }
    for (const auto& note : ReleaseJudge::NotesOn(made.config)) {
        options_.note(note);
    }
    if (!MakeIn(work.Path(), privateKeyPath, made, error)) {
        error = InUsersWords(error, work.Path(), outDir);
        return false;
    }
    interruption_.Check();
    return MoveOut(work.Path(), outDir, error);
}

bool PackageMaker::MakeIn(const std::string& workDir, const std::string& privateKeyPath, MadePackage& made,
                          std::string& error) const
{
    const std::string package = workDir + "/" + PACKAGE_NAME;
    const std::string signature = workDir + "/" + SIGNATURE_NAME;
    const bool isDone = AddFiles(workDir, made, error) && WritePackage(workDir, made, error) &&
                        Formats::SignFile(package, privateKeyPath, signature, error) &&
                        Formats::VerifyFile(package, signature, privateKeyPath, error);
    made.packageSize = static_cast<uint64_t>(FileUtils::GetFileSize(package, FileUtils::Unit::BYTE));
    return isDone;
}

bool PackageMaker::AddFiles(const std::string& workDir, MadePackage& made, std::string& error) const
{
    for (size_t i = 0; i < release_.apps.size(); ++i) {
        AppInfo& app = made.config.appsList[i];
        for (size_t k = 0; k < app.diffPaths.size(); ++k) {
            MadeFile file;
            file.bundleName = app.bundleName;
            file.member = app.diffPaths[k].substr(1);
            interruption_.Check();
            if (!MakeFile(release_.apps[i].files[k], workDir, file, error)) {
                return false;
            }
            app.diffPaths[k] = "/" + file.member;
            app.appsHashs[k] = file.hash;
            made.files.push_back(std::move(file));
        }
    }
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
        error = Handles::CannotWrite(shipped, errno);
        return false;
    }
    made.newSize = static_cast<uint64_t>(FileUtils::GetFileSize(source.newPath, FileUtils::Unit::BYTE));
    if (!source.isWhole && !MakeDifference(source, shipped, made, error)) {
        return false;
    }
    if (!source.isWhole && made.shippedSize < made.newSize) {
        made.member += Formats::DIFF_SUFFIX;
        return true;
    }
    // Also where a difference costs and gains nothing.
    made.kind = "whole";
    made.shippedSize = made.newSize;
    if (!FileUtils::ReplaceFileByCopy(source.newPath, shipped, 0644)) {
        error = Handles::CannotWrite(shipped, errno);
        return false;
    }
    return true;
}

bool PackageMaker::MakeDifference(const ReleaseFile& source, const std::string& shipped, MadeFile& made,
                                  std::string& error) const
{
    Difference::DifferenceReport report;
    Difference::DifferenceOptions options;
    options.isPlainOnly = options_.isPlainOnly;
    options_.work.ApplyTo(options);
    options.version = static_cast<uint8_t>(release_.format);
    options.window = static_cast<size_t>(release_.window) << 20;
    const std::string what = FileNameOf(source.base) + " of " + made.bundleName + ": ";
    options.progress = [this, &what](const std::string& step, uint64_t done, uint64_t total) {
        options_.progress(what + step, done, total);
    };
    bool isMade = false;
    interruption_.Allow([&] {
        isMade = Difference::MakeDifference({source.oldPath, source.newPath, shipped + Formats::DIFF_SUFFIX}, options,
                                            report, error);
    });
    if (isMade && !report.failure.empty()) {
        options_.note(what + "only the plain kind could be made: " + report.failure);
    }
    if (isMade && !report.unkept.empty()) {
        options_.note(what + "the difference is not kept: " + report.unkept);
    }
    made.kind = Difference::DifferenceKindName(report.kind);
    made.isCached = options_.work.cacheFolder.empty() ? std::nullopt : std::optional(report.isCached);
    made.shippedSize = report.differenceSize;
    return isMade;
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
        interruption_.Check();
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
