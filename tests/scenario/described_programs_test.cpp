// What the programs tell of their own command lines: help, completion and man page must name the same.
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using Words = std::set<std::string>;
using Commands = std::map<std::string, Words>; // by the command's words: its own options and the commands below it

struct Program {
    const char* name;
    const char* path;
    const char* page;
};
const Program PROGRAMS[] = {{"tavomend", TAVOMEND_PROGRAM, TAVOMEND_PAGE}, {"tvpk", TVPK_PROGRAM, TVPK_PAGE}};

std::string RunShell(const std::string& line)
{
    const CliResult result = RunProgram({"bash", "-c", line});
    EXPECT_EQ(result.exitCode, 0) << line << result.err;
    EXPECT_EQ(result.err, "") << line;
    return result.out;
}

// As the parsing library prints it.
void ReadHelp(const Program& program, const std::string& path, Commands& commands)
{
    const std::string arguments = path.substr(std::string(program.name).size());
    std::istringstream help(RunShell(program.path + arguments + " --help"));
    bool areCommands = false;
    Words& words = commands[path];
    for (std::string line; std::getline(help, line);) {
        std::smatch match;
        areCommands = areCommands || line == "Subcommands:";
        if (areCommands && std::regex_search(line, match, std::regex("^  (\\w+) "))) {
            words.insert(match[1]);
            ReadHelp(program, path + " " + match[1].str(), commands);
        } else if (!areCommands && std::regex_search(line, match, std::regex("^  (-v|--[a-z-]+)"))) {
            words.insert(match[1]);
        }
    }
}

// What bash offers behind a command, or behind an option of it.
Words OffersOfBash(const Program& program, const std::string& line)
{
    std::istringstream offered(RunShell("source <(" + std::string(program.path) + " completion bash); COMP_WORDS=(" +
                                        line + " ''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _" + program.name +
                                        "; echo \"${COMPREPLY[*]}\""));
    return {std::istream_iterator<std::string>(offered), {}};
}

Words OffersOfZsh(const Program& program, const std::string& line)
{
    std::istringstream offered(
        RunShell("zsh -fc 'compdef() { :; }; _files() { :; }; _describe() { print -l -- ${${(P)2}%%:*}; }; source <(" +
                 std::string(program.path) + " completion zsh); words=(" + line + " \"\"); CURRENT=$#words; _" +
                 program.name + "'"));
    return {std::istream_iterator<std::string>(offered), {}};
}

// A man page's commands with their options, as scdoc has them: "*tavomend load* *--stage* ..." in one line.
Commands ReadPage(const Program& program)
{
    std::string page = ReadFile(program.page);
    page = page.substr(0, page.find("# EXIT STATUS"));
    Commands commands;
    std::istringstream lines(page.substr(page.find("# SYNOPSIS")));
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (std::regex_search(line, match, std::regex("^\\*(" + std::string(program.name) + "[a-z ]*)\\*"))) {
            Words& words = commands[match[1]];
            const std::regex option("\\*(-v|--[a-z-]+)\\*");
            for (std::sregex_iterator at(line.begin(), line.end(), option); at != std::sregex_iterator(); ++at) {
                words.insert((*at)[1]);
            }
        }
    }
    return commands;
}

TEST(DescribedProgramsTest, HelpCompletionAndPageNameTheSame)
{
    const bool hasZsh = RunProgram({"sh", "-c", "command -v zsh"}).exitCode == 0;
    for (const Program& program : PROGRAMS) {
        Commands commands;
        ReadHelp(program, program.name, commands);
        EXPECT_GT(commands.size(), 7U);
        const Commands page = ReadPage(program);
        const Words& everywhere = page.at(program.name);
        for (const auto& [path, words] : commands) {
            Words expected = words;
            expected.insert("--help");
            expected.insert(everywhere.begin(), everywhere.end());
            EXPECT_EQ(OffersOfBash(program, path), expected) << path;
            if (hasZsh) {
                EXPECT_EQ(OffersOfZsh(program, path), expected) << path;
            }
            const bool isBeginningOnly = path != program.name && words.count("list") != 0;
            ASSERT_EQ(page.count(path), isBeginningOnly ? 0U : 1U) << path;
            for (const auto& word : isBeginningOnly ? Words() : page.at(path)) {
                EXPECT_EQ(words.count(word), 1U) << path << " " << word;
            }
            for (const auto& word : words) {
                EXPECT_TRUE(word[0] != '-' || page.at(path).count(word) == 1) << path << " " << word;
            }
        }
        for (const auto& entry : page) {
            EXPECT_EQ(commands.count(entry.first), 1U) << entry.first;
        }
    }
}

TEST(DescribedProgramsTest, CompletionKnowsValues)
{
    const std::pair<const char*, Words> cases[] = {
        {"tavomend load --stage", {"init", "sa"}},
        {"tavomend --root device load --stage", {"init", "sa"}},
        {"tavomend boot --stage", {"init", "scan", "service"}},
        {"tavomend --root", {}},
        {"tavomend device install --user", {}},
        {"tavomend device init --factory a.vab b.vab", {}}, // more files
        {"tavomend device init --factory a.vab --system", OffersOfBash(PROGRAMS[0], "tavomend device init")},
    };
    for (const auto& [line, expected] : cases) {
        EXPECT_EQ(OffersOfBash(PROGRAMS[0], line), expected) << line;
    }
    const std::pair<const char*, bool> files[] = {
        {"deliver", true}, {"revoke", false}, {"--root", true}, {"load --stage", false}, {"device list", false}};
    for (const auto& [line, areOffered] : files) {
        const std::string said = RunShell("compopt() { echo \"$*\"; }; source <(" + std::string(TAVOMEND_PROGRAM) +
                                          " completion bash); COMP_WORDS=(tavomend " + line +
                                          " ''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tavomend");
        EXPECT_EQ(said, areOffered ? "-o default\n" : "") << line;
    }
    EXPECT_EQ(RunProgram({TAVOMEND_PROGRAM, "completion", "fish"}).exitCode, 2);
}
} // namespace
} // namespace ORVX::TavomendTest
