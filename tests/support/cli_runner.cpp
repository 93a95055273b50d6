#include "tests/support/cli_runner.h"

#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ORVX::TavomendTest {
namespace {
using StreamFile = std::unique_ptr<FILE, int (*)(FILE*)>;

std::string ReadAll(FILE* file)
{
    rewind(file);
    std::string text;
    for (int byte = getc(file); byte != EOF; byte = getc(file)) {
        text += static_cast<char>(byte);
    }
    return text;
}
} // namespace

CliResult RunProgram(const std::vector<std::string>& command)
{
    const StreamFile out(tmpfile(), fclose);
    const StreamFile err(tmpfile(), fclose);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, fileno(out.get()), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(err.get()), STDERR_FILENO);
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int spawned = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0) << "cannot run " << command[0];
    CliResult result;
    int status = 0;
    if (spawned == 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    result.out = ReadAll(out.get());
    result.err = ReadAll(err.get());
    return result;
}
} // namespace ORVX::TavomendTest
