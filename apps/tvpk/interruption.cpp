#include "apps/tvpk/interruption.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace ORVX::Tvpk {
namespace {
constexpr int EXIT_BY_SIGNAL = 128; // as shells have it: and the signal's number
} // namespace

Interruption::Interruption(const Cli::Console& console) : console_(console)
{
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&signals_, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &signals_, &former_);
    received_ = Handles::UniqueDescriptor(signalfd(-1, &signals_, SFD_NONBLOCK | SFD_CLOEXEC));
    isOver_ = Handles::UniqueDescriptor(eventfd(0, EFD_CLOEXEC));
    mutex_.lock();
    watcher_ = std::thread([this] { Watch(); });
}

Interruption::~Interruption()
{
    static_cast<void>(eventfd_write(isOver_.Get(), 1));
    signalfd_siginfo dropped{};
    while (read(received_.Get(), &dropped, sizeof(dropped)) > 0) {
    }
    cleanUp_ = nullptr;
    mutex_.unlock();
    watcher_.join();
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

void Interruption::SetCleanUp(std::function<void()> cleanUp)
{
    cleanUp_ = std::move(cleanUp);
}

void Interruption::Check()
{
    EndIfSignalled();
}

void Interruption::Allow(const std::function<void()>& work)
{
    EndIfSignalled();
    mutex_.unlock();
    isSettled_ = false;
    work();
    if (!isSettled_) {
        mutex_.lock();
        EndIfSignalled();
    }
}

void Interruption::Settle()
{
    mutex_.lock();
    EndIfSignalled();
    isSettled_ = true;
}

void Interruption::Watch()
{
    for (;;) {
        pollfd files[] = {{isOver_.Get(), POLLIN, 0}, {received_.Get(), POLLIN, 0}};
        if (poll(files, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (files[0].revents != 0) {
            return;
        }
        // Waits for a safe point. The other thread may have come to one first, or to the command's end.
        const std::lock_guard<std::mutex> lock(mutex_);
        EndIfSignalled();
    }
}

void Interruption::EndIfSignalled()
{
    signalfd_siginfo signal{};
    if (read(received_.Get(), &signal, sizeof(signal)) != static_cast<ssize_t>(sizeof(signal))) {
        return;
    }
    const std::function<void()> cleanUp = cleanUp_ ? cleanUp_ : [] {};
    cleanUp();
    const int exitCode = EXIT_BY_SIGNAL + static_cast<int>(signal.ssi_signo);
    console_.Fail("interrupted; nothing was made", {"interrupted", exitCode});
    cleanUp();       // of what was begun meanwhile
    _exit(exitCode); // other threads are at work; what they would leave is gone
}
} // namespace ORVX::Tvpk
