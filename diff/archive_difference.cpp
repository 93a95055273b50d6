#include "diff/archive_difference.h"

#include "diff/code_filter.h"
#include "diff/delta_stream.h"
#include "diff/difference_header.h"
#include "diff/old_window.h"
#include "diff/output_writer.h"

namespace ORVX::Difference {
namespace {
constexpr size_t CHUNK = FILTERED_PART;

class ArchiveApplier {
public:
    ArchiveApplier(ByteView difference, ByteView base, const DifferenceHeader& header, DifferenceOutput& output,
                   const ApplyProgress& progress)
        : header_(header), base_(base), output_(output), progress_(progress),
          source_(ByteView{difference.data + DIFFERENCE_HEADER_SIZE, header.modelSize}),
          extra_{difference.data + DIFFERENCE_HEADER_SIZE + header.modelSize, header.extraSize},
          raw_(source_, DeltaStream::RAW), plain_(source_, DeltaStream::PLAIN), window_(base, header.windowSize),
          writer_(output), rawLeft_(header.outputSize),
          plainLeft_(DEFLATE_RATIO_MAX * (uint64_t{header.outputSize} + 1))
    {
    }

    DifferenceResult Write()
    {
        DifferenceResult result = extra_.size == 0
                                      ? DIFFERENCE_OK
                                      : source_.extra.Open(extra_, header_.extraProperties, header_.version >= 2);
        if (result == DIFFERENCE_OK && !writer_.Start()) {
            result = DIFFERENCE_NO_MEMORY;
        }
        if (result == DIFFERENCE_OK) {
            result = WriteRegions();
        }
        return result == DIFFERENCE_OK ? CheckOutcome() : result;
    }

private:
    DifferenceResult WriteRegions()
    {
        const uint64_t isFiltered = header_.version >= 2 ? Number(NumberKind::IS_FILTERED) : 0;
        isFiltered_ = isFiltered == 1;
        window_.SetFiltered(isFiltered_);
        const uint64_t count = Number(NumberKind::REGION_COUNT);
        // Each region but the last one brings something.
        DifferenceResult result =
            isFiltered <= 1 && count <= uint64_t{header_.outputSize} + 1 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        for (uint64_t i = 0; i < count && result == DIFFERENCE_OK; ++i) {
            const uint64_t rawLength = Number(NumberKind::RAW_LENGTH);
            const Entry entry = ReadEntry();
            const uint64_t stored = rawLength + (entry.level == STORED_LEVEL ? entry.size : 0);
            if (!source_.decoder.IsIntact() || stored > rawLeft_ || !IsEntrySound(entry)) {
                return DIFFERENCE_DAMAGED;
            }
            rawLeft_ -= stored;
            plainLeft_ -= entry.size;
            result = WriteRaw(rawLength);
            if (result == DIFFERENCE_OK && entry.level != 0) {
                result = WriteEntry(entry);
            }
        }
        return result;
    }

    uint64_t Number(NumberKind kind) { return source_.model.numbers.Code(source_.decoder, kind, 0); }

    DifferenceResult WriteRaw(uint64_t left)
    {
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
        uint64_t size;   // of the content
        uint64_t filter; // a CodeFilter
    };

    Entry ReadEntry()
    {
        Entry entry{Number(NumberKind::LEVEL), 0, 0};
        if (entry.level != 0) {
            entry.size = Number(NumberKind::PLAIN_LENGTH);
            entry.filter = isFiltered_ ? Number(NumberKind::CONTENT_FILTER) : 0;
        }
        return entry;
    }

    [[nodiscard]] bool IsEntrySound(const Entry& entry) const
    {
        const uint64_t levelMax = header_.version >= 2 ? STORED_LEVEL : DEFLATE_LEVEL_MAX;
        return entry.level <= levelMax && entry.size <= plainLeft_ &&
               entry.filter < static_cast<uint64_t>(CodeFilter::COUNT);
    }

    DifferenceResult WriteEntry(const Entry& entry)
    {
        DifferenceResult result = DIFFERENCE_OK;
        const bool isStored = entry.level == STORED_LEVEL;
        hasDeflated_ = hasDeflated_ || !isStored;
        uint64_t done = 0;
        do {
            OutputWriter::Step step;
            step.level = isStored ? 0 : static_cast<int>(entry.level);
            step.bytes.resize(std::min<uint64_t>(entry.size - done, CHUNK));
            result = ReadPlain(step.bytes.data(), step.bytes.size());
            MakeRelative(static_cast<CodeFilter>(entry.filter), step.bytes.data(), step.bytes.size(), done);
            done += step.bytes.size();
            step.isLast = done == entry.size;
            if (result == DIFFERENCE_OK) {
                result = Put(std::move(step));
            }
        } while (done != entry.size && result == DIFFERENCE_OK);
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
    DeltaSource source_;
    ByteView extra_;
    DeltaStream raw_;
    DeltaStream plain_;
    OldWindow window_;
    OutputWriter writer_;
    uint64_t rawLeft_;
    uint64_t plainLeft_;
    uint64_t groupLeft_ = 0;
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

DifferenceResult ApplyArchiveDifference(ByteView difference, ByteView base, const std::string& outputPath,
                                        const ApplyProgress& progress)
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
    result = std::make_unique<ArchiveApplier>(difference, base, header, *output, progress)->Write();
    if (result != DIFFERENCE_OK) {
        return result;
    }
    return output->Keep() ? DIFFERENCE_OK : DIFFERENCE_OUTPUT_UNWRITABLE;
}
} // namespace ORVX::Difference
