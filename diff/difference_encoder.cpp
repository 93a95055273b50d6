#include "diff/difference_encoder.h"

#include <lzma.h>

#include "diff/delta_coder.h"
#include "diff/delta_stream.h"
#include "diff/difference_header.h"
#include "diff/old_window.h"
#include "diff/range_encoder.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
constexpr size_t EXTRA_ROOM = 1024;

class Encoder {
public:
    Encoder(ByteView old, ByteView fresh, const DifferencePlan& plan, const std::vector<Stretches>& rawStretches,
            const std::vector<Stretches>& plainStretches)
        : old_(old), fresh_(fresh), plan_(plan), rawStretches_(rawStretches), plainStretches_(plainStretches)
    {
    }

    std::optional<std::string> Encode()
    {
        Put(NumberKind::REGION_COUNT, plan_.regions.size());
        for (size_t i = 0; i < plan_.regions.size(); ++i) {
            const Region& region = plan_.regions[i];
            Put(NumberKind::RAW_LENGTH, region.raw.size);
            Put(NumberKind::LEVEL, static_cast<uint64_t>(region.level));
            if (region.level != 0) {
                Put(NumberKind::PLAIN_LENGTH, region.plainSize);
            }
            PutRaw(region.raw, rawStretches_[i]);
            PutPlain(region.plainSize);
        }
        return Assemble();
    }

private:
    // One of the two streams: where it stands in the stretches that it goes through.
    struct Cursor {
        DeltaStream::Kinds kinds;
        DeltaCoder coder;
        uint64_t position = 0;
        size_t delta = 0;
        size_t extra = 0;
    };

    void Put(NumberKind kind, uint64_t number) { model_.numbers.Code(coder_, kind, number); }

    void Begin(Cursor& cursor, const Stretch& stretch)
    {
        // A stretch that follows nothing leaves the position where it is.
        const uint64_t position = stretch.delta != 0 ? stretch.oldPosition : cursor.position;
        model_.numbers.CodeSigned(coder_, cursor.kinds.seek, static_cast<int64_t>(position - cursor.position));
        Put(cursor.kinds.delta, stretch.delta);
        Put(cursor.kinds.extra, stretch.extra);
        cursor.coder.Begin();
        cursor.position = position;
        cursor.delta = stretch.delta;
        cursor.extra = stretch.extra;
    }

    // Codes up to size bytes of the current stretch; gives how many.
    size_t Continue(Cursor& cursor, const uint8_t* old, const uint8_t* fresh, size_t size)
    {
        const size_t length = std::min(size, cursor.delta != 0 ? cursor.delta : cursor.extra);
        if (cursor.delta != 0) {
            cursor.coder.Code(coder_, model_,
                              DeltaCoder::Part<const uint8_t>{old + cursor.position, fresh, length, cursor.delta});
            cursor.position += length;
            cursor.delta -= length;
        } else {
            extra_.append(fresh, fresh + length);
            cursor.extra -= length;
        }
        return length;
    }

    void PutRaw(ByteView raw, const Stretches& stretches)
    {
        const uint8_t* fresh = raw.data;
        for (const Stretch& stretch : stretches) {
            Begin(raw_, stretch);
            while (raw_.delta + raw_.extra != 0) {
                fresh += Continue(raw_, old_.data, fresh, SIZE_MAX);
            }
        }
    }

    void PutPlain(size_t size)
    {
        for (size_t end = plainPosition_ + size; plainPosition_ < end;) {
            if (plainPosition_ == groupEnd_) {
                BeginGroup();
                continue;
            }
            if (plain_.delta + plain_.extra == 0) {
                Begin(plain_, plainStretches_[group_][stretch_++]);
            }
            plainPosition_ +=
                Continue(plain_, plan_.oldPlain.data(), plan_.newPlain.data() + plainPosition_, end - plainPosition_);
        }
    }

    void BeginGroup()
    {
        group_ = groupsBegun_++;
        stretch_ = 0;
        const Group& group = plan_.groups[group_];
        groupEnd_ = group.newEnd;
        Put(NumberKind::GROUP_LENGTH, group.newEnd - group.newStart);
        Put(NumberKind::GROUP_DROP, group.oldStart - windowStart_);
        Put(NumberKind::GROUP_LOAD, group.oldEnd - windowEnd_);
        windowStart_ = group.oldStart;
        while (windowEnd_ < group.oldEnd) {
            if (windowEnd_ == pieceEnd_) {
                PutPiece(plan_.pieces[piece_++]);
            }
            windowEnd_ = std::min(pieceEnd_, group.oldEnd);
        }
        windowSize_ = std::max(windowSize_, group.oldEnd - group.oldStart);
    }

    void PutPiece(const OldPiece& piece)
    {
        Put(NumberKind::PIECE_METHOD, piece.isDeflated ? OldWindow::DEFLATED : OldWindow::STORED);
        model_.numbers.CodeSigned(coder_, NumberKind::PIECE_GAP, static_cast<int64_t>(piece.offset - lastPieceEnd_));
        if (!piece.isDeflated) {
            Put(NumberKind::PIECE_LENGTH, piece.plainSize);
        }
        lastPieceEnd_ = piece.offset + piece.compressedSize;
        pieceEnd_ += piece.plainSize;
    }

    std::optional<std::string> Assemble()
    {
        DifferenceHeader header;
        header.zlibVersion = DeflateLibraryVersion();
        header.baseSize = static_cast<uint32_t>(old_.size);
        header.outputSize = static_cast<uint32_t>(fresh_.size);
        header.windowSize = static_cast<uint32_t>(windowSize_);
        const std::optional<std::string> extra = CompressExtra(header);
        if (!extra.has_value() || !Handles::Sha256::Of(old_.data, old_.size, header.baseDigest) ||
            !Handles::Sha256::Of(fresh_.data, fresh_.size, header.outputDigest)) {
            return std::nullopt;
        }
        return AssembleDifference(header, coder_.Finish(), *extra);
    }

    // Data of different kinds wants different contexts: the smallest of a few settings is taken.
    std::optional<std::string> CompressExtra(DifferenceHeader& header) const
    {
        std::optional<std::string> best;
        if (extra_.empty()) {
            return "";
        }
        for (const auto& [literals, positions] : {std::pair(3U, 0U), {0U, 0U}, {0U, 2U}, {3U, 2U}, {4U, 0U}}) {
            lzma_options_lzma options{};
            lzma_lzma_preset(&options, LZMA_PRESET_EXTREME | 9U);
            options.dict_size = EXTRA_DICTIONARY_MAX;
            options.lc = literals;
            options.pb = positions;
            const lzma_filter filters[] = {{LZMA_FILTER_LZMA1, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
            // A raw stream has no chunks that are stored: what does not compress grows, as the library's bound for its
            // containers does not foresee.
            std::string text(extra_.size() + extra_.size() / 2 + EXTRA_ROOM, '\0');
            size_t size = 0;
            std::array<uint8_t, EXTRA_PROPERTIES_SIZE> properties{};
            const lzma_ret result =
                lzma_raw_buffer_encode(filters, nullptr, reinterpret_cast<const uint8_t*>(extra_.data()), extra_.size(),
                                       reinterpret_cast<uint8_t*>(text.data()), &size, text.size());
            if (result != LZMA_OK || lzma_properties_encode(filters, properties.data()) != LZMA_OK) {
                return std::nullopt;
            }
            if (!best.has_value() || size < best->size()) {
                best = text.substr(0, size);
                header.extraProperties = properties;
            }
        }
        return best;
    }

    ByteView old_;
    ByteView fresh_;
    const DifferencePlan& plan_;
    const std::vector<Stretches>& rawStretches_;
    const std::vector<Stretches>& plainStretches_;
    RangeEncoder coder_;
    DeltaModel model_;
    std::string extra_;
    Cursor raw_{DeltaStream::RAW, {}};
    Cursor plain_{DeltaStream::PLAIN, {}};
    size_t plainPosition_ = 0;
    size_t groupsBegun_ = 0;
    size_t group_ = 0;
    size_t groupEnd_ = 0;
    size_t stretch_ = 0;
    size_t windowStart_ = 0;
    size_t windowEnd_ = 0;
    size_t windowSize_ = 0;
    size_t piece_ = 0;
    size_t pieceEnd_ = 0;
    size_t lastPieceEnd_ = 0;
};
} // namespace

std::optional<std::string> EncodeDifference(ByteView old, ByteView fresh, const DifferencePlan& plan,
                                            const std::vector<Stretches>& rawStretches,
                                            const std::vector<Stretches>& plainStretches)
{
    return Encoder(old, fresh, plan, rawStretches, plainStretches).Encode();
}
} // namespace ORVX::Difference
