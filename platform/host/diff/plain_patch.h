// Differences that are nothing but a zstd frame made with the old file as prefix.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_PLAIN_PATCH_H
#define TAVOMEND_PLATFORM_HOST_DIFF_PLAIN_PATCH_H

#include "platform/host/diff/byte_view.h"
#include "platform/host/diff/patch_result.h"

#include <string>

namespace ORVX::TavomendHost {
// True when the bytes begin like a zstd frame.
[[nodiscard]] bool IsPlainPatch(ByteView difference);

// Decodes the difference into a new file. It must be one frame that names its content's size and carries a checksum
// over the content, and nothing may follow it. The frame does not say which base it was made for: a wrong base shows
// by the checksum only.
[[nodiscard]] PatchResult ApplyPlainPatch(ByteView difference, ByteView base, const std::string& outputPath);
} // namespace ORVX::TavomendHost

#endif
