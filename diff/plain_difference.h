// Differences that are nothing but a zstd frame made with the old file as prefix.
#ifndef TAVOMEND_DIFF_PLAIN_DIFFERENCE_H
#define TAVOMEND_DIFF_PLAIN_DIFFERENCE_H

#include <string>

#include "diff/apply_progress.h"
#include "diff/byte_view.h"
#include "diff/difference_result.h"

namespace ORVX::Difference {
// True when the bytes begin like a zstd frame.
[[nodiscard]] bool IsPlainDifference(ByteView difference);

// Decodes the difference into a new file. It must be one frame that names its content's size and carries a checksum
// over the content, and nothing may follow it. The frame does not say which base it was made for: a wrong base shows
// by the checksum only.
[[nodiscard]] DifferenceResult ApplyPlainDifference(ByteView difference, ByteView base, const std::string& outputPath,
                                                    const ApplyProgress& progress);
} // namespace ORVX::Difference

#endif
