// SIGINT and SIGTERM while a long command works.
#ifndef TAVOMEND_APPS_TVPK_INTERRUPTION_H
#define TAVOMEND_APPS_TVPK_INTERRUPTION_H

#include <csignal>
#include <functional>
#include <mutex>
#include <thread>

#include "apps/common/console.h"
#include "handles/unique_descriptor.h"

namespace ORVX::Tvpk {
// As long as it lives, a signal ends the program at the next safe point only, with one line and exit code 130 or 143,
// after what the command left to clean up is gone. A command that comes to its end without another safe point is done:
// the signal is dropped. A signal that was ignored before stays ignored. One in a process, made before other threads
// are; all operations on the thread that made it.
class Interruption {
public:
    // The console must outlive it.
    explicit Interruption(const Cli::Console& console);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    // What is to be done before the program ends: it is called on another thread, and nothing that was in a safe point
    // has come out of it. Empty for nothing.
    void SetCleanUp(std::function<void()> cleanUp);
    // A safe point.
    void Check();
    // The work is one long safe point: the program may end in the middle of it. It must not throw.
    void Allow(const std::function<void()>& work);
    // Ends the safe point from within the work of Allow: what follows is done to its end.
    void Settle();

private:
    void Watch();
    void EndIfSignalled();

    const Cli::Console& console_;
    sigset_t signals_{};
    sigset_t former_{};
    Handles::UniqueDescriptor received_; // signalfd
    Handles::UniqueDescriptor isOver_;   // eventfd
    std::function<void()> cleanUp_;
    bool isSettled_ = false;
    std::mutex mutex_; // held outside of safe points
    std::thread watcher_;
};
} // namespace ORVX::Tvpk

#endif
