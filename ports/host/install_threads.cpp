#include "ports/host/install_threads.h"

#include <thread>
#include <utility>

namespace ORVX::TavomendHost {
bool InstallThreads::Run(std::function<void()> work)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isClosed_) {
        return false;
    }
    ++running_;
    std::thread([self = shared_from_this(), task = std::move(work)]() mutable {
        task();
        task = nullptr; // what it held is gone before it counts as ended
        self->Finish();
    }).detach();
    return true;
}

void InstallThreads::Close()
{
    std::unique_lock<std::mutex> lock(mutex_);
    isClosed_ = true;
    finished_.wait(lock, [this] { return running_ == 0; });
}

void InstallThreads::Finish()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    --running_;
    finished_.notify_all();
}
} // namespace ORVX::TavomendHost
