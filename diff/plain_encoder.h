// Plain zstd differences.
#ifndef TAVOMEND_DIFF_PLAIN_ENCODER_H
#define TAVOMEND_DIFF_PLAIN_ENCODER_H

#include <optional>
#include <string>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// A worker cuts the content into jobs and looks for long matches first: that may come out smaller as well as larger.
enum class PlainWay { DIRECT, WORKER };

// One zstd frame with the old file as prefix, with content size and checksum, as `zstd -19 --long=31 --patch-from`
// makes it, which has a worker unless it gets --single-thread. Nothing when the library failed.
[[nodiscard]] std::optional<std::string> MakePlainDifference(ByteView old, ByteView fresh, PlainWay way);
} // namespace ORVX::Difference

#endif
