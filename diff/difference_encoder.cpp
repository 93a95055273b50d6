#include "diff/difference_encoder.h"

#include "diff/delta_coder.h"
#include "diff/delta_stream.h"
#include "diff/header_prediction.h"
#include "diff/old_window.h"
#include "diff/range_encoder.h"

namespace ORVX::Difference {
namespace {
class Encoder {
public:
    Encoder(ByteView old, const DifferencePlan& plan, const Matches& matches, const Layout& layout)
        : old_(old), plan_(plan), matches_(matches), layout_(layout)
    {
        if (layout.isHeadersForetold) {
            headers_ = HeaderPrediction::Of(old);
        }
    }

    CodedParts Encode()
    {
        PutLayout();
        Put(NumberKind::REGION_COUNT, plan_.regions.size());
        for (size_t i = 0; i < plan_.regions.size(); ++i) {
            PutRegion(plan_.regions[i], matches_.raw[i]);
        }
        return {coder_.Finish(), std::move(extra_), windowSize_};
    }

    std::string EncodeOnlyExtra()
    {
        isModelled_ = false;
        return Encode().extra;
    }

    CodedParts EncodeOnly(const std::vector<CutContent>& content)
    {
        for (const CutContent& each : content) {
            PutRaw(each.fresh, each.stretches);
        }
        return {coder_.Finish(), std::move(extra_), 0};
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

    void PutLayout()
    {
        if (layout_.version >= 2) {
            Put(NumberKind::IS_FILTERED, plan_.isFiltered ? 1 : 0);
        }
        if (layout_.version < 3) {
            return;
        }
        Put(NumberKind::PRIMING_SOURCE, layout_.priming.source);
        if (layout_.priming.source != Priming::NONE) {
            Put(NumberKind::PRIMING_START, layout_.priming.start);
            Put(NumberKind::PRIMING_LENGTH, layout_.priming.size);
        }
        Put(NumberKind::PREDICTS_HEADERS, headers_.has_value() ? 1 : 0);
        if (layout_.priming.source == Priming::WINDOW) {
            BeginGroup();
        }
    }

    void PutRegion(const Region& region, const Stretches& raw)
    {
        Put(NumberKind::RAW_LENGTH, region.raw.size);
        Put(NumberKind::LEVEL, static_cast<uint64_t>(region.level));
        if (region.level != 0) {
            Put(NumberKind::PLAIN_LENGTH, region.plainSize);
            PutFilter(NumberKind::CONTENT_FILTER, region.filter);
        }
        const std::optional<size_t> entry = headers_.has_value() ? PutEntry(region) : std::nullopt;
        const bool isContentFirst = headers_.has_value() && region.plainSize <= FILTERED_PART;
        if (isContentFirst) {
            PutPlain(region.plainSize);
            TellHeaders(entry, region);
        }
        PutRaw(region.raw, raw);
        if (!isContentFirst) {
            PutPlain(region.plainSize);
            TellHeaders(entry, region);
        }
        outputPosition_ += region.packedSize;
    }

    // The old entry that it goes on from, mostly the one behind the last one, and its size in the archive.
    std::optional<size_t> PutEntry(const Region& region)
    {
        if (region.level == 0) {
            return std::nullopt;
        }
        const auto entry = region.oldHeader.has_value() ? headers_->Find(*region.oldHeader) : std::nullopt;
        Put(NumberKind::HAS_OLD_ENTRY, entry.has_value() ? 1 : 0);
        if (entry.has_value()) {
            model_.numbers.CodeSigned(coder_, NumberKind::OLD_ENTRY, static_cast<int64_t>(*entry - nextEntry_));
            nextEntry_ = *entry + 1;
        }
        const size_t expected = entry.has_value() ? headers_->OldPackedSize(*entry) : region.plainSize;
        model_.numbers.CodeSigned(coder_, NumberKind::PACKED_LENGTH,
                                  static_cast<int64_t>(region.packedSize - expected));
        return entry;
    }

    void TellHeaders(const std::optional<size_t>& entry, const Region& region)
    {
        if (entry.has_value()) {
            headers_->Tell(*entry, {region.crc, static_cast<uint32_t>(region.packedSize),
                                    static_cast<uint32_t>(region.plainSize)});
        }
    }

    void Put(NumberKind kind, uint64_t number) { model_.numbers.Code(coder_, kind, number); }

    void PutFilter(NumberKind kind, CodeFilter filter)
    {
        if (plan_.isFiltered) {
            Put(kind, static_cast<uint64_t>(filter));
        }
    }

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

    // Codes up to size bytes of the current stretch; gives how many. old: what the next of them follow.
    size_t Continue(Cursor& cursor, const uint8_t* old, const uint8_t* fresh, size_t size)
    {
        const size_t length = std::min(size, cursor.delta != 0 ? cursor.delta : cursor.extra);
        if (cursor.delta != 0) {
            if (isModelled_) {
                cursor.coder.Code(coder_, model_, DeltaCoder::Part<const uint8_t>{old, fresh, length, cursor.delta});
            }
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
            const uint8_t* const old = headers_.has_value() && stretch.delta != 0
                                           ? headers_->Follow(stretch.oldPosition, stretch.delta, outputPosition_)
                                           : old_.data + raw_.position;
            while (raw_.delta + raw_.extra != 0) {
                fresh += Continue(raw_, old, fresh, SIZE_MAX);
            }
            outputPosition_ += stretch.delta + stretch.extra;
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
                Begin(plain_, matches_.plain[group_][stretch_++]);
            }
            plainPosition_ += Continue(plain_, plan_.oldPlain.data() + plain_.position,
                                       plan_.newPlain.data() + plainPosition_, end - plainPosition_);
        }
    }

    void BeginGroup()
    {
        if (groupsBegun_ != 0) {
            plan_.oldPlain.Rest(plan_.groups[group_].oldStart, plan_.groups[group_].oldEnd);
            plan_.newPlain.Rest(plan_.groups[group_].newStart, plan_.groups[group_].newEnd);
        }
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
        PutFilter(NumberKind::PIECE_FILTER, piece.filter);
        model_.numbers.CodeSigned(coder_, NumberKind::PIECE_GAP, static_cast<int64_t>(piece.offset - lastPieceEnd_));
        if (!piece.isDeflated) {
            Put(NumberKind::PIECE_LENGTH, piece.plainSize);
        }
        lastPieceEnd_ = piece.offset + piece.compressedSize;
        pieceEnd_ += piece.plainSize;
    }

    ByteView old_;
    const DifferencePlan& plan_;
    const Matches& matches_;
    const Layout layout_;
    std::optional<HeaderPrediction> headers_;
    bool isModelled_ = true; // delta bytes are written down
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
    size_t nextEntry_ = 0; // of the old file
    uint64_t outputPosition_ = 0;
};
} // namespace

CodedParts EncodeDifference(ByteView old, const DifferencePlan& plan, const Matches& matches, const Layout& layout)
{
    return Encoder(old, plan, matches, layout).Encode();
}

std::string EncodeOnlyExtra(ByteView old, const DifferencePlan& plan, const Matches& matches, const Layout& layout)
{
    return Encoder(old, plan, matches, layout).EncodeOnlyExtra();
}

CodedParts EncodeStretches(ByteView old, const std::vector<CutContent>& content)
{
    const DifferencePlan noPlan;
    const Matches noMatches;
    return Encoder(old, noPlan, noMatches, {}).EncodeOnly(content);
}
} // namespace ORVX::Difference
