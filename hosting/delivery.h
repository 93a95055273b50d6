// Brings a patch package onto a device, as a device's downloader does.
#ifndef TAVOMEND_HOSTING_DELIVERY_H
#define TAVOMEND_HOSTING_DELIVERY_H

#include <optional>
#include <string>
#include <vector>

#include "formats/patch_config.h"

namespace ORVX::TavomendHosting {
// Where the two files wait, on the device's own disk, until Deliver takes them.
constexpr const char* INCOMING_PACKAGE = "/data/update/tavomend/package/incoming.tvpk";
constexpr const char* INCOMING_SIGNATURE = "/data/update/tavomend/package/incoming_sign.bin";

// The configuration of a package that this device will take; otherwise nothing, and why not.
[[nodiscard]] std::optional<Formats::PackageInfo> JudgePackage(const std::string& package, const std::string& signature,
                                                               std::string& reason);
// On the device root. Clears what an earlier package left in the work directory, lays out the files of cold
// applications (of a package that this device will take), and puts package and signature in place, each by one rename,
// the signature last: a package counts as delivered only with both. refusal: why the engine will refuse it; empty when
// it will not. False when the device could not be written.
[[nodiscard]] bool Deliver(std::string& refusal, std::string& error);
// Does again, for a package that is delivered, what a delivery or a boot that was cut short has left undone or used up:
// missing cold files, an old revoke of its applications. Harmless at any time.
void FinishDelivery();
// Mends what a process left that ended while package and signature were on their way between the delivered and the
// backup names: an apply that had not recorded its outcome yet is to be done again, everything else is in force.
void RepairPackagePlaces();
// Takes the bundles off the recover list and its backup: a newer patch of theirs ends an older revoke.
[[nodiscard]] bool PruneRecoverLists(const std::vector<std::string>& bundleNames);
} // namespace ORVX::TavomendHosting

#endif
