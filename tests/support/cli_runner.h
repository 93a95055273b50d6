// Runs a program and keeps what it says.
#ifndef TAVOMEND_TESTS_SUPPORT_CLI_RUNNER_H
#define TAVOMEND_TESTS_SUPPORT_CLI_RUNNER_H

#include <string>
#include <vector>

namespace ORVX::TavomendTest {
struct CliResult {
    int exitCode = -1; // -1 when it did not exit by itself
    std::string out;
    std::string err;
};

// Without a shell: arguments reach the program as they are. The program is looked up in PATH.
[[nodiscard]] CliResult RunProgram(const std::vector<std::string>& command);
} // namespace ORVX::TavomendTest

#endif
