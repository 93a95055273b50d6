#include "diff/difference_maker.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_result.h"
#include "diff/mapped_file.h"
#include "diff/own_difference.h"
#include "diff/plain_encoder.h"
#include "handles/file_error.h"

namespace ORVX::Difference {
namespace {
// A file that goes away with its owner.
class ScratchFile {
public:
    explicit ScratchFile(std::string path) : path_(std::move(path)) {}
    ~ScratchFile() { unlink(path_.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// A device or a directory is not replaced.
bool MayReplace(const std::string& path, std::string& error)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) {
        return true;
    }
    error = "cannot write " + path + ": it is no regular file";
    return false;
}

bool WriteWhole(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    return file.good();
}

// The difference is where it belongs, and the device will make the new file from it.
bool WriteVerified(const std::string& difference, const DifferencePaths& paths, ByteView fresh,
                   const std::function<void()>& beforeMove, std::string& error)
{
    const auto names = ScratchFilesOf(paths);
    const ScratchFile written(names[0]);
    const ScratchFile outcome(names[1]);
    if (!WriteWhole(written.Path(), difference)) {
        error = Handles::CannotWrite(paths.difference, errno);
        return false;
    }
    const DifferenceResult result = ApplyDifference(written.Path(), paths.old, outcome.Path());
    const std::optional<MappedFile> made = MappedFile::Open(outcome.Path());
    const bool isRight = result == DIFFERENCE_OK && made.has_value() && made->View().size == fresh.size &&
                         (fresh.size == 0 || std::memcmp(made->View().data, fresh.data, fresh.size) == 0);
    if (result == DIFFERENCE_NO_ROOM) {
        error = Handles::CannotWrite(paths.difference, ENOSPC);
        return false;
    }
    if (!isRight) {
        error = "the difference does not bring forth the new file: " + DifferenceResultText(result);
        return false;
    }
    if (beforeMove) {
        beforeMove();
    }
    if (std::rename(written.Path().c_str(), paths.difference.c_str()) != 0) {
        error = Handles::CannotWrite(paths.difference, errno);
        return false;
    }
    return true;
}

void DescribeOwn(const OwnDifference& own, DifferenceReport& report)
{
    DifferenceHeader header;
    ReadDifferenceFields({reinterpret_cast<const uint8_t*>(own.bytes.data()), own.bytes.size()}, header);
    report.kind = own.entries != 0 ? DifferenceKind::ARCHIVE : DifferenceKind::BYTES;
    report.differenceSize = own.bytes.size();
    report.entries = own.entries;
    report.version = header.version;
    report.window = header.windowSize;
}

struct Made {
    std::optional<OwnDifference> own;
    std::optional<std::string> plain; // the smaller one of two
    bool isOwnMissing = false;        // it could not be made
};

Made MakeKinds(ByteView old, ByteView fresh, const DifferenceOptions& options, StepProgress& progress)
{
    auto direct = std::async(std::launch::async, [&] { return MakePlainDifference(old, fresh, PlainWay::DIRECT); });
    Made made;
    if (!options.isPlainOnly) {
        made.own = MakeOwnDifference({old, fresh, options.version, options.window}, progress);
        made.isOwnMissing = !made.own.has_value();
    }
    progress.Tell("compress", 0, fresh.size);
    made.plain = direct.get();
    // The two are nearly alike: where ours is far ahead, the second one would not change that.
    if (!made.own.has_value() || !made.plain.has_value() || made.own->bytes.size() > made.plain->size() / 2) {
        std::optional<std::string> byWorker = MakePlainDifference(old, fresh, PlainWay::WORKER);
        if (byWorker.has_value() && (!made.plain.has_value() || byWorker->size() < made.plain->size())) {
            made.plain = std::move(byWorker);
        }
    }
    progress.Tell("compress", fresh.size, fresh.size);
    return made;
}

// The smaller kind; the plain one also when ours failed or did not stand the proof, which the report tells then.
bool HandOut(const Made& made, const DifferencePaths& paths, ByteView fresh, const DifferenceOptions& options,
             DifferenceReport& report, std::string& error)
{
    report.failure = made.isOwnMissing ? "a library failed" : "";
    if (made.own.has_value() && made.own->bytes.size() < made.plain->size()) {
        if (WriteVerified(made.own->bytes, paths, fresh, options.beforeMove, error)) {
            DescribeOwn(*made.own, report);
            return true;
        }
        report.failure = error;
    }
    report.kind = DifferenceKind::PLAIN;
    report.differenceSize = made.plain->size();
    return WriteVerified(*made.plain, paths, fresh, options.beforeMove, error);
}
} // namespace

const char* DifferenceKindName(DifferenceKind kind)
{
    return kind == DifferenceKind::ARCHIVE ? "archive" : kind == DifferenceKind::BYTES ? "bytes" : "plain";
}

std::vector<std::string> ScratchFilesOf(const DifferencePaths& paths)
{
    const std::string start = paths.difference + "." + std::to_string(getpid());
    return {start + ".part", start + ".outcome"};
}

bool MakeDifference(const DifferencePaths& paths, const DifferenceOptions& options, DifferenceReport& report,
                    std::string& error)
{
    const std::optional<MappedFile> old = MappedFile::Open(paths.old);
    const std::optional<MappedFile> fresh = MappedFile::Open(paths.fresh);
    if (!old.has_value() || !fresh.has_value()) {
        error = Handles::CannotRead(old.has_value() ? paths.fresh : paths.old);
        return false;
    }
    if (std::max(old->View().size, fresh->View().size) > DIFFERENCE_OUTPUT_SIZE_MAX) {
        error = "a file of 2 GiB or more cannot be differenced";
        return false;
    }
    if (!MayReplace(paths.difference, error)) {
        return false;
    }
    StepProgress progress(options.progress);
    const Made made = MakeKinds(old->View(), fresh->View(), options, progress);
    if (!made.plain.has_value()) {
        error = "zstd could not make a difference";
        return false;
    }
    const uint64_t size = fresh->View().size;
    report.oldSize = old->View().size;
    report.newSize = size;
    report.plainSize = made.plain->size();
    progress.Tell("verify", 0, size);
    if (!HandOut(made, paths, fresh->View(), options, report, error)) {
        return false;
    }
    progress.Tell("verify", size, size);
    return true;
}
} // namespace ORVX::Difference
