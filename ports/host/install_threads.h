// Threads for the bundle service's installs: each ends with its work.
#ifndef TAVOMEND_PORTS_HOST_INSTALL_THREADS_H
#define TAVOMEND_PORTS_HOST_INSTALL_THREADS_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace ORVX::TavomendHost {
// Shared by the bundle service and the installers that it hands out. Safe from any thread.
class InstallThreads : public std::enable_shared_from_this<InstallThreads> {
public:
    // Runs the work on a thread of its own. False, and the work is not run, after Close.
    [[nodiscard]] bool Run(std::function<void()> work);
    // Takes no more work and waits for what is under way. Not to be called by work.
    void Close();

private:
    void Finish();

    std::mutex mutex_;
    std::condition_variable finished_;
    int running_ = 0;
    bool isClosed_ = false;
};
} // namespace ORVX::TavomendHost

#endif
