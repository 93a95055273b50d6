// The command line of the package maker.
#ifndef TAVOMEND_APPS_TVPK_COMMAND_LINE_H
#define TAVOMEND_APPS_TVPK_COMMAND_LINE_H

namespace ORVX::Tvpk {
// Reads the command line and runs one command. 0 done, 1 failed, 2 wrong usage, 130 or 143 interrupted. A failure is
// one line on standard error.
[[nodiscard]] int RunTvpk(int argc, char** argv);
} // namespace ORVX::Tvpk

#endif
