// Writes a planned and matched difference down.
#ifndef TAVOMEND_DIFF_DIFFERENCE_ENCODER_H
#define TAVOMEND_DIFF_DIFFERENCE_ENCODER_H

#include <string>

#include "diff/difference_plan.h"
#include "diff/matcher.h"
#include "diff/priming.h"

namespace ORVX::Difference {
// The stretches of one region's raw bytes, or of one group's content; positions are those of the whole old file, and of
// the concatenated content of all pieces.
using Stretches = std::vector<Stretch>;

struct Matches {
    std::vector<Stretches> raw;   // for each region
    std::vector<Stretches> plain; // for each group
};

struct CodedParts {
    std::string model;     // numbers and delta bytes
    std::string extra;     // bytes without a counterpart, not compressed
    size_t windowSize = 0; // most old content at a time
};

// How it is written down.
struct Layout {
    uint8_t version = 1;            // a plan that is filtered needs 2, what follows here 3
    Priming priming = {};           // of the extra bytes' dictionary
    bool isHeadersForetold = false; // the old file must be an archive that HeaderPrediction takes
};

// old: the whole old file.
[[nodiscard]] CodedParts EncodeDifference(ByteView old, const DifferencePlan& plan, const Matches& matches,
                                          const Layout& layout);

// Of the same only the extra bytes, in a fraction of the time.
[[nodiscard]] std::string EncodeOnlyExtra(ByteView old, const DifferencePlan& plan, const Matches& matches,
                                          const Layout& layout);

// New content, and how it is cut.
struct CutContent {
    ByteView fresh;
    const Stretches& stretches;
};
// What pieces of new content take by themselves, one behind another: to compare ways to cut them. Nothing reads it.
[[nodiscard]] CodedParts EncodeStretches(ByteView old, const std::vector<CutContent>& content);
} // namespace ORVX::Difference

#endif
