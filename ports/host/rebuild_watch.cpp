#include "ports/host/rebuild_watch.h"

namespace ORVX::TavomendHost {
RebuildWatch& RebuildWatch::GetInstance()
{
    static auto* const instance = new RebuildWatch();
    return *instance;
}

void RebuildWatch::Set(Watcher watcher)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    watcher_ = std::move(watcher);
}

void RebuildWatch::Tell(const std::string& product, uint64_t done, uint64_t total)
{
    Watcher watcher;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        watcher = watcher_;
    }
    if (watcher) {
        watcher(product, done, total);
    }
}
} // namespace ORVX::TavomendHost
