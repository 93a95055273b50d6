// What is on the device, seen from outside of the engine.
#ifndef TAVOMEND_HOSTING_DEVICE_VIEW_H
#define TAVOMEND_HOSTING_DEVICE_VIEW_H

#include <string>
#include <vector>

#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Package and signature under their delivered names; one without the other is no delivery.
[[nodiscard]] bool IsPackageDelivered();
// One of the two is there and the other is not.
[[nodiscard]] bool IsHalfDelivered();
// Package and signature of the patch in force.
[[nodiscard]] bool IsBackupThere();
// The bundle names of the delivered package, else of the backup, by sequence number; empty when unreadable. Nothing is
// verified: the names serve texts for people only.
[[nodiscard]] std::vector<std::string> ReadBundleNames();

struct StatusView {
    std::string version;
    std::string status;
    std::string detail;
    std::string explanation; // of the detail's error codes
};
// The status record as it is on disk; empty where there is none. bundleNames: of the package, by sequence number.
[[nodiscard]] StatusView ReadStatus(const IDevicePort& port, const std::vector<std::string>& bundleNames);
// The status word alone; empty where there is no record.
[[nodiscard]] std::string ReadStatusWord();
} // namespace ORVX::TavomendHosting

#endif
