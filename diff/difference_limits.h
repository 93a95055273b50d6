// What a difference may ask for at most.
#ifndef TAVOMEND_DIFF_DIFFERENCE_LIMITS_H
#define TAVOMEND_DIFF_DIFFERENCE_LIMITS_H

#include <cstdint>

namespace ORVX::Difference {
// Largest file that a difference may bring forth.
constexpr uint64_t DIFFERENCE_OUTPUT_SIZE_MAX = (uint64_t{1} << 31) - 1;
} // namespace ORVX::Difference

#endif
