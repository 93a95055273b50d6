#include "apps/common/command_table.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace ORVX::Cli {
namespace {
// The parser writes conditions behind the value: "TEXT:{init,sa}", "INT:INT in [0 - 9]".
std::vector<std::string> ChoicesIn(const std::string& type)
{
    std::vector<std::string> choices;
    const size_t open = type.find(":{");
    if (open != std::string::npos) {
        std::istringstream list(type.substr(open + 2, type.find('}') - open - 2));
        for (std::string choice; std::getline(list, choice, ',');) {
            choices.push_back(choice);
        }
    }
    return choices;
}

OptionRow RowOf(const CLI::Option& option)
{
    OptionRow row;
    if (option.get_positional()) {
        row.names.push_back(option.get_name(true));
    }
    for (const auto& name : option.get_snames()) {
        row.names.push_back("-" + name);
    }
    for (const auto& name : option.get_lnames()) {
        row.names.push_back("--" + name);
    }
    const std::string type = option.get_expected_max() == 0 ? "" : option.get_type_name();
    row.value = type.substr(0, type.find(':'));
    row.choices = ChoicesIn(type);
    row.fallback = option.get_default_str();
    row.help = option.get_description();
    row.isRequired = option.get_required();
    row.isMany = option.get_expected_max() > 1;
    return row;
}

void AddRows(const CLI::App& command, const std::string& path, std::vector<CommandRow>& table)
{
    CommandRow row{path, command.get_description(), {}, {}, {}};
    for (const CLI::Option* option : command.get_options()) {
        if (option != command.get_help_ptr()) {
            (option->get_positional() ? row.arguments : row.options).push_back(RowOf(*option));
        }
    }
    const auto below = command.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
    for (const CLI::App* sub : below) {
        row.commands.emplace_back(sub->get_name(), sub->get_description());
    }
    table.push_back(row);
    for (const CLI::App* sub : below) {
        AddRows(*sub, path + " " + sub->get_name(), table);
    }
}
} // namespace

bool OptionRow::IsFile() const
{
    return choices.empty() && (value == "TEXT" || value == "DIR" || value == "FILE" || value == "PEM");
}

std::vector<CommandRow> TableOf(const CLI::App& program)
{
    std::vector<CommandRow> table;
    AddRows(program, program.get_name(), table);
    return table;
}
} // namespace ORVX::Cli
