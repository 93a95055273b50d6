// Binary arithmetic decoding of the numbers and delta bytes of a difference.
#ifndef TAVOMEND_DIFF_RANGE_CODER_H
#define TAVOMEND_DIFF_RANGE_CODER_H

#include <cstdint>

#include "diff/byte_source.h"

namespace ORVX::Difference {
// Probabilities that a bit is 1 have this many bits; 0 and the full scale do not occur.
constexpr int PROBABILITY_BITS = 16;

// Reads the bits that the encoder of the same model wrote. Beyond the end of its input it reads zeros and says so: who
// reads numbers asks IsIntact before trusting them, so that damage ends the reading. The source must outlive it.
class RangeDecoder {
public:
    explicit RangeDecoder(ByteSource& source) : source_(source)
    {
        for (int i = 0; i < 4; ++i) {
            code_ = code_ << 8 | NextByte();
        }
    }

    // The next bit. The first argument is there for models that are written once for both directions.
    int Code(int /*bit*/, uint32_t probability)
    {
        const uint32_t middle =
            low_ + static_cast<uint32_t>((uint64_t{high_ - low_} * probability) >> PROBABILITY_BITS);
        const int bit = code_ <= middle ? 1 : 0;
        (bit == 1 ? high_ : low_) = bit == 1 ? middle : middle + 1;
        while (((low_ ^ high_) >> 24) == 0) {
            low_ <<= 8;
            high_ = high_ << 8 | 255;
            code_ = code_ << 8 | NextByte();
        }
        return bit;
    }

    // False once more was read than an intact stream has.
    [[nodiscard]] bool IsIntact() const { return missing_ <= 4; }

private:
    uint32_t NextByte()
    {
        if (position_ < piece_.size || Refill()) {
            return piece_.data[position_++];
        }
        ++missing_;
        return 0;
    }

    bool Refill()
    {
        position_ = 0;
        piece_ = missing_ == 0 ? source_.Next() : ByteView{};
        return piece_.size != 0;
    }

    ByteSource& source_;
    ByteView piece_;
    size_t position_ = 0;
    size_t missing_ = 0;
    uint32_t low_ = 0;
    uint32_t high_ = UINT32_MAX;
    uint32_t code_ = 0;
};
} // namespace ORVX::Difference

#endif
