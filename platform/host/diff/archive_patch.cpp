#include "platform/host/diff/archive_patch.h"

#include "platform/host/diff/delta_stream.h"
#include "platform/host/diff/difference_header.h"
#include "platform/host/diff/old_window.h"
#include "platform/host/diff/output_writer.h"

namespace ORVX::TavomendHost {
namespace {
constexpr size_t CHUNK = size_t{64} << 10;
// Deflated data is never smaller than this part of its content.
constexpr uint64_t DEFLATE_RATIO_MAX = 1032;

class ArchivePatch {
public:
    ArchivePatch(ByteView difference, ByteView base, const DifferenceHeader& header, PatchOutput& output)
        : header_(header), base_(base), output_(output),
          source_(ByteView{difference.data + DIFFERENCE_HEADER_SIZE, header.modelSize}),
          extra_{difference.data + DIFFERENCE_HEADER_SIZE + header.modelSize, header.extraSize},
          raw_(source_, DeltaStream::RAW), plain_(source_, DeltaStream::PLAIN), window_(base, header.windowSize),
          writer_(output), rawLeft_(header.outputSize),
          plainLeft_(DEFLATE_RATIO_MAX * (uint64_t{header.outputSize} + 1))
    {
    }

    PatchResult Write()
    {
        PatchResult result = extra_.size == 0 ? PATCH_OK : source_.extra.Open(extra_, header_.extraProperties);
        if (result == PATCH_OK && !writer_.Start()) {
            result = PATCH_NO_MEMORY;
        }
        if (result == PATCH_OK) {
            result = WriteRegions();
        }
        return result == PATCH_OK ? CheckOutcome() : result;
    }

private:
    PatchResult WriteRegions()
    {
        const uint64_t count = Number(NumberKind::REGION_COUNT);
        // Each region but the last one brings something.
        PatchResult result = count <= uint64_t{header_.outputSize} + 1 ? PATCH_OK : PATCH_DAMAGED;
        for (uint64_t i = 0; i < count && result == PATCH_OK; ++i) {
            const uint64_t rawLength = Number(NumberKind::RAW_LENGTH);
            const uint64_t level = Number(NumberKind::LEVEL);
            const uint64_t plainLength = level != 0 ? Number(NumberKind::PLAIN_LENGTH) : 0;
            if (!source_.decoder.IsIntact() || rawLength > rawLeft_ || level > DEFLATE_LEVEL_MAX ||
                plainLength > plainLeft_) {
                return PATCH_DAMAGED;
            }
            rawLeft_ -= rawLength;
            plainLeft_ -= plainLength;
            result = WriteRaw(rawLength);
            if (result == PATCH_OK && level != 0) {
                result = WriteEntry(static_cast<int>(level), plainLength);
            }
        }
        return result;
    }

    uint64_t Number(NumberKind kind) { return source_.numbers.Code(source_.decoder, kind, 0); }

    PatchResult WriteRaw(uint64_t left)
    {
        PatchResult result = PATCH_OK;
        while (left != 0 && result == PATCH_OK) {
            OutputWriter::Step step;
            step.bytes.resize(std::min<uint64_t>(left, CHUNK));
            left -= step.bytes.size();
            result = raw_.Read(base_, 0, step.bytes.data(), step.bytes.size());
            if (result == PATCH_OK) {
                result = Put(std::move(step));
            }
        }
        return result;
    }

    PatchResult WriteEntry(int level, uint64_t left)
    {
        PatchResult result = PATCH_OK;
        hasDeflated_ = true;
        do {
            OutputWriter::Step step;
            step.level = level;
            step.bytes.resize(std::min<uint64_t>(left, CHUNK));
            left -= step.bytes.size();
            step.isLast = left == 0;
            result = ReadPlain(step.bytes.data(), step.bytes.size());
            if (result == PATCH_OK) {
                result = Put(std::move(step));
            }
        } while (left != 0 && result == PATCH_OK);
        return result;
    }

    PatchResult Put(OutputWriter::Step step) { return writer_.Put(std::move(step)) ? PATCH_OK : writer_.Finish(); }

    PatchResult ReadPlain(uint8_t* room, size_t size)
    {
        while (size != 0) {
            PatchResult result = groupLeft_ == 0 ? BeginGroup() : PATCH_OK;
            const size_t length = std::min<uint64_t>(size, groupLeft_);
            result = result == PATCH_OK ? plain_.Read(window_.View(), window_.Start(), room, length) : result;
            if (result != PATCH_OK) {
                return result;
            }
            groupLeft_ -= length;
            room += length;
            size -= length;
        }
        return PATCH_OK;
    }

    // A group of new content is all that the same window of old content serves. One without content is there to move
    // the window on.
    PatchResult BeginGroup()
    {
        groupLeft_ = Number(NumberKind::GROUP_LENGTH);
        const uint64_t drop = Number(NumberKind::GROUP_DROP);
        const uint64_t load = Number(NumberKind::GROUP_LOAD);
        return source_.decoder.IsIntact() && groupLeft_ + load != 0
                   ? window_.Slide(drop, load, source_.decoder, source_.numbers)
                   : PATCH_DAMAGED;
    }

    PatchResult CheckOutcome()
    {
        const PatchResult result = writer_.Finish();
        if (result != PATCH_OK) {
            return result;
        }
        Sha256Digest digest{};
        if (!output_.Digest(digest)) {
            return PATCH_OUTPUT_UNWRITABLE;
        }
        if (digest == header_.outputDigest && output_.Room() == 0) {
            return PATCH_OK;
        }
        return hasDeflated_ ? PATCH_ZLIB_DIFFERS : PATCH_MISMATCH;
    }

    const DifferenceHeader& header_;
    ByteView base_;
    PatchOutput& output_;
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

PatchResult CheckBase(ByteView base, const DifferenceHeader& header)
{
    Sha256Digest digest{};
    if (base.size != header.baseSize) {
        return PATCH_WRONG_BASE;
    }
    if (!Sha256::Of(base, digest)) {
        return PATCH_NO_MEMORY;
    }
    return digest == header.baseDigest ? PATCH_OK : PATCH_WRONG_BASE;
}
} // namespace

PatchResult ApplyArchivePatch(ByteView difference, ByteView base, const std::string& outputPath)
{
    DifferenceHeader header;
    PatchResult result = ParseDifferenceHeader(difference, header);
    result = result == PATCH_OK ? CheckBase(base, header) : result;
    if (result != PATCH_OK) {
        return result;
    }
    const std::unique_ptr<PatchOutput> output = PatchOutput::Create(outputPath, header.outputSize, result);
    if (output == nullptr) {
        return result;
    }
    result = std::make_unique<ArchivePatch>(difference, base, header, *output)->Write();
    if (result != PATCH_OK) {
        return result;
    }
    return output->Keep() ? PATCH_OK : PATCH_OUTPUT_UNWRITABLE;
}
} // namespace ORVX::TavomendHost
