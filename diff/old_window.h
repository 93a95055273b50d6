// The inflated old content that a difference refers to: a window that moves forward over the concatenated content of
// the old file's entries, in the order that the difference names them.
#ifndef TAVOMEND_DIFF_OLD_WINDOW_H
#define TAVOMEND_DIFF_OLD_WINDOW_H

#include "diff/code_filter.h"
#include "diff/delta_model.h"
#include "diff/difference_result.h"
#include "diff/range_coder.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
// The applier of archives owns one. It holds at most its capacity, and in all it loads no more than an output may be
// large, however many groups a difference has.
class OldWindow {
public:
    enum PieceMethod : uint8_t { STORED = 0, DEFLATED = 1 };

    // capacity: the most bytes that the window holds, at most DifferenceWindowMax.
    OldWindow(ByteView base, size_t capacity);

    // Drops bytes at the front and appends others, which come from the pieces of the base that the decoder names.
    // DIFFERENCE_DAMAGED when that is more than there is or fits, or when a piece is none; View means nothing then.
    [[nodiscard]] DifferenceResult Slide(uint64_t drop, uint64_t load, RangeDecoder& decoder, NumberModel& numbers);

    // Whether each piece names a filter for its content; before the first Slide.
    void SetFiltered(bool isFiltered) { isFiltered_ = isFiltered; }

    [[nodiscard]] uint64_t Start() const { return start_; }
    [[nodiscard]] ByteView View() const { return ByteView{bytes_.get(), size_}; }

private:
    [[nodiscard]] DifferenceResult BeginPiece(RangeDecoder& decoder, NumberModel& numbers);
    [[nodiscard]] DifferenceResult ReadPiece(size_t& room);
    [[nodiscard]] DifferenceResult ReadDeflated(size_t& room);

    ByteView base_;
    size_t capacity_;
    std::unique_ptr<uint8_t[]> bytes_;
    size_t size_ = 0;
    uint64_t start_ = 0;
    uint64_t loaded_ = 0; // in all; bounds the work that a difference can ask for
    RawInflater inflater_;
    uint64_t piecePosition_ = 0; // in the base: of the current piece, or the end of the last one
    uint64_t storedLeft_ = 0;
    bool isInflating_ = false;
    bool isPieceEmpty_ = false;
    bool isFiltered_ = false;
    CodeFilter filter_ = CodeFilter::NONE; // of the piece
    uint64_t loadedOfPiece_ = 0;
};
} // namespace ORVX::Difference

#endif
