// What a program tells of its own command line, for those who package it.
#ifndef TAVOMEND_APPS_COMMON_DESCRIPTION_H
#define TAVOMEND_APPS_COMMON_DESCRIPTION_H

#include <string>

namespace CLI {
class App;
}

namespace ORVX::Cli {
// Two commands that --help does not list: "completion bash|zsh" and "manual", the commands' part of the man page.
class Description {
public:
    // Adds the two to a command line, which must outlive it.
    explicit Description(CLI::App& program);
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;

    // After parsing: whether one of them was asked for, and its text.
    [[nodiscard]] bool IsAsked() const;
    [[nodiscard]] std::string Text() const;

private:
    const CLI::App& program_;
    CLI::App* const completion_;
    CLI::App* const manual_;
    std::string shell_;
};
} // namespace ORVX::Cli

#endif
