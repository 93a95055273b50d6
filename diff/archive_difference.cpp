#include "diff/archive_difference.h"

#include "diff/code_filter.h"
#include "diff/delta_stream.h"
#include "diff/difference_header.h"
#include "diff/header_prediction.h"
#include "diff/old_window.h"
#include "diff/output_writer.h"
#include "diff/priming.h"

namespace ORVX::Difference {
namespace {
constexpr size_t CHUNK = FILTERED_PART;

class ArchiveApplier {
public:
    ArchiveApplier(DifferenceFile& difference, ByteView base, const DifferenceHeader& header, DifferenceOutput& output,
                   const ApplyProgress& progress, size_t waitingMax)
        : header_(header), base_(base), output_(output), progress_(progress),
          model_(difference, DIFFERENCE_HEADER_SIZE, header.modelSize), source_(model_),
          extra_(difference, DIFFERENCE_HEADER_SIZE + uint64_t{header.modelSize}, header.extraSize),
          raw_(source_, DeltaStream::RAW), plain_(source_, DeltaStream::PLAIN), window_(base, header.windowSize),
          writer_(output, waitingMax), rawLeft_(header.outputSize),
          plainLeft_(DEFLATE_RATIO_MAX * (uint64_t{header.outputSize} + 1))
    {
    }

    DifferenceResult Write()
    {
        DifferenceResult result = ReadLayout();
        if (result == DIFFERENCE_OK && !writer_.Start()) {
            result = DIFFERENCE_NO_MEMORY;
        }
        if (result == DIFFERENCE_OK) {
            result = WriteRegions();
        }
        return result == DIFFERENCE_OK ? CheckOutcome() : result;
    }

private:
    DifferenceResult ReadLayout()
    {
        const uint64_t isFiltered = header_.version >= 2 ? Number(NumberKind::IS_FILTERED) : 0;
        isFiltered_ = isFiltered == 1;
        window_.SetFiltered(isFiltered_);
        ByteView priming;
        DifferenceResult result = isFiltered <= 1 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        if (result == DIFFERENCE_OK && header_.version >= 3) {
            result = ReadPredictions(priming);
        }
        const bool hasExtra = result == DIFFERENCE_OK && header_.extraSize != 0;
        return hasExtra ? source_.extra.Open(extra_, header_.extraProperties, header_.version >= 2, priming) : result;
    }

    // What helps to tell new bytes from old ones, from version 3 on.
    DifferenceResult ReadPredictions(ByteView& priming)
    {
        const uint64_t source = Number(NumberKind::PRIMING_SOURCE);
        const uint64_t start = source != Priming::NONE ? Number(NumberKind::PRIMING_START) : 0;
        const uint64_t size = source != Priming::NONE ? Number(NumberKind::PRIMING_LENGTH) : 0;
        const uint64_t hasHeaders = Number(NumberKind::PREDICTS_HEADERS);
        if (!source_.decoder.IsIntact() || source >= Priming::COUNT || hasHeaders > 1 || size > EXTRA_DICTIONARY_MAX) {
            return DIFFERENCE_DAMAGED;
        }
        if (hasHeaders == 1) {
            headers_ = HeaderPrediction::Of(base_);
        }
        DifferenceResult result = headers_.has_value() == (hasHeaders == 1) ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        if (result == DIFFERENCE_OK && source == Priming::WINDOW) {
            result = BeginGroup();
        }
        const ByteView from = source == Priming::WINDOW ? window_.View() : base_;
        if (result != DIFFERENCE_OK || start > from.size || size > from.size - start) {
            return result != DIFFERENCE_OK ? result : DIFFERENCE_DAMAGED;
        }
        priming = {from.data + start, size};
        return DIFFERENCE_OK;
    }

    DifferenceResult WriteRegions()
    {
        const uint64_t count = Number(NumberKind::REGION_COUNT);
        // Each region but the last one brings something.
        DifferenceResult result = count <= uint64_t{header_.outputSize} + 1 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        for (uint64_t i = 0; i < count && result == DIFFERENCE_OK; ++i) {
            result = WriteRegion();
        }
        return result;
    }

    DifferenceResult WriteRegion()
    {
        const uint64_t rawLength = Number(NumberKind::RAW_LENGTH);
        Entry entry = ReadEntry();
        const uint64_t stored = rawLength + (entry.level == STORED_LEVEL ? entry.size : 0);
        if (!source_.decoder.IsIntact() || stored > rawLeft_ || !IsEntrySound(entry)) {
            return DIFFERENCE_DAMAGED;
        }
        rawLeft_ -= stored;
        plainLeft_ -= entry.size;
        // Its header stands before it, and has its checksum.
        const bool isContentFirst = headers_.has_value() && entry.level != 0 && entry.size <= CHUNK;
        OutputWriter::Step content;
        DifferenceResult result = isContentFirst ? ReadContent(entry, 0, content) : DIFFERENCE_OK;
        result = result == DIFFERENCE_OK ? WriteRaw(rawLength) : result;
        outputPosition_ += rawLength + entry.packedSize;
        if (result == DIFFERENCE_OK && entry.level != 0) {
            result = isContentFirst ? Put(std::move(content)) : WriteEntry(entry);
        }
        return result;
    }

    uint64_t Number(NumberKind kind) { return source_.model.numbers.Code(source_.decoder, kind, 0); }

    DifferenceResult WriteRaw(uint64_t left)
    {
        raw_.FollowHeaders(headers_.has_value() ? &*headers_ : nullptr, outputPosition_);
        DifferenceResult result = DIFFERENCE_OK;
        while (left != 0 && result == DIFFERENCE_OK) {
            OutputWriter::Step step;
            step.bytes.resize(std::min<uint64_t>(left, CHUNK));
            left -= step.bytes.size();
            result = raw_.Read(base_, 0, step.bytes.data(), step.bytes.size());
            if (result == DIFFERENCE_OK) {
                result = Put(std::move(step));
            }
        }
        return result;
    }

    // What follows the raw bytes of a region: level 0 is nothing.
    struct Entry {
        uint64_t level;
        uint64_t size = 0;                          // of the content
        uint64_t filter = 0;                        // a CodeFilter
        uint64_t packedSize = 0;                    // in the archive, where headers are foretold
        std::optional<uint64_t> old = std::nullopt; // the old entry that it goes on from, by its place
        uint32_t crc = 0;                           // of the content that is there, where headers are foretold
    };

    Entry ReadEntry()
    {
        Entry entry{Number(NumberKind::LEVEL)};
        if (entry.level != 0) {
            entry.size = Number(NumberKind::PLAIN_LENGTH);
            entry.filter = isFiltered_ ? Number(NumberKind::CONTENT_FILTER) : 0;
        }
        if (entry.level != 0 && headers_.has_value()) {
            ReadOldEntry(entry);
        }
        return entry;
    }

    void ReadOldEntry(Entry& entry)
    {
        entry.packedSize = entry.size;
        if (Number(NumberKind::HAS_OLD_ENTRY) == 1) {
            nextEntry_ += SignedNumber(NumberKind::OLD_ENTRY);
            entry.old = nextEntry_++;
            entry.packedSize = *entry.old < headers_->Count() ? headers_->OldPackedSize(*entry.old) : 0;
        }
        entry.packedSize += SignedNumber(NumberKind::PACKED_LENGTH);
    }

    uint64_t SignedNumber(NumberKind kind)
    {
        return static_cast<uint64_t>(source_.model.numbers.CodeSigned(source_.decoder, kind, 0));
    }

    [[nodiscard]] bool IsEntrySound(const Entry& entry) const
    {
        const uint64_t levelMax = header_.version >= 2 ? STORED_LEVEL : DEFLATE_LEVEL_MAX;
        return entry.level <= levelMax && entry.size <= plainLeft_ &&
               entry.filter < static_cast<uint64_t>(CodeFilter::COUNT) &&
               (!entry.old.has_value() || *entry.old < headers_->Count());
    }

    DifferenceResult WriteEntry(Entry& entry)
    {
        DifferenceResult result = DIFFERENCE_OK;
        uint64_t done = 0;
        do {
            OutputWriter::Step step;
            result = ReadContent(entry, done, step);
            done += step.bytes.size();
            if (result == DIFFERENCE_OK) {
                result = Put(std::move(step));
            }
        } while (done != entry.size && result == DIFFERENCE_OK);
        return result;
    }

    // The next bytes of an entry, of which so many are done.
    DifferenceResult ReadContent(Entry& entry, uint64_t done, OutputWriter::Step& step)
    {
        const bool isStored = entry.level == STORED_LEVEL;
        hasDeflated_ = hasDeflated_ || !isStored;
        step.level = isStored ? 0 : static_cast<int>(entry.level);
        step.bytes.resize(std::min<uint64_t>(entry.size - done, CHUNK));
        step.isLast = done + step.bytes.size() == entry.size;
        const DifferenceResult result = ReadPlain(step.bytes.data(), step.bytes.size());
        MakeRelative(static_cast<CodeFilter>(entry.filter), step.bytes.data(), step.bytes.size(), done);
        if (result == DIFFERENCE_OK && entry.old.has_value()) {
            entry.crc = lzma_crc32(step.bytes.data(), step.bytes.size(), entry.crc);
            headers_->Tell(*entry.old,
                           {entry.crc, static_cast<uint32_t>(entry.packedSize), static_cast<uint32_t>(entry.size)});
        }
        return result;
    }

    DifferenceResult Put(OutputWriter::Step step)
    {
        const bool isPut = writer_.Put(std::move(step));
        progress_(writer_.Written(), header_.outputSize);
        return isPut ? DIFFERENCE_OK : writer_.Finish();
    }

    DifferenceResult ReadPlain(uint8_t* room, size_t size)
    {
        while (size != 0) {
            DifferenceResult result = groupLeft_ == 0 ? BeginGroup() : DIFFERENCE_OK;
            const size_t length = std::min<uint64_t>(size, groupLeft_);
            result = result == DIFFERENCE_OK ? plain_.Read(window_.View(), window_.Start(), room, length) : result;
            if (result != DIFFERENCE_OK) {
                return result;
            }
            groupLeft_ -= length;
            room += length;
            size -= length;
        }
        return DIFFERENCE_OK;
    }

    // A group of new content is all that the same window of old content serves. One without content is there to move
    // the window on.
    DifferenceResult BeginGroup()
    {
        groupLeft_ = Number(NumberKind::GROUP_LENGTH);
        const uint64_t drop = Number(NumberKind::GROUP_DROP);
        const uint64_t load = Number(NumberKind::GROUP_LOAD);
        return source_.decoder.IsIntact() && groupLeft_ + load != 0
                   ? window_.Slide(drop, load, source_.decoder, source_.model.numbers)
                   : DIFFERENCE_DAMAGED;
    }

    DifferenceResult CheckOutcome()
    {
        const DifferenceResult result = writer_.Finish();
        if (result != DIFFERENCE_OK) {
            return result;
        }
        Handles::Sha256Digest digest{};
        if (!output_.Digest(digest)) {
            return DIFFERENCE_OUTPUT_UNWRITABLE;
        }
        if (digest == header_.outputDigest && output_.Room() == 0) {
            progress_(header_.outputSize, header_.outputSize);
            return DIFFERENCE_OK;
        }
        return hasDeflated_ ? DIFFERENCE_ZLIB_DIFFERS : DIFFERENCE_MISMATCH;
    }

    const DifferenceHeader& header_;
    ByteView base_;
    DifferenceOutput& output_;
    const ApplyProgress& progress_;
    DifferenceFile::Part model_;
    DeltaSource source_;
    DifferenceFile::Part extra_;
    DeltaStream raw_;
    DeltaStream plain_;
    OldWindow window_;
    OutputWriter writer_;
    uint64_t rawLeft_;
    uint64_t plainLeft_;
    uint64_t groupLeft_ = 0;
    std::optional<HeaderPrediction> headers_;
    uint64_t nextEntry_ = 0; // of the old file
    uint64_t outputPosition_ = 0;
    bool hasDeflated_ = false;
    bool isFiltered_ = false;
};

DifferenceResult CheckBase(ByteView base, const DifferenceHeader& header)
{
    Handles::Sha256Digest digest{};
    if (base.size != header.baseSize) {
        return DIFFERENCE_WRONG_BASE;
    }
    if (!Handles::Sha256::Of(base.data, base.size, digest)) {
        return DIFFERENCE_NO_MEMORY;
    }
    return digest == header.baseDigest ? DIFFERENCE_OK : DIFFERENCE_WRONG_BASE;
}
} // namespace

DifferenceResult ApplyArchiveDifference(DifferenceFile& difference, ByteView base, const std::string& outputPath,
                                        const ApplyProgress& progress, size_t waitingMax)
{
    DifferenceHeader header;
    DifferenceResult result = ParseDifferenceHeader(difference, header);
    result = result == DIFFERENCE_OK ? CheckBase(base, header) : result;
    if (result != DIFFERENCE_OK) {
        return result;
    }
    const std::unique_ptr<DifferenceOutput> output = DifferenceOutput::Create(outputPath, header.outputSize, result);
    if (output == nullptr) {
        return result;
    }
    result = std::make_unique<ArchiveApplier>(difference, base, header, *output, progress, waitingMax)->Write();
    if (result != DIFFERENCE_OK) {
        return difference.HasFailed() ? DIFFERENCE_UNREADABLE : result;
    }
    return output->Keep() ? DIFFERENCE_OK : DIFFERENCE_OUTPUT_UNWRITABLE;
}
} // namespace ORVX::Difference
