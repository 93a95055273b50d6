// Writes a planned and matched difference down.
#ifndef TAVOMEND_DIFF_DIFFERENCE_ENCODER_H
#define TAVOMEND_DIFF_DIFFERENCE_ENCODER_H

#include <optional>
#include <string>

#include "diff/difference_plan.h"
#include "diff/matcher.h"

namespace ORVX::Difference {
// The stretches of one region's raw bytes, or of one group's content; positions are those of the whole old file, and of
// the concatenated content of all pieces.
using Stretches = std::vector<Stretch>;

// rawStretches: for each region; plainStretches: for each group. Nothing when a library failed.
[[nodiscard]] std::optional<std::string> EncodeDifference(ByteView old, ByteView fresh, const DifferencePlan& plan,
                                                          const std::vector<Stretches>& rawStretches,
                                                          const std::vector<Stretches>& plainStretches);
} // namespace ORVX::Difference

#endif
