// A program's command line as a table: what completion and the man page are made from. The command line itself stays
// the one place where commands and options are written down.
#ifndef TAVOMEND_APPS_COMMON_COMMAND_TABLE_H
#define TAVOMEND_APPS_COMMON_COMMAND_TABLE_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ORVX::Cli {
struct OptionRow {
    std::vector<std::string> names; // with their dashes; of an argument without, and one alone
    std::string value;              // what stands for it: "DIR"; empty for a flag, "[X]" for one that may be left out
    std::vector<std::string> choices;
    std::string fallback; // the value where none is given; may be empty
    std::string help;
    bool isRequired = false;
    bool isMany = false; // takes several values
    // A path by its value's word: TEXT, DIR, FILE or PEM.
    [[nodiscard]] bool IsFile() const;
    [[nodiscard]] bool TakesNextWord() const { return !value.empty() && value.front() != '['; }
};

struct CommandRow {
    std::string path; // its words, from the program's name on
    std::string help;
    std::vector<OptionRow> options; // its own, without --help
    std::vector<OptionRow> arguments;
    std::vector<std::pair<std::string, std::string>> commands; // below it: name and help
};

// The program itself first, then its commands as --help lists them, each before those below it. Hidden ones are left
// out.
[[nodiscard]] std::vector<CommandRow> TableOf(const CLI::App& program);
} // namespace ORVX::Cli

#endif
