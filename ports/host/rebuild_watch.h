// Who wants to know which files this process rebuilds, and how far it is with them.
#ifndef TAVOMEND_PORTS_HOST_REBUILD_WATCH_H
#define TAVOMEND_PORTS_HOST_REBUILD_WATCH_H

#include <mutex>
#include <string>

#include "platform/api/device_port.h"

namespace ORVX::TavomendHost {
// Stands between the difference library and the hosting program of one process, which meet nowhere else. Safe from any
// thread; no lock is held while the watcher is told.
class RebuildWatch {
public:
    using Watcher = IDevicePort::RebuildWatcher;

    // Never released: the platform's end may still rebuild.
    static RebuildWatch& GetInstance();
    // In place of the one before; none without a function.
    void Set(Watcher watcher);
    // Tells the watcher, on the caller's thread.
    void Tell(const std::string& product, uint64_t done, uint64_t total);

private:
    std::mutex mutex_;
    Watcher watcher_;
};
} // namespace ORVX::TavomendHost

#endif
