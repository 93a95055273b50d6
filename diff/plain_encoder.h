// Plain zstd differences.
#ifndef TAVOMEND_DIFF_PLAIN_ENCODER_H
#define TAVOMEND_DIFF_PLAIN_ENCODER_H

#include <optional>
#include <string>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// One zstd frame with the old file as prefix, with content size and checksum, as `zstd -19 --long=31 --patch-from`
// makes it. Nothing when the library failed.
[[nodiscard]] std::optional<std::string> MakePlainDifference(ByteView old, ByteView fresh);
} // namespace ORVX::Difference

#endif
