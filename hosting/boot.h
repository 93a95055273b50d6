// One whole boot of a device, as far as patches are concerned.
#ifndef TAVOMEND_HOSTING_BOOT_H
#define TAVOMEND_HOSTING_BOOT_H

#include "hosting/host_observer.h"
#include "hosting/host_result.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Init-stage load, the platform's scan, then load and apply at the system-service stage, each in a process of its own
// (fork), as on a device that comes up. Needs a process on the device root with no other thread and no platform
// running; its own engine state and running stage stay as they are, so that it may be called again.
// A request to take single applications back is handed to the engine in the last stage; another scan follows then.
// A boot that fails and leaves its package delivered is played once more (see Attempt in hosting/patch_run.h).
// The outcome is the last stage's. A load that failed is judged by the apply at the end; a stage whose process dies, or
// a scan that does not start, ends the boot: FAILED, and only then with a reason. The next boot takes up what this one
// has left.
[[nodiscard]] OperationResult RunBoot(const IDevicePort& port, IHostObserver& observer);
// One stage, where the machine itself goes through its boot and calls for each as it comes; in a process of its own,
// under the same conditions. The last one also does what a whole boot does behind it: another scan for single
// applications that are taken back, and the whole boot once more for a package that was not applied and stays.
[[nodiscard]] OperationResult RunBootStage(const IDevicePort& port, BootStage stage, IHostObserver& observer);
} // namespace ORVX::TavomendHosting

#endif
