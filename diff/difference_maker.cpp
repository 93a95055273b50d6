#include "diff/difference_maker.h"

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
            old_, fresh_, options_.window, [this](size_t done, size_t total) { Tell("inflate", done, total); });
        entries = plan.regions.size() - 1;
        std::vector<Stretches> raw(plan.regions.size());
        std::vector<Stretches> plain(plan.groups.size());
        std::atomic<size_t> done{0};
        const size_t total = plan.groups.size() + 1;
        InParallel(total, [&](size_t i) {
            // The groups first: they take longest.
            if (i < plan.groups.size()) {
                plain[i] = MatchGroup(plan, plan.groups[i]);
            } else {
                MatchRaw(plan, raw);
            }
            Tell("match", ++done, total);
        });
        Tell("encode", 0, 1);
        std::optional<std::string> difference = EncodeDifference(old_, fresh_, plan, raw, plain);
        Tell("encode", 1, 1);
        return difference;
    }

    void Tell(const char* step, uint64_t done, uint64_t total)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (options_.progress) {
            options_.progress(step, done, total);
        }
    }

private:
    static Stretches MatchGroup(const DifferencePlan& plan, const Group& group)
    {
        const Matcher matcher({plan.oldPlain.data() + group.oldStart, group.oldEnd - group.oldStart});
        Stretches stretches = matcher.Match({plan.newPlain.data() + group.newStart, group.newEnd - group.newStart});
        for (Stretch& stretch : stretches) {
            stretch.oldPosition += group.oldStart;
        }
        return stretches;
    }

    void MatchRaw(const DifferencePlan& plan, std::vector<Stretches>& raw) const
    {
        const Matcher matcher(old_);
        InParallel(raw.size(), [&](size_t i) { raw[i] = matcher.Match(plan.regions[i].raw); });
    }

    ByteView old_;
    ByteView fresh_;
    const DifferenceOptions& options_;
    std::mutex mutex_;
};

// Leaves devices alone: a difference may be written to one.
void Discard(const std::string& path)
{
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        unlink(path.c_str());
    }
}

bool WriteWhole(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    return file.good();
}

// The difference is where it belongs, and the device will make the new file from it.
bool WriteVerified(const std::string& difference, const DifferencePaths& paths, ByteView fresh, std::string& error)
{
    if (!WriteWhole(paths.difference, difference)) {
        error = paths.difference + " cannot be written";
        Discard(paths.difference);
        return false;
    }
    const ScratchFile outcome(paths.difference + ".outcome." + std::to_string(getpid()));
    const DifferenceResult result = ApplyDifference(paths.difference, paths.old, outcome.Path());
    const std::optional<MappedFile> made = MappedFile::Open(outcome.Path());
    const bool isRight = result == DIFFERENCE_OK && made.has_value() && made->View().size == fresh.size &&
                         (fresh.size == 0 || std::memcmp(made->View().data, fresh.data, fresh.size) == 0);
    if (!isRight) {
        error = "the difference does not bring forth the new file: " + DifferenceResultText(result);
        Discard(paths.difference);
    }
    return isRight;
}
} // namespace

const char* DifferenceKindName(DifferenceKind kind)
{
    return kind == DifferenceKind::ARCHIVE ? "archive" : kind == DifferenceKind::BYTES ? "bytes" : "plain";
}

bool MakeDifference(const DifferencePaths& paths, const DifferenceOptions& options, DifferenceReport& report,
                    std::string& error)
{
    const std::optional<MappedFile> old = MappedFile::Open(paths.old);
    const std::optional<MappedFile> fresh = MappedFile::Open(paths.fresh);
    if (!old.has_value() || !fresh.has_value()) {
        error = (old.has_value() ? paths.fresh : paths.old) + " cannot be read";
        return false;
    }
    if (std::max(old->View().size, fresh->View().size) > DIFFERENCE_OUTPUT_SIZE_MAX) {
        error = "a file of 2 GiB or more cannot be differenced";
        return false;
    }
    auto plainMade = std::async(std::launch::async, [&] { return MakePlainDifference(old->View(), fresh->View()); });
    Maker maker(old->View(), fresh->View(), options);
    const std::optional<std::string> own = options.isPlainOnly ? std::nullopt : maker.Make(report.entries);
    const std::optional<std::string> plain = plainMade.get();
    if (!plain.has_value()) {
        error = "zstd could not make a difference";
        return false;
    }
    report.oldSize = old->View().size;
    report.newSize = fresh->View().size;
    report.plainSize = plain->size();
    maker.Tell("verify", 0, 1);
    const bool isOwnSmaller = own.has_value() && own->size() < plain->size();
    if (isOwnSmaller && WriteVerified(*own, paths, fresh->View(), error)) {
        report.kind = report.entries != 0 ? DifferenceKind::ARCHIVE : DifferenceKind::BYTES;
        report.differenceSize = own->size();
    } else {
        // Also when the own kind did not stand the proof.
        report.entries = 0;
        report.kind = DifferenceKind::PLAIN;
        report.differenceSize = plain->size();
        if (!WriteVerified(*plain, paths, fresh->View(), error)) {
            return false;
        }
    }
    maker.Tell("verify", 1, 1);
    return true;
}
} // namespace ORVX::Difference
