// Tells a host's user which application a load is rebuilding. For the runs of this room.
#ifndef TAVOMEND_HOSTING_REBUILD_PROGRESS_H
#define TAVOMEND_HOSTING_REBUILD_PROGRESS_H

#include <cstdint>
#include <map>
#include <string>

#include "hosting/device_view.h"
#include "hosting/host_observer.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Watches the rebuilds of this process as long as it lives; one at a time. Port and observer must outlive it. The
// observer is told on the thread that loads, once for each application that has a file to rebuild, and then of the
// bytes of each of its files.
class RebuildProgress {
public:
    // facts: of the package that is loaded. runningStage: which of its applications the load rebuilds.
    RebuildProgress(const IDevicePort& port, const PackageFacts& facts, int32_t runningStage, IHostObserver& observer);
    ~RebuildProgress();
    RebuildProgress(const RebuildProgress&) = delete;
    RebuildProgress& operator=(const RebuildProgress&) = delete;

private:
    void Tell(const std::string& product, uint64_t done, uint64_t size);

    const IDevicePort& port_;
    IHostObserver& observer_;
    std::map<std::string, std::string> owners_; // bundle names by product
    int32_t total_ = 0;
    int32_t begun_ = 0;
    std::string current_;
};
} // namespace ORVX::TavomendHosting

#endif
