// What a difference may ask for at most.
#ifndef TAVOMEND_DIFF_DIFFERENCE_LIMITS_H
#define TAVOMEND_DIFF_DIFFERENCE_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace ORVX::Difference {
// Largest file that a difference may bring forth.
constexpr uint64_t DIFFERENCE_OUTPUT_SIZE_MAX = (uint64_t{1} << 31) - 1;

// Versions of the archive-aware format that the applier reads; each maker writes the lowest one that will do.
constexpr uint8_t DIFFERENCE_VERSION_MIN = 1;
constexpr uint8_t DIFFERENCE_VERSION_MAX = 3;

// Not every device reads what a later version has: the maker takes it only for a difference that is smaller than
// without it by such a part.
constexpr size_t LATER_VERSION_GAIN_SHARE = 256;
constexpr bool IsWorthLaterVersion(size_t size, size_t sizeWithout)
{
    return size < sizeWithout - sizeWithout / LATER_VERSION_GAIN_SHARE;
}

// Largest window of a version, in bytes.
constexpr uint32_t DifferenceWindowMax(uint8_t version)
{
    return version == DIFFERENCE_VERSION_MIN ? uint32_t{12} << 20 : uint32_t{256} << 20;
}
// What the maker takes unless it is told otherwise.
constexpr uint32_t DIFFERENCE_WINDOW_USUAL = uint32_t{64} << 20;
// For people: rounded up.
constexpr uint64_t InMib(uint64_t bytes)
{
    return (bytes + (uint64_t{1} << 20) - 1) >> 20;
}

// New content that waits at most to be deflated and written while what follows is decoded, in bytes: besides base and
// window most of what applying takes. More keeps both threads at work where entries are larger.
constexpr size_t APPLY_WAITING_USUAL = size_t{1} << 20;

// Deflated data is never smaller than this part of its content.
constexpr uint64_t DEFLATE_RATIO_MAX = 1032;
} // namespace ORVX::Difference

#endif
