// `tvpk diff` and `tvpk patch`: one difference by itself.
#ifndef TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H
#define TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H

#include <string>

#include "apps/common/console.h"

namespace ORVX::Tvpk {
struct DiffPaths {
    std::string old;
    std::string fresh;
    std::string difference;
};

// Each carries its command out, shows what came of it, and gives the exit code. What is under the path of the file to
// be written stays as it is when that cannot be made, or when the command is interrupted.
[[nodiscard]] int RunDiff(const Cli::Console& console, const DiffPaths& paths);
[[nodiscard]] int RunPatch(const Cli::Console& console, const DiffPaths& paths);
} // namespace ORVX::Tvpk

#endif
