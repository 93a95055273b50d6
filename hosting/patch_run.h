// Load and apply, each with an engine of its own, as the hosting service of a device runs them.
#ifndef TAVOMEND_HOSTING_PATCH_RUN_H
#define TAVOMEND_HOSTING_PATCH_RUN_H

#include <cstdint>

#include "hosting/host_observer.h"
#include "hosting/host_result.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// All of them need a process on the device root that has no platform running and has run none of them before: the
// engine's check of a package, once passed, stays passed for the process. They run on the caller's thread until they
// are done, and leave the running stage as they have set it. Whatever happens, the package and the backup are where the
// next operation finds them.

// Mends what an earlier operation left that was cut short, then loads the delivered package at one stage of a boot.
// runningStage: RUNNING_STAGE_INIT, without a platform; or RUNNING_STAGE_SA, with one that scans and that is gone when
// this returns. NOTHING when no package is delivered; at the system-service stage a request to revoke
// (hosting/revoke_request.h) is handed to the engine then, FAILED with the reason when that cannot be.
// observer: told when the record of what is installed had to be made anew, of what is rebuilt, and of a request
// that was handed over; nothing else.
[[nodiscard]] PatchRunResult Load(const IDevicePort& port, int32_t runningStage, IHostObserver* observer = nullptr);

// A package that this device takes, but that could not be applied, is tried once more at once: a disk that was full or
// failed once must not cost it. After the last attempt the failure counts, unless it could not be recorded: then the
// package stays delivered, as it does where nothing can be written at all.
enum class Attempt { FIRST, LAST };

// The same with a scan, then load at the system-service stage and apply, in this process, as an engine wants it: what
// load made ready only this process knows. Apply runs also after a failed load, so that one broken application does not
// keep the others back; both attempts, the engine reports each. NOTHING when no package is delivered; the reason then
// says what is in force, and a request to revoke is handed over as by Load. NEEDS_BOOT, and nothing touched, when the
// package has cold applications or is a revoke: half of it would be done, and the package used up. FAILED also when the
// engine is done and an application does not run what the configuration promised: a set of another application, or of
// another version than the configuration says, installs as well. The status record stays as the engine wrote it.
[[nodiscard]] PatchRunResult LoadAndApply(const IDevicePort& port, IHostObserver& observer);

// Tells the observer when the platform's start has made the record of what is installed anew.
void TellOfStore(const IDevicePlatform& platform, IHostObserver& observer);

// The last stage of a boot: load and apply as above, on a device that has been mended and scanned. FAILED with the
// package still delivered asks for the whole boot once more, as its last attempt.
[[nodiscard]] PatchRunResult FinishBoot(const IDevicePort& port, IHostObserver& observer, Attempt attempt);
} // namespace ORVX::TavomendHosting

#endif
