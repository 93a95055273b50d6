// Writes the maker's own kind of difference, in the version that pays.
#ifndef TAVOMEND_DIFF_OWN_WRITER_H
#define TAVOMEND_DIFF_OWN_WRITER_H

#include <optional>
#include <string>
#include <vector>

#include "diff/difference_encoder.h"

namespace ORVX::Difference {
struct WriteRequest {
    ByteView old;
    ByteView fresh;
    const DifferencePlan& plan;
    uint8_t version; // the highest that may be used
};

// Of one or several ways to cut the new content, that which codes smallest, whole. Nothing when a library failed. Uses
// all cores.
[[nodiscard]] std::optional<std::string> WriteOwnDifference(const WriteRequest& request,
                                                            const std::vector<Matches>& ways);
} // namespace ORVX::Difference

#endif
