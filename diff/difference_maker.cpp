#include "diff/difference_maker.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

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
// The device lets less wait. What making took is free again by then.
constexpr size_t PROOF_WAITING = size_t{64} << 20;

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

// The difference is where it belongs, and the device will make the new file from it. result: how applying it went.
bool WriteVerified(const std::string& difference, const DifferencePaths& paths, ByteView fresh,
                   const std::function<void()>& beforeMove, DifferenceResult& result, std::string& error)
{
    const auto names = ScratchFilesOf(paths);
    const ScratchFile written(names[0]);
    const ScratchFile outcome(names[1]);
    if (!WriteWhole(written.Path(), difference)) {
        error = Handles::CannotWrite(paths.difference, errno);
        return false;
    }
    result = ApplyDifference(written.Path(), paths.old, outcome.Path(), nullptr, PROOF_WAITING);
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
constexpr uint64_t PLAIN_ROOM_GROWTH = 4;
// The plain kind's two ways were never seen to differ by nearly such a factor: once one is larger than ours by that,
// neither wins.
constexpr size_t PLAIN_FAR = 2;
// Nor was its quick way, of large content, by so much: then neither need be made.
constexpr size_t PLAIN_FAR_QUICKLY = 3;

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
    Maker(const DifferencePaths& paths, const DifferenceOptions& options, const MappedFile& old,
          const MappedFile& fresh)
        : paths_(paths), options_(options), oldFile_(old), freshFile_(fresh), old_(old.View()), fresh_(fresh.View()),
          memory_(options.memory != 0 ? options.memory : MemoryOfTheMachine() / 4),
          cache_(options.cacheFolder, options.cacheMax), progress_(options.progress)
    {
        report_.oldSize = old_.size;
        report_.newSize = fresh_.size;
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
        uint64_t plainAbove = 0;          // the plain one was given up when it was larger
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
        report_.isPlainGivenUp = kept->isPlainGivenUp;
        report_.isCached = true;
        return true;
    }

    bool MakeAnew(std::string& error)
    {
        Kinds kinds = MakeKinds(LevelProof::START);
        if (!IsPlainKnown(kinds, error)) {
            return false;
        }
        progress_.Tell("verify", 0, fresh_.size);
        if (!HandOut(kinds, error)) {
            return false;
        }
        report_.isPlainGivenUp = !kinds.plain.has_value();
        report_.plainSize = kinds.plain.has_value() ? kinds.plain->size() : kinds.plainAbove;
        const std::string& bytes = report_.kind == DifferenceKind::PLAIN ? *kinds.plain : kinds.own->bytes;
        const DifferenceCache::Entry entry{bytes, report_.plainSize, report_.isPlainGivenUp, report_.entries};
        if (cache_.IsOn() && report_.failure.empty() && !cache_.Keep(entry)) {
            report_.unkept = Handles::CannotWrite(options_.cacheFolder, errno);
        }
        return true;
    }

    static bool IsPlainKnown(const Kinds& kinds, std::string& error)
    {
        if (!kinds.plain.has_value() && kinds.plainAbove == 0) {
            error = "zstd could not make a difference";
            return false;
        }
        return true;
    }

    // The plain kind comes after ours, whose size says how far it is worth going on.
    Kinds MakeKinds(LevelProof proof)
    {
        Kinds kinds;
        if (!options_.isPlainOnly) {
            kinds.own = MakeOwn(proof);
            kinds.isOwnMissing = !kinds.own.has_value();
        }
        progress_.Tell("compress", 0, fresh_.size);
        if (kinds.own.has_value()) {
            MakePlainBeyond(kinds);
        } else {
            MakePlainBothWays(kinds);
        }
        progress_.Tell("compress", fresh_.size, fresh_.size);
        return kinds;
    }

    std::optional<OwnDifference> MakeOwn(LevelProof proof)
    {
        return MakeOwnDifference({oldFile_, freshFile_, options_.version, options_.window, options_.sampledFrom,
                                  memory_, proof, ScratchFilesOf(paths_)[2]},
                                 progress_);
    }

    // The two ways are nearly alike: where ours is far ahead of one, the other would not change that.
    void MakePlainBeyond(Kinds& kinds) const
    {
        const size_t far = PLAIN_FAR * kinds.own->bytes.size();
        if (IsQuicklyFar(kinds.own->bytes.size())) {
            kinds.plainAbove = far;
            return;
        }
        PlainAttempt direct = MakePlainDifference(old_, fresh_, PlainWay::DIRECT, far);
        kinds.plainAbove = direct.isGivenUp ? far : 0;
        kinds.plain = std::move(direct.frame);
        if (!direct.isGivenUp && (!kinds.plain.has_value() || kinds.plain->size() < far)) {
            KeepSmaller(MakePlainDifference(old_, fresh_, PlainWay::WORKER), kinds);
        }
    }

    bool IsQuicklyFar(size_t ownSize) const
    {
        return fresh_.size >= options_.sampledFrom &&
               MakePlainDifference(old_, fresh_, PlainWay::QUICK, PLAIN_FAR_QUICKLY * ownSize).isGivenUp;
    }

    // Beside each other where there is room for both.
    void MakePlainBothWays(Kinds& kinds) const
    {
        const bool isRoomForBoth = PLAIN_ROOM + PLAIN_ROOM_GROWTH * (old_.size + fresh_.size) <= memory_ / 2;
        auto direct = std::async(isRoomForBoth ? std::launch::async : std::launch::deferred,
                                 [this] { return MakePlainDifference(old_, fresh_, PlainWay::DIRECT); });
        PlainAttempt byWorker = MakePlainDifference(old_, fresh_, PlainWay::WORKER);
        kinds.plain = direct.get().frame;
        KeepSmaller(std::move(byWorker), kinds);
    }

    static void KeepSmaller(PlainAttempt other, Kinds& kinds)
    {
        if (other.frame.has_value() && (!kinds.plain.has_value() || other.frame->size() < kinds.plain->size())) {
            kinds.plain = std::move(other.frame);
        }
    }

    // The smaller kind; the plain one also when ours failed or did not stand the proof, which the report tells then.
    bool HandOut(Kinds& kinds, std::string& error)
    {
        report_.failure = kinds.isOwnMissing ? "a library failed" : "";
        if (kinds.own.has_value() && (!kinds.plain.has_value() || kinds.own->bytes.size() < kinds.plain->size())) {
            if (WriteVerified(kinds.own->bytes, error)) {
                DescribeOwn(*kinds.own, report_);
                return true;
            }
            if (kinds.own->isPresumed && hasOtherOutcome_) {
                kinds = MakeKinds(LevelProof::WHOLE); // the plain one was held against what there is not
                return IsPlainKnown(kinds, error) && HandOut(kinds, error);
            }
            report_.failure = error;
            if (std::exchange(kinds.plainAbove, 0) != 0) {
                MakePlainBothWays(kinds); // it is wanted after all
            }
            if (!IsPlainKnown(kinds, error)) {
                return false;
            }
        }
        DescribePlain(*kinds.plain);
        return WriteVerified(*kinds.plain, error);
    }

    void DescribePlain(const std::string& bytes)
    {
        report_.kind = DifferenceKind::PLAIN;
        report_.differenceSize = bytes.size();
    }

    bool WriteVerified(const std::string& difference, std::string& error)
    {
        DifferenceResult result = DIFFERENCE_OK;
        const bool isWritten =
            Difference::WriteVerified(difference, paths_, fresh_, options_.beforeMove, result, error);
        hasOtherOutcome_ = result == DIFFERENCE_ZLIB_DIFFERS;
        return isWritten;
    }

    const DifferencePaths& paths_;
    const DifferenceOptions& options_;
    const MappedFile& oldFile_;
    const MappedFile& freshFile_;
    const ByteView old_;
    const ByteView fresh_;
    const uint64_t memory_;
    DifferenceCache cache_;
    StepProgress progress_;
    DifferenceReport report_;
    bool hasOtherOutcome_ = false; // what was written last deflates to something else
};
} // namespace

const char* DifferenceKindName(DifferenceKind kind)
{
    return kind == DifferenceKind::ARCHIVE ? "archive" : kind == DifferenceKind::BYTES ? "bytes" : "plain";
}

std::vector<std::string> ScratchFilesOf(const DifferencePaths& paths)
{
    const std::string start = paths.difference + "." + std::to_string(getpid());
    return {start + ".part", start + ".outcome", start + ".content"};
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
    return Maker(paths, options, *old, *fresh).Make(report, error);
}
} // namespace ORVX::Difference
