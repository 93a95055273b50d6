// Makes the new file out of the old one and a difference, of whichever kind the difference is.
#ifndef TAVOMEND_DIFF_DIFFERENCE_APPLIER_H
#define TAVOMEND_DIFF_DIFFERENCE_APPLIER_H

#include <string>

#include "diff/apply_progress.h"
#include "diff/difference_limits.h"
#include "diff/difference_result.h"

namespace ORVX::Difference {
// Called by a port's ApplyPatch and by the maker, which proves with it what it made. The output's directory must exist;
// a file that is there under the output's path goes first, unless it is one of the inputs. After a failure there is no
// output file. An input that changes meanwhile gives a failure or changes nothing: the output is proven. waitingMax:
// see there. Safe from any thread.
[[nodiscard]] DifferenceResult ApplyDifference(const std::string& differencePath, const std::string& oldPath,
                                               const std::string& newPath, const ApplyProgress& progress = nullptr,
                                               size_t waitingMax = APPLY_WAITING_USUAL);
} // namespace ORVX::Difference

#endif
