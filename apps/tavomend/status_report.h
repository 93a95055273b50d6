// What `tavomend status` shows of a device.
#ifndef TAVOMEND_APPS_TAVOMEND_STATUS_REPORT_H
#define TAVOMEND_APPS_TAVOMEND_STATUS_REPORT_H

#include "apps/common/console.h"
#include "hosting/device_view.h"

namespace ORVX::TavomendCli {
// For people a line each: what is in force, what is pending, the last operation with its record, the next step. For
// scripts one object with the same content.
void ShowStatus(const Cli::Console& console, const TavomendHosting::DeviceView& view);
} // namespace ORVX::TavomendCli

#endif
