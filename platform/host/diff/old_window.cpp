#include "platform/host/diff/old_window.h"

#include "platform/host/diff/patch_limits.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace ORVX::TavomendHost {
OldWindow::OldWindow(ByteView base, size_t capacity)
    : base_(base), capacity_(capacity), bytes_(new (std::nothrow) uint8_t[capacity])
{
}

PatchResult OldWindow::Slide(uint64_t drop, uint64_t load, RangeDecoder& decoder, NumberModel& numbers)
{
    if (bytes_ == nullptr) {
        return PATCH_NO_MEMORY;
    }
    loaded_ += load;
    if (drop > size_ || load > capacity_ - (size_ - drop) || loaded_ > PATCH_OUTPUT_SIZE_MAX) {
        return PATCH_DAMAGED;
    }
    std::memmove(bytes_.get(), bytes_.get() + drop, size_ - drop);
    size_ -= drop;
    start_ += drop;
    for (size_t room = load; room != 0;) {
        PatchResult result = PATCH_OK;
        if (!isInflating_ && storedLeft_ == 0) {
            result = BeginPiece(decoder, numbers);
        }
        result = result == PATCH_OK ? ReadPiece(room) : result;
        if (result != PATCH_OK) {
            return result;
        }
    }
    return PATCH_OK;
}

PatchResult OldWindow::BeginPiece(RangeDecoder& decoder, NumberModel& numbers)
{
    const uint64_t method = numbers.Code(decoder, NumberKind::PIECE_METHOD, 0);
    const int64_t gap = numbers.CodeSigned(decoder, NumberKind::PIECE_GAP, 0);
    piecePosition_ += static_cast<uint64_t>(gap);
    if (!decoder.IsIntact() || method > DEFLATED || piecePosition_ > base_.size) {
        return PATCH_DAMAGED;
    }
    if (method == STORED) {
        storedLeft_ = numbers.Code(decoder, NumberKind::PIECE_LENGTH, 0);
        return storedLeft_ != 0 && storedLeft_ <= base_.size - piecePosition_ ? PATCH_OK : PATCH_DAMAGED;
    }
    isInflating_ = true;
    isPieceEmpty_ = true;
    const ByteView rest = {base_.data + piecePosition_, base_.size - piecePosition_};
    return inflater_.Begin(rest) ? PATCH_OK : PATCH_NO_MEMORY;
}

PatchResult OldWindow::ReadPiece(size_t& room)
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
    return PATCH_OK;
}

PatchResult OldWindow::ReadDeflated(size_t& room)
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
        return isPieceEmpty_ ? PATCH_DAMAGED : PATCH_OK;
    }
    return status == RawInflater::Status::MORE ? PATCH_OK : PATCH_DAMAGED;
}
} // namespace ORVX::TavomendHost
