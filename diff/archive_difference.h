// Applies an archive-aware difference: the new file is put together from raw stretches, which follow the old file, and
// from entries deflated anew, whose content follows the inflated content of the old file's entries.
#ifndef TAVOMEND_DIFF_ARCHIVE_DIFFERENCE_H
#define TAVOMEND_DIFF_ARCHIVE_DIFFERENCE_H

#include <string>

#include "diff/apply_progress.h"
#include "diff/difference_file.h"
#include "diff/difference_result.h"

namespace ORVX::Difference {
// Needs the window that the header names and less than 20 MiB more besides the base, whatever else the difference
// says, with APPLY_WAITING_USUAL for waitingMax. The base's hash is checked before the output is created, and the
// output's before it is kept.
[[nodiscard]] DifferenceResult ApplyArchiveDifference(DifferenceFile& difference, ByteView base,
                                                      const std::string& outputPath, const ApplyProgress& progress,
                                                      size_t waitingMax);
} // namespace ORVX::Difference

#endif
