// Writes a planned and matched difference down.
#ifndef TAVOMEND_APPS_TVPK_DIFF_ENCODER_H
#define TAVOMEND_APPS_TVPK_DIFF_ENCODER_H

#include "apps/tvpk/diff_matcher.h"
#include "apps/tvpk/diff_plan.h"

#include <optional>
#include <string>

namespace ORVX::Tvpk {
// The stretches of one region's raw bytes, or of one group's content; positions are those of the whole old file, and of
// the concatenated content of all pieces.
using Stretches = std::vector<Stretch>;

// rawStretches: for each region; plainStretches: for each group. Nothing when a library failed.
[[nodiscard]] std::optional<std::string> EncodeDifference(ByteView old, ByteView fresh, const DiffPlan& plan,
                                                          const std::vector<Stretches>& rawStretches,
                                                          const std::vector<Stretches>& plainStretches);
} // namespace ORVX::Tvpk

#endif
