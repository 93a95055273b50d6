// Chooses what the dictionary of the extra bytes holds at the start.
#ifndef TAVOMEND_DIFF_PRIMING_CHOICE_H
#define TAVOMEND_DIFF_PRIMING_CHOICE_H

#include "diff/difference_encoder.h"

namespace ORVX::Difference {
// All old content where it fits into the dictionary, otherwise the part near which most extra bytes lie. None without
// old content. old: the whole old file.
[[nodiscard]] Priming ChoosePriming(ByteView old, const DifferencePlan& plan, const Matches& matches);
// Its bytes, as the applier will have them; they are the plan's, or the old file's.
[[nodiscard]] ByteView PrimingBytes(ByteView old, const DifferencePlan& plan, const Priming& priming);
} // namespace ORVX::Difference

#endif
