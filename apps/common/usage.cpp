#include "apps/common/usage.h"

#include <algorithm>

namespace ORVX::Cli {
namespace {
constexpr size_t MISTAKES_MAX = 2;

// Letters left out, put in, changed, or exchanged with their neighbour.
size_t MistakesBetween(const std::string& one, const std::string& other)
{
    std::vector<std::vector<size_t>> least(one.size() + 1, std::vector<size_t>(other.size() + 1));
    for (size_t i = 0; i <= one.size(); ++i) {
        for (size_t k = 0; k <= other.size(); ++k) {
            if (i == 0 || k == 0) {
                least[i][k] = i + k;
                continue;
            }
            const size_t changed = one[i - 1] == other[k - 1] ? 0 : 1;
            least[i][k] = std::min({least[i - 1][k] + 1, least[i][k - 1] + 1, least[i - 1][k - 1] + changed});
            if (i > 1 && k > 1 && one[i - 1] == other[k - 2] && one[i - 2] == other[k - 1]) {
                least[i][k] = std::min(least[i][k], least[i - 2][k - 2] + 1);
            }
        }
    }
    return least[one.size()][other.size()];
}

// The innermost command that was understood; the program itself when none was.
const CLI::App& CommandOf(const CLI::App& program)
{
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().back();
    }
    return *command;
}

std::vector<std::string> CommandsOf(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::App* sub : command.get_subcommands(nullptr)) {
        names.push_back(sub->get_name());
    }
    return names;
}

std::vector<std::string> OptionsOf(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const auto& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

// An option or argument that was given, and holds nothing; null when there is none. Most often it is a variable of a
// shell that was never set, and nobody means the directory "/" or the current one by it.
const CLI::Option* EmptyOf(const CLI::App& command)
{
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            const auto& given = option->results();
            if (std::find(given.begin(), given.end(), "") != given.end()) {
                return option;
            }
        }
    }
    return nullptr;
}

std::string WhatIsWrong(const CLI::App& command, const std::string& word)
{
    const bool isOption = word.rfind('-', 0) == 0;
    const bool hasCommands = !CommandsOf(command).empty();
    const std::string of = command.get_parent() == nullptr ? "" : " of " + command.get_name();
    if (!isOption && !hasCommands) {
        return "\"" + word + "\" is more than " + command.get_name() + " takes; --help shows what it takes";
    }
    const std::string near = NearestOf(isOption ? OptionsOf(command) : CommandsOf(command), word);
    return word + " is no " + (isOption ? "option" : "command") + of +
           (near.empty() ? "; --help lists them" : "; did you mean " + near + "?");
}
} // namespace

bool WantsJson(int argc, char** argv)
{
    return std::any_of(argv, argv + argc, [](const char* word) { return std::string(word) == "--json"; });
}

int ShowUsage(const Console& console, const CLI::App& program, const CLI::ParseError& error)
{
    if (error.get_exit_code() == 0) {
        return program.exit(error);
    }
    const auto unknown = program.remaining(true);
    return console.Fail(unknown.empty() ? std::string(error.what()) + "; --help tells more"
                                        : WhatIsWrong(CommandOf(program), unknown.front()),
                        WRONG_USAGE);
}

bool IsComplete(const Console& console, const CLI::App& program)
{
    const CLI::Option* empty = EmptyOf(CommandOf(program));
    if (empty != nullptr) {
        console.Fail(empty->get_name() + " is empty; --help tells more", WRONG_USAGE);
    }
    return empty == nullptr;
}

std::string NearestOf(const std::vector<std::string>& candidates, const std::string& word)
{
    std::string nearest;
    size_t least = std::min(MISTAKES_MAX + 1, word.size());
    for (const auto& candidate : candidates) {
        const bool isBegun = word.size() > 1 && candidate.rfind(word, 0) == 0;
        const size_t mistakes = isBegun ? 1 : MistakesBetween(candidate, word);
        if (mistakes < least) {
            least = mistakes;
            nearest = candidate;
        }
    }
    return nearest;
}
} // namespace ORVX::Cli
