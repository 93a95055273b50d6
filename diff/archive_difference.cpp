#include "diff/archive_difference.h"

#include "diff/delta_stream.h"
#include "diff/difference_header.h"
#include "diff/old_window.h"
#include "diff/output_writer.h"

namespace ORVX::Difference {
namespace {
constexpr size_t CHUNK = size_t{64} << 10;
// Deflated data is never smaller than this part of its content.
constexpr uint64_t DEFLATE_RATIO_MAX = 1032;

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
        DifferenceResult result =
            extra_.size == 0 ? DIFFERENCE_OK : source_.extra.Open(extra_, header_.extraProperties);
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
        const uint64_t count = Number(NumberKind::REGION_COUNT);
        // Each region but the last one brings something.
        DifferenceResult result = count <= uint64_t{header_.outputSize} + 1 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        for (uint64_t i = 0; i < count && result == DIFFERENCE_OK; ++i) {
            const uint64_t rawLength = Number(NumberKind::RAW_LENGTH);
            const uint64_t level = Number(NumberKind::LEVEL);
            const uint64_t plainLength = level != 0 ? Number(NumberKind::PLAIN_LENGTH) : 0;
            if (!source_.decoder.IsIntact() || rawLength > rawLeft_ || level > DEFLATE_LEVEL_MAX ||
                plainLength > plainLeft_) {
                return DIFFERENCE_DAMAGED;
            }
            rawLeft_ -= rawLength;
            plainLeft_ -= plainLength;
            result = WriteRaw(rawLength);
            if (result == DIFFERENCE_OK && level != 0) {
                result = WriteEntry(static_cast<int>(level), plainLength);
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

    DifferenceResult WriteEntry(int level, uint64_t left)
    {
        DifferenceResult result = DIFFERENCE_OK;
        hasDeflated_ = true;
        do {
            OutputWriter::Step step;
            step.level = level;
            step.bytes.resize(std::min<uint64_t>(left, CHUNK));
            left -= step.bytes.size();
            step.isLast = left == 0;
            result = ReadPlain(step.bytes.data(), step.bytes.size());
            if (result == DIFFERENCE_OK) {
                result = Put(std::move(step));
            }
        } while (left != 0 && result == DIFFERENCE_OK);
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
