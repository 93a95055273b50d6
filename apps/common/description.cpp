#include "apps/common/description.h"

#include <CLI/CLI.hpp>

#include "apps/common/command_table.h"
#include "apps/common/completion.h"
#include "apps/common/manual.h"

namespace ORVX::Cli {
namespace {
constexpr const char* UNLISTED = "";
} // namespace

Description::Description(CLI::App& program)
    : program_(program),
      completion_(program.add_subcommand("completion", "Print the completion script for a shell")->group(UNLISTED)),
      manual_(program.add_subcommand("manual", "Print the commands' part of the man page")->group(UNLISTED))
{
    completion_->add_option("SHELL", shell_, "bash or zsh")->required()->check(CLI::IsMember({"bash", "zsh"}));
}

bool Description::IsAsked() const
{
    return completion_->parsed() || manual_->parsed();
}

std::string Description::Text() const
{
    const auto table = TableOf(program_);
    return manual_->parsed() ? ManualOf(table) : shell_ == "bash" ? BashCompletion(table) : ZshCompletion(table);
}
} // namespace ORVX::Cli
