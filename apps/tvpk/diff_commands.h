// `tvpk diff` and `tvpk patch`: one difference by itself.
#ifndef TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H
#define TAVOMEND_APPS_TVPK_DIFF_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>

namespace ORVX::Tvpk {
// Adds the two commands to a program. Parsing a command line that names one of them carries it out and puts the exit
// code into result: 0 done, 1 failed (with one line on standard error).
class DiffCommands {
public:
    DiffCommands(CLI::App& program, int& result);
    DiffCommands(const DiffCommands&) = delete;
    DiffCommands& operator=(const DiffCommands&) = delete;

private:
    [[nodiscard]] int Diff() const;
    [[nodiscard]] int Patch() const;

    std::string oldPath_;
    std::string newPath_;
    std::string differencePath_;
    bool json_ = false;
};
} // namespace ORVX::Tvpk

#endif
