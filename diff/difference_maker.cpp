#include "diff/difference_maker.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_encoder.h"
#include "diff/difference_limits.h"
#include "diff/difference_result.h"
#include "diff/mapped_file.h"
#include "diff/parallel.h"
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

class Maker {
public:
    Maker(ByteView old, ByteView fresh, const DifferenceOptions& options) : old_(old), fresh_(fresh), options_(options)
    {
    }

    // A difference of our own format; entries: how many entries are deflated anew.
    std::optional<std::string> Make(size_t& entries)
    {
        const DifferencePlan plan = MakeDifferencePlan(
            old_, fresh_, options_.window, [this](size_t bytes, size_t total) { Advance("inflate", bytes, total); });
        entries = plan.regions.size() - 1;
        std::vector<Stretches> raw(plan.regions.size());
        std::vector<Stretches> plain(plan.groups.size());
        const uint64_t total = BytesToMatch(plan);
        Tell("match", 0, total); // sorting the old content may take long
        const auto advance = [this, total](size_t bytes) { Advance("match", bytes, total); };
        InParallel(plan.groups.size() + 1, [&](size_t i) {
            // The groups first: they take longest.
            if (i < plan.groups.size()) {
                plain[i] = MatchGroup(plan, plan.groups[i], advance);
            } else {
                MatchRaw(plan, raw, advance);
            }
        });
        Tell("encode", 0, fresh_.size);
        std::optional<std::string> difference = EncodeDifference(old_, fresh_, plan, raw, plain);
        Tell("encode", fresh_.size, fresh_.size);
        return difference;
    }

    void Tell(const char* step, uint64_t done, uint64_t total)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        done_ = done;
        step_ = step;
        if (options_.progress) {
            options_.progress(step_, done_, total);
        }
    }

private:
    void Advance(const char* step, uint64_t bytes, uint64_t total)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        done_ = (step_ == step ? done_ : 0) + bytes;
        step_ = step;
        if (options_.progress) {
            options_.progress(step_, done_, total);
        }
    }

    // Old content is gone through when it is sorted, new content when it is matched.
    uint64_t BytesToMatch(const DifferencePlan& plan) const
    {
        uint64_t total = old_.size;
        for (const Group& group : plan.groups) {
            total += group.oldEnd - group.oldStart + group.newEnd - group.newStart;
        }
        for (const Region& region : plan.regions) {
            total += region.raw.size;
        }
        return total;
    }

    static Stretches MatchGroup(const DifferencePlan& plan, const Group& group, const Matcher::Progress& advance)
    {
        const Matcher matcher({plan.oldPlain.data() + group.oldStart, group.oldEnd - group.oldStart});
        advance(group.oldEnd - group.oldStart);
        Stretches stretches =
            matcher.Match({plan.newPlain.data() + group.newStart, group.newEnd - group.newStart}, advance);
        for (Stretch& stretch : stretches) {
            stretch.oldPosition += group.oldStart;
        }
        return stretches;
    }

    void MatchRaw(const DifferencePlan& plan, std::vector<Stretches>& raw, const Matcher::Progress& advance) const
    {
        const Matcher matcher(old_);
        advance(old_.size);
        InParallel(raw.size(), [&](size_t i) { raw[i] = matcher.Match(plan.regions[i].raw, advance); });
    }

    ByteView old_;
    ByteView fresh_;
    const DifferenceOptions& options_;
    std::mutex mutex_; // over what follows
    std::string step_;
    uint64_t done_ = 0; // of the step
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
    auto plainMade = std::async(std::launch::async, [&] { return MakePlainDifference(old->View(), fresh->View()); });
    Maker maker(old->View(), fresh->View(), options);
    const std::optional<std::string> own = options.isPlainOnly ? std::nullopt : maker.Make(report.entries);
    const uint64_t size = fresh->View().size;
    maker.Tell("compress", 0, size);
    const std::optional<std::string> plain = plainMade.get();
    maker.Tell("compress", size, size);
    if (!plain.has_value()) {
        error = "zstd could not make a difference";
        return false;
    }
    report.oldSize = old->View().size;
    report.newSize = fresh->View().size;
    report.plainSize = plain->size();
    maker.Tell("verify", 0, size);
    const bool isOwnSmaller = own.has_value() && own->size() < plain->size();
    if (isOwnSmaller && WriteVerified(*own, paths, fresh->View(), options.beforeMove, error)) {
        report.kind = report.entries != 0 ? DifferenceKind::ARCHIVE : DifferenceKind::BYTES;
        report.differenceSize = own->size();
    } else {
        // Also when the own kind did not stand the proof.
        report.entries = 0;
        report.kind = DifferenceKind::PLAIN;
        report.differenceSize = plain->size();
        if (!WriteVerified(*plain, paths, fresh->View(), options.beforeMove, error)) {
            return false;
        }
    }
    maker.Tell("verify", size, size);
    return true;
}
} // namespace ORVX::Difference
