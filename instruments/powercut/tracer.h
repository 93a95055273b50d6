// Runs a program, stops it before each call that changes files below a folder, and asks a watcher what becomes of it.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_TRACER_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_TRACER_H

#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "instruments/powercut/system_call.h"

namespace ORVX::TavomendTest {
// ptrace(2) with a seccomp(2) filter that stops only at the calls of interest, in all processes and threads of the
// program. For one thread, one run at a time, in a process without other children.
class Tracer {
public:
    // root: the folder whose changes count. output: receives what the program prints.
    Tracer(std::string root, std::string output) : root_(std::move(root)), output_(std::move(output)) {}

    // False where the kernel, the sandbox or the processor does not let this work.
    [[nodiscard]] static bool IsAllowed();
    // The program's exit code; nothing when it was killed. Nothing of it runs any more.
    std::optional<int> Run(const std::vector<std::string>& command, CallWatcher& watcher);

private:
    void Start(const std::vector<std::string>& command);
    void OnCall(pid_t thread, CallWatcher& watcher);
    std::optional<int64_t> RunToExit(pid_t thread);
    void KillAll();

    std::string root_;
    std::string output_;
    std::set<pid_t> threads_;
    pid_t program_ = -1;
    std::optional<int> exitCode_;
};
} // namespace ORVX::TavomendTest

#endif
