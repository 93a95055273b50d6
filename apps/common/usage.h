// What both programs say to a command line that they do not understand.
#ifndef TAVOMEND_APPS_COMMON_USAGE_H
#define TAVOMEND_APPS_COMMON_USAGE_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "apps/common/console.h"

namespace ORVX::Cli {
// Whether --json is among the arguments: known before they are parsed, as wrong usage is told in JSON too.
[[nodiscard]] bool WantsJson(int argc, char** argv);
// Ends a command line whose parsing has thrown: shows the help or the version that was asked for, or says in one line
// what is wrong, with the command or option that was probably meant. Gives the exit code.
[[nodiscard]] int ShowUsage(const Console& console, const CLI::App& program, const CLI::ParseError& error);
// Whether no option or argument of a command line that was parsed is an empty text; otherwise says in one line which
// one is.
[[nodiscard]] bool IsComplete(const Console& console, const CLI::App& program);
// The candidate that a mistyped word most probably means: one that starts with it, or that at most two letters left
// out, put in, changed or exchanged make of it. Empty when none is near.
[[nodiscard]] std::string NearestOf(const std::vector<std::string>& candidates, const std::string& word);
} // namespace ORVX::Cli

#endif
