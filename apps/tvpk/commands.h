// The commands of tvpk: each one's arguments, what it prints and its exit code.
#ifndef TAVOMEND_APPS_TVPK_COMMANDS_H
#define TAVOMEND_APPS_TVPK_COMMANDS_H

namespace ORVX::Tvpk {
// 0 done, 1 failed, 2 wrong usage. Failures go to standard error, in one line each.
[[nodiscard]] int RunTvpk(int argc, char** argv);
} // namespace ORVX::Tvpk

#endif
