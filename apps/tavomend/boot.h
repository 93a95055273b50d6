// One whole boot of a device, each stage in a process of its own.
#ifndef TAVOMEND_APPS_TAVOMEND_BOOT_H
#define TAVOMEND_APPS_TAVOMEND_BOOT_H

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
// Init-stage load, the platform's scan, system-service-stage load and apply. The exit code is the last stage's, or that
// there was nothing to do.
[[nodiscard]] int RunBoot(const Options& options);
// The platform's boot scan alone, with what it did.
[[nodiscard]] int RunScan(const Session& session);
} // namespace ORVX::TavomendCli

#endif
