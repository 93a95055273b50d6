// What a difference may ask for at most.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_PATCH_LIMITS_H
#define TAVOMEND_PLATFORM_HOST_DIFF_PATCH_LIMITS_H

#include <cstdint>

namespace ORVX::TavomendHost {
// Largest file that a difference may bring forth.
constexpr uint64_t PATCH_OUTPUT_SIZE_MAX = (uint64_t{1} << 31) - 1;
} // namespace ORVX::TavomendHost

#endif
