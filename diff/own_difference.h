// The maker's own kind of difference: archive-aware, of whichever version will do.
#ifndef TAVOMEND_DIFF_OWN_DIFFERENCE_H
#define TAVOMEND_DIFF_OWN_DIFFERENCE_H

#include <optional>
#include <string>

#include "diff/difference_plan.h"
#include "diff/mapped_file.h"
#include "diff/step_progress.h"

namespace ORVX::Difference {
struct OwnRequest {
    const MappedFile& old;
    const MappedFile& fresh;
    uint8_t version;    // the highest that may be used
    size_t window;      // most inflated old content at a time, in bytes
    size_t sampledFrom; // see DifferenceOptions
    uint64_t memory;    // that all the work shall take, in bytes
    LevelProof proof;
    std::string scratch; // see PlanWishes
};

struct OwnDifference {
    std::string bytes;
    size_t entries = 0;      // that are deflated anew
    bool isPresumed = false; // of some it is not proven that this gives the same data
};

// Several ways to align new content with old one are tried, and the one that codes smallest is taken. Nothing when a
// library failed. Tells the steps "inflate", "match" and "encode". Uses all cores.
[[nodiscard]] std::optional<OwnDifference> MakeOwnDifference(const OwnRequest& request, StepProgress& progress);
} // namespace ORVX::Difference

#endif
