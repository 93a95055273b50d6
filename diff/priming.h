// What of the old content the dictionary of the extra bytes holds at the start: new bytes that follow nothing for long
// still share short strings with what is near by.
#ifndef TAVOMEND_DIFF_PRIMING_H
#define TAVOMEND_DIFF_PRIMING_H

#include "diff/byte_view.h"

namespace ORVX::Difference {
// What the maker takes at most, so that a device keeps to the memory that it needs besides the window: deflating takes
// some of it.
constexpr uint64_t PRIMING_MAX = uint64_t{2} << 20;
constexpr uint64_t PRIMING_MAX_BESIDE_DEFLATE = uint64_t{1} << 20;

struct Priming {
    // The order is part of the format. WINDOW: as the first group has it, filtered where that is.
    enum Source : uint8_t { NONE, BASE, WINDOW, COUNT };

    Source source = NONE;
    uint64_t start = 0; // in its source
    uint64_t size = 0;
};
} // namespace ORVX::Difference

#endif
