// Completion of a program's command line, for shells.
#ifndef TAVOMEND_APPS_COMMON_COMPLETION_H
#define TAVOMEND_APPS_COMMON_COMPLETION_H

#include <string>
#include <vector>

#include "apps/common/command_table.h"

namespace ORVX::Cli {
// A script to source, or to put where the shell looks for completions. Commands, options and fixed values complete by
// their names, paths to files; zsh shows what each is for.
[[nodiscard]] std::string BashCompletion(const std::vector<CommandRow>& table);
[[nodiscard]] std::string ZshCompletion(const std::vector<CommandRow>& table);
} // namespace ORVX::Cli

#endif
