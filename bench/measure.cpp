// Runs a command, keeps its words to itself, and writes one line: seconds by the clock, seconds of CPU, its peak
// resident size in KiB, and the bytes that its calls have read and written (proc(5), "io": what is mapped is not among
// them). A program of its own, because a peak begins with that of the process that starts the command.
//   bench_measure TOUCHED_MIB COMMAND [ARGUMENT...]
// Before, so many MiB of the machine's free memory are touched, half of it at most: what the host of a virtual machine
// has taken back costs whoever is the first to touch it several times as much, and none of that is the command's own.
// The exit code is the command's.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr int EXIT_NOT_RUN = 127;
constexpr double MICROSECOND = 1e-6;

// In a process of its own, whose end frees it again.
void TouchMemory(size_t wanted)
{
    const pid_t child = fork();
    if (child != 0) {
        waitpid(child, nullptr, 0);
        return;
    }
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t size = std::min(wanted, static_cast<size_t>(sysconf(_SC_AVPHYS_PAGES)) / 2 * page);
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    for (size_t at = 0; memory != MAP_FAILED && at < size; at += page) {
        static_cast<volatile char*>(memory)[at] = 1;
    }
    _exit(0);
}

// The command's own words are of no interest here.
void BecomeQuiet()
{
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
}

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * MICROSECOND;
}

struct Transferred {
    unsigned long long read = 0;
    unsigned long long written = 0;
};

// Of a process that has ended and is not waited for yet, and of its children that it has waited for.
Transferred TransferredBy(pid_t child)
{
    Transferred transferred;
    std::ifstream io("/proc/" + std::to_string(child) + "/io");
    std::string name;
    for (unsigned long long count = 0; io >> name >> count;) {
        transferred.read = name == "rchar:" ? count : transferred.read;
        transferred.written = name == "wchar:" ? count : transferred.written;
    }
    return transferred;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        return EXIT_NOT_RUN;
    }
    TouchMemory(std::strtoul(argv[1], nullptr, 10) << 20);
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        BecomeQuiet();
        execvp(argv[2], argv + 2);
        _exit(EXIT_NOT_RUN);
    }
    siginfo_t ended{};
    if (child < 0 || waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT) != 0) {
        return EXIT_NOT_RUN;
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    const Transferred transferred = TransferredBy(child);
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
        return EXIT_NOT_RUN;
    }
    std::printf("%.4f %.4f %ld %llu %llu\n", elapsed.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
                usage.ru_maxrss, transferred.read, transferred.written);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_NOT_RUN;
}
