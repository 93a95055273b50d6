// Runs a command, keeps its words to itself, and writes one line: the seconds it took and its peak resident size in
// KiB.
//   bench_measure COMMAND [ARGUMENT...]
// The exit code is the command's.
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int EXIT_NOT_RUN = 127;

// The command's own words are of no interest here.
void BecomeQuiet()
{
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        return EXIT_NOT_RUN;
    }
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        BecomeQuiet();
        execvp(argv[1], argv + 1);
        _exit(EXIT_NOT_RUN);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        return EXIT_NOT_RUN;
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    std::printf("%.3f %ld\n", elapsed.count(), usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_NOT_RUN;
}
