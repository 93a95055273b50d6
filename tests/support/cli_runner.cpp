#include "tests/support/cli_runner.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ORVX::TavomendTest {
namespace {
constexpr int CANNOT_RUN = 127;

std::string ReadAll(FILE* file)
{
    rewind(file);
    std::string text;
    for (int byte = getc(file); byte != EOF; byte = getc(file)) {
        text += static_cast<char>(byte);
    }
    return text;
}

// In the child: what is pending and blocked stays so in the program that takes its place.
void MakePending(int signal)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    kill(getpid(), signal);
}
} // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& command, int pendingSignal)
    : out_(tmpfile(), fclose), err_(tmpfile(), fclose)
{
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const int files[] = {open("/dev/null", O_RDONLY | O_CLOEXEC), fileno(out_.get()), fileno(err_.get())};
    child_ = fork();
    if (child_ == 0) {
        for (int i = 0; i < 3; ++i) {
            dup2(files[i], i);
        }
        closefrom(3); // a lock that the test holds would be the program's too, which waits for it
        for (const int asked : {SIGINT, SIGTERM}) { // which are ignored where the tests run behind a shell's "&"
            signal(asked, SIG_DFL);
        }
        if (pendingSignal != 0) {
            MakePending(pendingSignal);
        }
        execvp(arguments[0], arguments.data());
        _exit(CANNOT_RUN);
    }
    close(files[0]);
    EXPECT_GT(child_, 0) << "cannot run " << command[0];
}

RunningProgram::~RunningProgram()
{
    if (child_ > 0) {
        Signal(SIGKILL);
        static_cast<void>(Wait());
    }
}

void RunningProgram::Signal(int signal) const
{
    kill(child_, signal);
}

CliResult RunningProgram::Wait()
{
    CliResult result;
    int status = 0;
    if (child_ > 0 && waitpid(child_, &status, 0) == child_ && WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    child_ = -1;
    result.out = ReadAll(out_.get());
    result.err = ReadAll(err_.get());
    return result;
}

CliResult RunProgram(const std::vector<std::string>& command)
{
    return RunningProgram(command).Wait();
}
} // namespace ORVX::TavomendTest
