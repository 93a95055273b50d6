// Plain zstd differences.
#ifndef TAVOMEND_APPS_TVPK_DIFF_PLAIN_H
#define TAVOMEND_APPS_TVPK_DIFF_PLAIN_H

#include "platform/host/diff/byte_view.h"

#include <optional>
#include <string>

namespace ORVX::Tvpk {
// One zstd frame with the old file as prefix, with content size and checksum, as `zstd -19 --long=31 --patch-from`
// makes it. Nothing when the library failed.
[[nodiscard]] std::optional<std::string> MakePlainDifference(TavomendHost::ByteView old, TavomendHost::ByteView fresh);
} // namespace ORVX::Tvpk

#endif
