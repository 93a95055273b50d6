// Plain zstd differences.
#ifndef TAVOMEND_DIFF_PLAIN_ENCODER_H
#define TAVOMEND_DIFF_PLAIN_ENCODER_H

#include <optional>
#include <string>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// A worker cuts the content into jobs and looks for long matches first: that may come out smaller as well as larger.
// QUICK is level 12 in place of 19, with larger tables: not much larger, in a fraction of the time.
enum class PlainWay { DIRECT, WORKER, QUICK };

struct PlainAttempt {
    std::optional<std::string> frame; // nothing when it was given up, or the library failed
    bool isGivenUp = false;
};

// One zstd frame with the old file as prefix, with content size and checksum, as `zstd -19 --long=31 --patch-from`
// makes it, which has a worker unless it gets --single-thread. One that becomes larger than enough may be
// given up; those that are not are the same for any enough. A worker cannot be stopped: it saves no time.
[[nodiscard]] PlainAttempt MakePlainDifference(ByteView old, ByteView fresh, PlainWay way, size_t enough = SIZE_MAX);
} // namespace ORVX::Difference

#endif
