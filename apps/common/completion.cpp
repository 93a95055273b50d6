#include "apps/common/completion.h"

#include <algorithm>
#include <functional>

namespace ORVX::Cli {
namespace {
using Table = std::vector<CommandRow>;
constexpr const char* HELP = "Print this help message and exit";

using Words = std::vector<std::string>;
// How a shell writes a word that is offered, and what it is for.
using Offer = std::function<std::string(const std::string& word, const std::string& help)>;

std::string Quoted(const std::string& text)
{
    std::string quoted;
    for (const char letter : text) {
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return "'" + quoted + "'";
}

// One branch of a case: any of the words, before or behind something that is the same for all of them.
std::string Branch(const Words& words, const std::string& before, const std::string& behind)
{
    std::string pattern;
    for (const auto& word : words) {
        pattern += (pattern.empty() ? "" : " | ") + before + word + behind;
    }
    return "            " + (pattern.empty() ? "''" : pattern) + ")";
}

// The names of all commands' options that are so.
Words OptionsWhere(const Table& table, const std::function<bool(const OptionRow&)>& isSo)
{
    Words names;
    for (const auto& command : table) {
        for (const auto& option : command.options) {
            if (isSo(option)) {
                names.insert(names.end(), option.names.begin(), option.names.end());
            }
        }
    }
    return names;
}

// The body of the loop over the words that stand before the one to complete. Behind the loop `at` is the command, and
// `before` the option whose value is to come, if it is one. Both shells read it alike.
std::string Walk(const Table& table)
{
    const Words one =
        OptionsWhere(table, [](const OptionRow& option) { return option.TakesNextWord() && !option.isMany; });
    const Words many =
        OptionsWhere(table, [](const OptionRow& option) { return option.TakesNextWord() && option.isMany; });
    Words paths;
    for (size_t i = 1; i < table.size(); ++i) {
        paths.push_back(Quoted(table[i].path));
    }
    return "        case \"$before:$word\" in\n            *:-*) ;;\n" + Branch(one, "", ":*") +
           " before=''; continue ;;\n" + Branch(many, "", ":*") + " continue ;;\n        esac\n" +
           "        before=$word\n        case \"$at $word\" in\n" + Branch(paths, "", "") +
           " at=\"$at $word\"; before='' ;;\n        esac\n";
}

std::string OffersOf(const std::vector<OptionRow>& options, const Offer& offer)
{
    std::string offered;
    for (const auto& option : options) {
        for (const auto& name : option.names) {
            offered += offer(name, option.help) + " ";
        }
    }
    return offered;
}

// What may follow a command: its commands, its options, and those that may stand everywhere.
std::string OffersOf(const CommandRow& command, const CommandRow& program, const Offer& offer)
{
    std::string offered;
    for (const auto& [name, help] : command.commands) {
        offered += offer(name, help) + " ";
    }
    return "offered=(" + offered + (&command == &program ? "" : OffersOf(command.options, offer)) +
           "\"${everywhere[@]}\")";
}

bool TakesFile(const CommandRow& command)
{
    return std::any_of(command.arguments.begin(), command.arguments.end(),
                       [](const auto& argument) { return argument.IsFile(); });
}

// What is offered: values behind an option that takes one, otherwise what may follow the command.
std::string Offers(const Table& table, const Offer& offer)
{
    std::string text = "    everywhere=(" + OffersOf(table.front().options, offer) + offer("--help", HELP) +
                       ")\n    case \"$at $before\" in\n";
    for (const auto& command : table) {
        for (const auto& option : command.options) {
            if (!option.choices.empty()) {
                std::string values;
                for (const auto& choice : option.choices) {
                    values += (values.empty() ? "" : " ") + offer(choice, option.help);
                }
                // One of the program's may stand behind any command.
                const std::string before = &command == &table.front() ? "*' " : "'" + command.path + " ";
                text += Branch(option.names, before, "'") + " offered=(" + values + ") ;;\n";
            }
        }
    }
    const Words files = OptionsWhere(table, [](const OptionRow& row) { return row.IsFile(); });
    const Words others = OptionsWhere(
        table, [](const OptionRow& row) { return row.TakesNextWord() && !row.IsFile() && row.choices.empty(); });
    text += Branch(files, "*' ", "'") + " files=yes ;;\n" + Branch(others, "*' ", "'") + " ;;\n        *)\n" +
            "            case \"$at\" in\n";
    for (const auto& command : table) {
        text += "    " + Branch({Quoted(command.path)}, "", "") + " " + OffersOf(command, table.front(), offer) +
                (TakesFile(command) ? "; files=yes" : "") + " ;;\n";
    }
    return text + "            esac ;;\n    esac\n";
}
} // namespace

std::string BashCompletion(const Table& table)
{
    const std::string& name = table.front().path;
    const Offer word = [](const std::string& text, const std::string& /*help*/) { return text; };
    return "# Completion of " + name + " for bash; made by `" + name + " completion bash`.\n_" + name + "()\n{\n" +
           "    local at='" + name + "' before='' files='' word\n    local -a offered=() everywhere\n" +
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n" + Walk(table) + "    done\n" +
           Offers(table, word) + "    if [ -n \"$files\" ]; then\n        compopt -o default 2>/dev/null\n    fi\n" +
           "    mapfile -t COMPREPLY < <(compgen -W \"${offered[*]}\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n}\n" +
           "complete -F _" + name + " " + name + "\n";
}

std::string ZshCompletion(const Table& table)
{
    const std::string& name = table.front().path;
    const Offer described = [](const std::string& word, const std::string& help) {
        std::string text = word + ":";
        for (const char letter : help) {
            text += letter == ':' ? std::string("\\:") : std::string(1, letter);
        }
        return Quoted(text);
    };
    return "#compdef " + name + "\n# Completion of " + name + " for zsh; made by `" + name + " completion zsh`.\n_" +
           name + "()\n{\n    local at='" + name + "' before='' files='' word\n    local -a offered everywhere\n" +
           "    for word in \"${(@)words[2,CURRENT-1]}\"; do\n" + Walk(table) + "    done\n" +
           Offers(table, described) + "    if [ -n \"$offered\" ]; then\n        _describe '" + name +
           "' offered\n    fi\n" + "    if [ -n \"$files\" ]; then\n        _files\n    fi\n}\n" +
           "if [ \"$funcstack[1]\" = '_" + name + "' ]; then\n    _" + name + " \"$@\"\nelse\n    compdef _" + name +
           " " + name + "\nfi\n";
}
} // namespace ORVX::Cli
