// The writing side of the range coder that the applier reads with.
#ifndef TAVOMEND_DIFF_RANGE_ENCODER_H
#define TAVOMEND_DIFF_RANGE_ENCODER_H

#include <string>

#include "diff/range_coder.h"

namespace ORVX::Difference {
// The maker's counterpart of RangeDecoder: written once with the same models, it is handed the bits to write.
class RangeEncoder {
public:
    // Writes a bit that was expected to be 1 with this probability, and gives it back.
    int Code(int bit, uint32_t probability)
    {
        const uint32_t middle =
            low_ + static_cast<uint32_t>((uint64_t{high_ - low_} * probability) >> PROBABILITY_BITS);
        (bit == 1 ? high_ : low_) = bit == 1 ? middle : middle + 1;
        while (((low_ ^ high_) >> 24) == 0) {
            text_ += static_cast<char>(high_ >> 24);
            low_ <<= 8;
            high_ = high_ << 8 | 255;
        }
        return bit;
    }

    // All that was written. The reader takes missing bytes for zeros: trailing ones need not be there.
    [[nodiscard]] std::string Finish()
    {
        for (int i = 0; i < 4 && low_ != 0; ++i) {
            // The shortest number between the borders.
            const uint32_t step = uint32_t{1} << (24 - 8 * i);
            const uint64_t value = (uint64_t{low_} + step - 1) / step * step;
            if (value <= high_) {
                for (int j = 0; j <= i; ++j) {
                    text_ += static_cast<char>(value >> (24 - 8 * j));
                }
                break;
            }
        }
        return std::move(text_);
    }

private:
    std::string text_;
    uint32_t low_ = 0;
    uint32_t high_ = UINT32_MAX;
};
} // namespace ORVX::Difference

#endif
