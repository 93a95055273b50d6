// Runs a program and keeps what it says.
#ifndef TAVOMEND_TESTS_SUPPORT_CLI_RUNNER_H
#define TAVOMEND_TESTS_SUPPORT_CLI_RUNNER_H

#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ORVX::TavomendTest {
struct CliResult {
    int exitCode = -1; // -1 when it did not exit by itself
    std::string out;
    std::string err;
};

// A program that runs beside the test. Without a shell: arguments reach it as they are. It is looked up in PATH.
class RunningProgram {
public:
    // pendingSignal: waits for the program from its first moment on, blocked; 0 for none.
    explicit RunningProgram(const std::vector<std::string>& command, int pendingSignal = 0);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    void Signal(int signal) const;
    // To its end; once.
    [[nodiscard]] CliResult Wait();

private:
    using StreamFile = std::unique_ptr<FILE, int (*)(FILE*)>;
    StreamFile out_;
    StreamFile err_;
    pid_t child_ = -1;
};

[[nodiscard]] CliResult RunProgram(const std::vector<std::string>& command);
} // namespace ORVX::TavomendTest

#endif
