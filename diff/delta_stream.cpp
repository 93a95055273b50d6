#include "diff/delta_stream.h"

namespace ORVX::Difference {
DifferenceResult DeltaStream::Read(ByteView old, uint64_t oldStart, uint8_t* room, size_t size)
{
    DifferenceResult result = DIFFERENCE_OK;
    while (size != 0 && result == DIFFERENCE_OK) {
        if (delta_ == 0 && extra_ == 0) {
            result = BeginStretch();
            continue;
        }
        const size_t length = std::min<uint64_t>(size, delta_ != 0 ? delta_ : extra_);
        if (delta_ != 0) {
            result = ReadDelta(old, oldStart, room, length);
        } else {
            result = source_.extra.Read(room, length);
            extra_ -= length;
        }
        room += length;
        size -= length;
        outputPosition_ += length;
    }
    return result;
}

DifferenceResult DeltaStream::BeginStretch()
{
    position_ += static_cast<uint64_t>(source_.model.numbers.CodeSigned(source_.decoder, kinds_.seek, 0));
    delta_ = source_.model.numbers.Code(source_.decoder, kinds_.delta, 0);
    extra_ = source_.model.numbers.Code(source_.decoder, kinds_.extra, 0);
    coder_.Begin();
    return source_.decoder.IsIntact() && delta_ + extra_ != 0 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
}

DifferenceResult DeltaStream::ReadDelta(ByteView old, uint64_t oldStart, uint8_t* room, size_t size)
{
    // A position before the start wraps around and is far too large.
    const uint64_t offset = position_ - oldStart;
    if (offset > old.size || size > old.size - offset) {
        return DIFFERENCE_DAMAGED;
    }
    const uint8_t* const from =
        headers_ != nullptr ? headers_->Follow(position_, size, outputPosition_) : old.data + offset;
    coder_.Code(source_.decoder, source_.model, DeltaCoder::Part<uint8_t>{from, room, size, delta_});
    position_ += size;
    delta_ -= size;
    return DIFFERENCE_OK;
}
} // namespace ORVX::Difference
