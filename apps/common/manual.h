// The commands' part of a program's man page.
#ifndef TAVOMEND_APPS_COMMON_MANUAL_H
#define TAVOMEND_APPS_COMMON_MANUAL_H

#include <string>
#include <vector>

#include "apps/common/command_table.h"

namespace ORVX::Cli {
// The sections SYNOPSIS, OPTIONS and COMMANDS, in the language of scdoc(5).
[[nodiscard]] std::string ManualOf(const std::vector<CommandRow>& table);
} // namespace ORVX::Cli

#endif
