// `tvpk diff` and `tvpk patch`: one difference by itself.
#ifndef TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H
#define TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H

#include <string>

#include "apps/common/console.h"
#include "apps/tvpk/work_choice.h"
#include "diff/difference_limits.h"

namespace ORVX::Tvpk {
struct DiffPaths {
    std::string old;
    std::string fresh;
    std::string difference;
};

// What the device reads, and how much old content it holds at most.
struct DiffLimits {
    int format = Difference::DIFFERENCE_VERSION_MAX;
    int window = static_cast<int>(Difference::DIFFERENCE_WINDOW_USUAL >> 20); // MiB
};

// Each carries its command out, shows what came of it, and gives the exit code. What is under the path of the file to
// be written stays as it is when that cannot be made, or when the command is interrupted.
[[nodiscard]] int RunDiff(const Cli::Console& console, const DiffPaths& paths, const DiffLimits& limits,
                          const WorkChoice& work);
[[nodiscard]] int RunPatch(const Cli::Console& console, const DiffPaths& paths);
} // namespace ORVX::Tvpk

#endif
