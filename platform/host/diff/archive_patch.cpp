#include "platform/host/diff/archive_patch.h"

#include "platform/host/diff/delta_stream.h"
#include "platform/host/diff/difference_header.h"
#include "platform/host/diff/old_window.h"
#include "platform/host/diff/patch_output.h"

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
          plainLeft_(DEFLATE_RATIO_MAX * (uint64_t{header.outputSize} + 1))
    {
    }

    PatchResult Write()
    {
        PatchResult result = extra_.size == 0 ? PATCH_OK : source_.extra.Open(extra_, header_.extraProperties);
        while (result == PATCH_OK && output_.Written() < header_.outputSize) {
            result = WriteRaw();
            if (result == PATCH_OK && output_.Written() < header_.outputSize) {
                result = WriteEntry();
            }
        }
        return result != PATCH_OK ? result : CheckOutcome();
    }

private:
    PatchResult WriteRaw()
    {
        uint64_t left = source_.numbers.Code(source_.decoder, NumberKind::RAW_LENGTH, 0);
        if (!source_.decoder.IsIntact() || left > header_.outputSize - output_.Written()) {
            return PATCH_DAMAGED;
        }
        while (left != 0) {
            const size_t length = std::min<uint64_t>(left, room_.size());
            const PatchResult result = raw_.Read(base_, 0, room_.data(), length);
            if (result != PATCH_OK) {
                return result;
            }
            if (!output_.Write(ByteView{room_.data(), length})) {
                return PATCH_OUTPUT_UNWRITABLE;
            }
            left -= length;
        }
        return PATCH_OK;
    }

    PatchResult WriteEntry()
    {
        const uint64_t level = source_.numbers.Code(source_.decoder, NumberKind::LEVEL, 0);
        uint64_t left = source_.numbers.Code(source_.decoder, NumberKind::PLAIN_LENGTH, 0);
        if (!source_.decoder.IsIntact() || level < DEFLATE_LEVEL_MIN || level > DEFLATE_LEVEL_MAX ||
            left > plainLeft_) {
            return PATCH_DAMAGED;
        }
        plainLeft_ -= left;
        if (!deflater_.Begin(static_cast<int>(level))) {
            return PATCH_NO_MEMORY;
        }
        do {
            const size_t length = std::min<uint64_t>(left, room_.size());
            PatchResult result = ReadPlain(room_.data(), length);
            left -= length;
            result = result == PATCH_OK ? Deflate(ByteView{room_.data(), length}, left == 0) : result;
            if (result != PATCH_OK) {
                return result;
            }
        } while (left != 0);
        return PATCH_OK;
    }

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

    // A group of new content is all that the same window of old content serves.
    PatchResult BeginGroup()
    {
        groupLeft_ = source_.numbers.Code(source_.decoder, NumberKind::GROUP_LENGTH, 0);
        const uint64_t drop = source_.numbers.Code(source_.decoder, NumberKind::GROUP_DROP, 0);
        const uint64_t load = source_.numbers.Code(source_.decoder, NumberKind::GROUP_LOAD, 0);
        return source_.decoder.IsIntact() && groupLeft_ != 0
                   ? window_.Slide(drop, load, source_.decoder, source_.numbers)
                   : PATCH_DAMAGED;
    }

    PatchResult Deflate(ByteView plain, bool isLast)
    {
        PatchResult result = PATCH_OK;
        hasDeflated_ = true;
        const bool isWritten = deflater_.Write(plain, isLast, [this, &result](ByteView deflated) {
            // Base and difference are intact: only a deflate that writes other bytes can run over the end.
            if (deflated.size > header_.outputSize - output_.Written()) {
                result = PATCH_ZLIB_DIFFERS;
            } else if (!output_.Write(deflated)) {
                result = PATCH_OUTPUT_UNWRITABLE;
            }
            return result == PATCH_OK;
        });
        return isWritten || result != PATCH_OK ? result : PATCH_NO_MEMORY;
    }

    PatchResult CheckOutcome()
    {
        Sha256Digest digest{};
        if (!output_.Digest(digest)) {
            return PATCH_OUTPUT_UNWRITABLE;
        }
        if (digest == header_.outputDigest) {
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
    RawDeflater deflater_;
    uint64_t groupLeft_ = 0;
    uint64_t plainLeft_;
    bool hasDeflated_ = false;
    std::array<uint8_t, CHUNK> room_;
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
