#include "diff/difference_maker.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_cache.h"
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

ByteView ViewOf(const std::string& bytes)
{
    return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}

void DescribeOwn(const OwnDifference& own, DifferenceReport& report)
{
    DifferenceHeader header;
    ReadDifferenceFields(ViewOf(own.bytes), header);
    report.kind = own.entries != 0 ? DifferenceKind::ARCHIVE : DifferenceKind::BYTES;
    report.differenceSize = own.bytes.size();
    report.entries = own.entries;
    report.version = header.version;
    report.window = header.windowSize;
}

// What zstd's tables take at its level, beside what grows with the files.
constexpr uint64_t PLAIN_ROOM = uint64_t{128} << 20;

uint64_t MemoryOfTheMachine()
{
    return static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// Not what was put among the kept ones for another kind of device.
bool SuitsDevice(ByteView difference, const DifferenceOptions& options)
{
    DifferenceHeader header;
    if (!IsArchiveDifference(difference)) {
        return true;
    }
    return !options.isPlainOnly && ParseDifferenceHeader(difference, header) == DIFFERENCE_OK &&
           header.version <= options.version &&
           header.windowSize <= std::min<size_t>(options.window, DifferenceWindowMax(options.version));
}

// One difference on its way.
class Maker {
public:
    Maker(const DifferencePaths& paths, const DifferenceOptions& options, ByteView old, ByteView fresh)
        : paths_(paths), options_(options), old_(old), fresh_(fresh),
          memory_(options.memory != 0 ? options.memory : MemoryOfTheMachine() / 4),
          cache_(options.cacheFolder, options.cacheMax), progress_(options.progress)
    {
        report_.oldSize = old.size;
        report_.newSize = fresh.size;
    }

    // False with one line for people in error.
    bool Make(DifferenceReport& report, std::string& error)
    {
        if (cache_.IsOn() && !cache_.Choose(old_, fresh_, options_)) {
            error = "the hash library failed";
            return false;
        }
        if (!(cache_.IsOn() && TakeKept()) && !MakeAnew(error)) {
            return false;
        }
        progress_.Tell("verify", fresh_.size, fresh_.size);
        report = report_;
        return true;
    }

private:
    struct Kinds {
        std::optional<OwnDifference> own;
        std::optional<std::string> plain; // the smaller one of two
        bool isOwnMissing = false;        // it could not be made
    };

    // One that does not stand the proof is made anew.
    bool TakeKept()
    {
        const std::optional<DifferenceCache::Entry> kept = cache_.Find();
        std::string ignored;
        if (!kept.has_value() || !SuitsDevice(ViewOf(kept->bytes), options_) || !WriteVerified(kept->bytes, ignored)) {
            return false;
        }
        if (IsArchiveDifference(ViewOf(kept->bytes))) {
            DescribeOwn({kept->bytes, kept->entries}, report_);
        } else {
            DescribePlain(kept->bytes);
        }
        report_.plainSize = kept->plainSize;
        report_.isCached = true;
        return true;
    }

    bool MakeAnew(std::string& error)
    {
        const Kinds kinds = MakeKinds();
        if (!kinds.plain.has_value()) {
            error = "zstd could not make a difference";
            return false;
        }
        report_.plainSize = kinds.plain->size();
        progress_.Tell("verify", 0, fresh_.size);
        if (!HandOut(kinds, error)) {
            return false;
        }
        const std::string& bytes = report_.kind == DifferenceKind::PLAIN ? *kinds.plain : kinds.own->bytes;
        if (cache_.IsOn() && report_.failure.empty() && !cache_.Keep({bytes, report_.plainSize, report_.entries})) {
            report_.unkept = Handles::CannotWrite(options_.cacheFolder, errno);
        }
        return true;
    }

    Kinds MakeKinds()
    {
        // Beside the other work where there is room for both.
        const uint64_t plainRoom = PLAIN_ROOM + 4 * (old_.size + fresh_.size);
        const bool isBeside = plainRoom <= memory_ / 2;
        auto direct = std::async(isBeside ? std::launch::async : std::launch::deferred,
                                 [this] { return MakePlainDifference(old_, fresh_, PlainWay::DIRECT); });
        Kinds kinds;
        if (!options_.isPlainOnly) {
            const uint64_t memory = memory_ - (isBeside ? plainRoom : 0);
            kinds.own = MakeOwnDifference(
                {old_, fresh_, options_.version, options_.window, options_.sampledFrom, memory}, progress_);
            kinds.isOwnMissing = !kinds.own.has_value();
        }
        progress_.Tell("compress", 0, fresh_.size);
        kinds.plain = direct.get();
        // The two are nearly alike: where ours is far ahead, the second one would not change that.
        if (!kinds.own.has_value() || !kinds.plain.has_value() || kinds.own->bytes.size() > kinds.plain->size() / 2) {
            std::optional<std::string> byWorker = MakePlainDifference(old_, fresh_, PlainWay::WORKER);
            if (byWorker.has_value() && (!kinds.plain.has_value() || byWorker->size() < kinds.plain->size())) {
                kinds.plain = std::move(byWorker);
            }
        }
        progress_.Tell("compress", fresh_.size, fresh_.size);
        return kinds;
    }

    // The smaller kind; the plain one also when ours failed or did not stand the proof, which the report tells then.
    bool HandOut(const Kinds& kinds, std::string& error)
    {
        report_.failure = kinds.isOwnMissing ? "a library failed" : "";
        if (kinds.own.has_value() && kinds.own->bytes.size() < kinds.plain->size()) {
            if (WriteVerified(kinds.own->bytes, error)) {
                DescribeOwn(*kinds.own, report_);
                return true;
            }
            report_.failure = error;
        }
        DescribePlain(*kinds.plain);
        return WriteVerified(*kinds.plain, error);
    }

    void DescribePlain(const std::string& bytes)
    {
        report_.kind = DifferenceKind::PLAIN;
        report_.differenceSize = bytes.size();
    }

    bool WriteVerified(const std::string& difference, std::string& error) const
    {
        return Difference::WriteVerified(difference, paths_, fresh_, options_.beforeMove, error);
    }

    const DifferencePaths& paths_;
    const DifferenceOptions& options_;
    const ByteView old_;
    const ByteView fresh_;
    const uint64_t memory_;
    DifferenceCache cache_;
    StepProgress progress_;
    DifferenceReport report_;
};
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
    return Maker(paths, options, old->View(), fresh->View()).Make(report, error);
}
} // namespace ORVX::Difference
