#include "instruments/powercut/tracer.h"

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include "instruments/powercut/call_decoder.h"

namespace ORVX::TavomendTest {
using Kind = SystemCall::Kind;
using Verdict = CallWatcher::Verdict;

#if defined(__x86_64__)
namespace {
user_regs_struct RegistersOf(pid_t thread)
{
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
    return registers;
}

void SetRegister(pid_t thread, unsigned long long user_regs_struct::*name, uint64_t value)
{
    user_regs_struct registers = RegistersOf(thread);
    registers.*name = value;
    ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
}

void TellNoRoom(pid_t thread, uint64_t address)
{
    fsblkcnt_t none[2] = {0, 0};
    static_assert(offsetof(struct statfs, f_bavail) == offsetof(struct statfs, f_bfree) + sizeof(none[0]));
    const iovec here{none, sizeof(none)};
    const iovec there = There(address + offsetof(struct statfs, f_bfree), sizeof(none));
    static_cast<void>(process_vm_writev(thread, &here, 1, &there, 1, 0));
}

[[noreturn]] void BecomeTraced(const std::vector<std::string>& command, const std::string& output)
{
    const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int in = open("/dev/null", O_RDONLY);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    std::vector<char*> words;
    for (const auto& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && raise(SIGSTOP) == 0 && InstallFilter()) {
        execv(words[0], words.data());
    }
    _exit(127);
}
} // namespace

bool Tracer::IsAllowed()
{
    class Nothing : public CallWatcher {
        Verdict Before(const SystemCall& /*call*/) override { return Verdict::RUN; }
        void After(const SystemCall& /*call*/, int64_t /*result*/) override {}
        [[nodiscard]] int Error() const override { return 0; }
    } nothing;
    return Tracer("/nowhere", "/dev/null").Run({"/bin/true"}, nothing) == 0;
}

void Tracer::Start(const std::vector<std::string>& command)
{
    exitCode_.reset();
    threads_.clear();
    program_ = fork();
    if (program_ == 0) {
        BecomeTraced(command, output_);
    }
    int status = 0;
    if (waitpid(program_, &status, __WALL) != program_ || !WIFSTOPPED(status)) {
        return;
    }
    threads_.insert(program_);
    const long options = PTRACE_O_EXITKILL | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK |
                         PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC;
    ptrace(PTRACE_SETOPTIONS, program_, nullptr, options);
    ptrace(PTRACE_CONT, program_, nullptr, nullptr);
}

std::optional<int> Tracer::Run(const std::vector<std::string>& command, CallWatcher& watcher)
{
    Start(command);
    while (!threads_.empty()) {
        int status = 0;
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) {
            break;
        }
        if (!WIFSTOPPED(status)) {
            threads_.erase(thread);
            if (thread == program_ && WIFEXITED(status)) {
                exitCode_ = WEXITSTATUS(status);
            }
            continue;
        }
        threads_.insert(thread);
        const int signal = WSTOPSIG(status);
        if (status >> 16 == PTRACE_EVENT_SECCOMP) {
            OnCall(thread, watcher);
        } else { // a new thread begins with SIGSTOP
            const bool isOurs = status >> 16 != 0 || signal == SIGSTOP || (signal & ~0x80) == SIGTRAP;
            ptrace(PTRACE_CONT, thread, nullptr, isOurs ? 0 : signal);
        }
    }
    return exitCode_;
}

void Tracer::OnCall(pid_t thread, CallWatcher& watcher)
{
    const user_regs_struct registers = RegistersOf(thread);
    const CallStop stop{thread,
                        registers.orig_rax,
                        {registers.rdi, registers.rsi, registers.rdx, registers.r10, registers.r8, registers.r9}};
    auto call = DecodeCall(stop, root_);
    if (!call) {
        ptrace(PTRACE_CONT, thread, nullptr, nullptr);
        return;
    }
    const Verdict verdict = watcher.Before(*call);
    if (verdict == Verdict::KILL) {
        KillAll();
        return;
    }
    if (verdict == Verdict::FAIL) {
        SetRegister(thread, &user_regs_struct::orig_rax, static_cast<uint64_t>(-1));
        SetRegister(thread, &user_regs_struct::rax, static_cast<uint64_t>(-watcher.Error()));
        ptrace(PTRACE_CONT, thread, nullptr, nullptr);
        return;
    }
    if (verdict == Verdict::TEAR) {
        const auto size = stop.number == SYS_copy_file_range ? &user_regs_struct::r8
                          : stop.number == SYS_sendfile      ? &user_regs_struct::r10
                                                             : &user_regs_struct::rdx;
        SetRegister(thread, size, call->size / 2);
    }
    const auto result = RunToExit(thread);
    if (!result) {
        return;
    }
    if (call->kind == Kind::CREATE && *result >= 0) {
        struct stat status {};
        stat(DescriptorLink(thread, static_cast<uint64_t>(*result)).c_str(), &status);
        call->file = {status.st_dev, status.st_ino};
    }
    if (verdict == Verdict::NO_ROOM) {
        TellNoRoom(thread, stop.arguments[1]);
    }
    watcher.After(*call, *result);
    if (verdict == Verdict::TEAR) {
        KillAll();
    } else {
        ptrace(PTRACE_CONT, thread, nullptr, nullptr);
    }
}

// Only this thread's call is under way: what the others change waits at its own door.
std::optional<int64_t> Tracer::RunToExit(pid_t thread)
{
    int signal = 0;
    while (ptrace(PTRACE_SYSCALL, thread, nullptr, signal) == 0) {
        int status = 0;
        if (waitpid(thread, &status, __WALL) != thread || !WIFSTOPPED(status)) {
            threads_.erase(thread);
            return std::nullopt;
        }
        signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            return static_cast<int64_t>(RegistersOf(thread).rax);
        }
    }
    return std::nullopt;
}

void Tracer::KillAll()
{
    exitCode_.reset();
    for (const pid_t thread : threads_) {
        kill(thread, SIGKILL);
    }
    // One that was born meanwhile is stopped before its first step, and dies here.
    for (int status = 0; !threads_.empty();) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) {
            threads_.clear();
        } else if (WIFSTOPPED(status)) {
            threads_.insert(thread);
            kill(thread, SIGKILL);
            ptrace(PTRACE_CONT, thread, nullptr, nullptr);
        } else {
            threads_.erase(thread);
        }
    }
    program_ = -1;
}
#else
bool Tracer::IsAllowed()
{
    return false;
}

std::optional<int> Tracer::Run(const std::vector<std::string>& /*command*/, CallWatcher& /*watcher*/)
{
    return std::nullopt;
}
#endif
} // namespace ORVX::TavomendTest
