#include "diff/old_window.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "diff/difference_limits.h"

namespace ORVX::Difference {
OldWindow::OldWindow(ByteView base, size_t capacity)
    : base_(base), capacity_(capacity), bytes_(new (std::nothrow) uint8_t[capacity])
{
}

DifferenceResult OldWindow::Slide(uint64_t drop, uint64_t load, RangeDecoder& decoder, NumberModel& numbers)
{
    if (bytes_ == nullptr) {
        return DIFFERENCE_NO_MEMORY;
    }
    loaded_ += load;
    if (drop > size_ || load > capacity_ - (size_ - drop) || loaded_ > DIFFERENCE_OUTPUT_SIZE_MAX) {
        return DIFFERENCE_DAMAGED;
    }
    std::memmove(bytes_.get(), bytes_.get() + drop, size_ - drop);
    size_ -= drop;
    start_ += drop;
    for (size_t room = load; room != 0;) {
        DifferenceResult result = DIFFERENCE_OK;
        if (!isInflating_ && storedLeft_ == 0) {
            result = BeginPiece(decoder, numbers);
        }
        const size_t before = size_;
        result = result == DIFFERENCE_OK ? ReadPiece(room) : result;
        if (result != DIFFERENCE_OK) {
            return result;
        }
        MakeAbsolute(filter_, bytes_.get() + before, size_ - before, loadedOfPiece_);
        loadedOfPiece_ += size_ - before;
    }
    return DIFFERENCE_OK;
}

DifferenceResult OldWindow::BeginPiece(RangeDecoder& decoder, NumberModel& numbers)
{
    const uint64_t method = numbers.Code(decoder, NumberKind::PIECE_METHOD, 0);
    const uint64_t filter = isFiltered_ ? numbers.Code(decoder, NumberKind::PIECE_FILTER, 0) : 0;
    const int64_t gap = numbers.CodeSigned(decoder, NumberKind::PIECE_GAP, 0);
    piecePosition_ += static_cast<uint64_t>(gap);
    if (!decoder.IsIntact() || method > DEFLATED || filter >= static_cast<uint64_t>(CodeFilter::COUNT) ||
        piecePosition_ > base_.size) {
        return DIFFERENCE_DAMAGED;
    }
    filter_ = static_cast<CodeFilter>(filter);
    loadedOfPiece_ = 0;
    if (method == STORED) {
        storedLeft_ = numbers.Code(decoder, NumberKind::PIECE_LENGTH, 0);
        return storedLeft_ != 0 && storedLeft_ <= base_.size - piecePosition_ ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
    }
    isInflating_ = true;
    isPieceEmpty_ = true;
    const ByteView rest = {base_.data + piecePosition_, base_.size - piecePosition_};
    return inflater_.Begin(rest) ? DIFFERENCE_OK : DIFFERENCE_NO_MEMORY;
}

DifferenceResult OldWindow::ReadPiece(size_t& room)
{
    if (isInflating_) {
        return ReadDeflated(room);
    }
    const size_t length = std::min<uint64_t>(room, storedLeft_);
    std::memcpy(bytes_.get() + size_, base_.data + piecePosition_, length);
    piecePosition_ += length;
    storedLeft_ -= length;
    size_ += length;
    room -= length;
    return DIFFERENCE_OK;
}

DifferenceResult OldWindow::ReadDeflated(size_t& room)
{
    size_t written = 0;
    const RawInflater::Status status = inflater_.Read(bytes_.get() + size_, room, written);
    size_ += written;
    room -= written;
    isPieceEmpty_ = isPieceEmpty_ && written == 0;
    if (status == RawInflater::Status::END) {
        isInflating_ = false;
        piecePosition_ += inflater_.Consumed();
        // Pieces without content would let a difference keep the device busy for nothing.
        return isPieceEmpty_ ? DIFFERENCE_DAMAGED : DIFFERENCE_OK;
    }
    return status == RawInflater::Status::MORE ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
}
} // namespace ORVX::Difference
