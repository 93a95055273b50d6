#include "apps/common/manual.h"

namespace ORVX::Cli {
namespace {
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char letter : text) {
        escaped += std::string("\\_*~`#|").find(letter) == std::string::npos ? "" : "\\";
        escaped += letter;
    }
    return escaped;
}

std::string Strong(const std::string& text)
{
    return "*" + Escaped(text) + "*";
}

std::string Value(const OptionRow& option)
{
    if (option.choices.empty()) {
        return option.value.empty() ? "" : " _" + Escaped(option.value) + "_" + (option.isMany ? "..." : "");
    }
    std::string values;
    for (const auto& choice : option.choices) {
        values += (values.empty() ? " " : "|") + Strong(choice);
    }
    return values;
}

std::string Synopsis(const CommandRow& command)
{
    std::string line = Strong(command.path);
    for (const auto& option : command.options) {
        const std::string text = Strong(option.names.back()) + Value(option);
        line += option.isRequired ? " " + text : " [" + text + "]";
    }
    for (const auto& argument : command.arguments) {
        line += " _" + Escaped(argument.names.front()) + "_" + (argument.isMany ? "..." : "");
    }
    return line + (command.commands.empty() ? "" : " _COMMAND_ ...");
}

// indent: in front of each line.
std::string Rows(const std::vector<OptionRow>& options, bool isArguments, const std::string& indent)
{
    std::string text;
    for (const auto& option : options) {
        std::string names;
        for (const auto& name : option.names) {
            names += (names.empty() ? "" : ", ") + (isArguments ? "_" + Escaped(name) + "_" : Strong(name));
        }
        const std::string fallback = option.fallback.empty() ? "" : "; " + option.fallback + " unless given";
        text += "\n" + indent + names + (isArguments ? "" : Value(option)) + "\n" + indent + "\t" +
                Escaped(option.help + fallback) + "\n";
    }
    return text;
}
} // namespace

std::string ManualOf(const std::vector<CommandRow>& table)
{
    const CommandRow& program = table.front();
    std::string text = "# SYNOPSIS\n\n" + Synopsis(program) +
                       "\n\n# OPTIONS\n\nOf every command, before it or behind.\n" + Rows(program.options, false, "") +
                       "\n*-h*, *--help*\n\tWhat the program, or a command, takes\n" + "\n# COMMANDS\n";
    for (const auto& command : table) {
        if (command.commands.empty()) { // others are the beginning of a command only
            text += "\n" + Synopsis(command) + "\n\t" + Escaped(command.help) + "\n" +
                    Rows(command.arguments, true, "\t") + Rows(command.options, false, "\t");
        }
    }
    return text;
}
} // namespace ORVX::Cli
