#include "tests/support/cli_runner.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ORVX::TavomendTest {
namespace {
// A file for one of the program's streams, read and removed afterwards.
class StreamFile {
public:
    StreamFile() : descriptor_(mkstemp(path_)) { EXPECT_GE(descriptor_, 0); }
    ~StreamFile()
    {
        close(descriptor_);
        unlink(path_);
    }
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;
    [[nodiscard]] int Get() const { return descriptor_; }
    [[nodiscard]] std::string Read() const
    {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    char path_[32] = "/tmp/tavomendXXXXXX";
    int descriptor_;
};
} // namespace

CliResult RunProgram(const std::vector<std::string>& command)
{
    const StreamFile out;
    const StreamFile err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.Get(), STDERR_FILENO);
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
    result.out = out.Read();
    result.err = err.Read();
    return result;
}
} // namespace ORVX::TavomendTest
