// Who wants to know which files this process rebuilds.
#ifndef TAVOMEND_PORTS_HOST_REBUILD_WATCH_H
#define TAVOMEND_PORTS_HOST_REBUILD_WATCH_H

#include <functional>
#include <mutex>
#include <string>

namespace ORVX::TavomendHost {
// Stands between the difference library and the hosting program of one process, which meet nowhere else. Safe from any
// thread; no lock is held while the watcher is told.
class RebuildWatch {
public:
    using Watcher = std::function<void(const std::string& product)>;

    // Never released: the platform's end may still rebuild.
    static RebuildWatch& GetInstance();
    // In place of the one before; none without a function.
    void Set(Watcher watcher);
    // Tells the watcher, on the caller's thread, that a file is about to be rebuilt.
    void Tell(const std::string& product);

private:
    std::mutex mutex_;
    Watcher watcher_;
};
} // namespace ORVX::TavomendHost

#endif
