// One operation at a time on a device, over all processes.
#ifndef TAVOMEND_HOSTING_DEVICE_LOCK_H
#define TAVOMEND_HOSTING_DEVICE_LOCK_H

#include <functional>
#include <string>

#include "handles/unique_descriptor.h"
#include "hosting/host_result.h"

namespace ORVX::TavomendHosting {
// An empty file, never written to, which only the account of those who change the device may open.
constexpr const char* DEVICE_LOCK_PATH = "/data/service/tavomend.lock";

// Held by whatever changes a device, and by what asks the engine a question that moves packages; a boot holds it over
// all of its stages. An advisory lock, flock(2): it goes on in forked processes and over exec, and ends with the last
// of them, however that ends. Beside it the process that has taken it marks a byte of the file, fcntl(2), by which
// others learn its number and what it does.
class DeviceLock {
public:
    // deviceFolder: without a "/" at its end; empty on the device itself. operation: a name of the command line, told
    // to others. wait: for how many seconds at most, a negative number for as long as it takes.
    // isStopAsked: asked while it waits; may be empty.
    // DONE when it is held; it is until this object ends. BUSY, saying who holds it, when the time is over. INTERRUPTED
    // when a stop was asked for. FAILED when the file cannot be made or opened. For one call.
    [[nodiscard]] OperationResult Take(const std::string& deviceFolder, const std::string& operation, int wait,
                                       const std::function<bool()>& isStopAsked = nullptr);

private:
    Handles::UniqueDescriptor file_;
};
} // namespace ORVX::TavomendHosting

#endif
