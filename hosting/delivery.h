// Brings a patch package onto a device, as a device's downloader does. For the programs that host the engine.
#ifndef TAVOMEND_HOSTING_DELIVERY_H
#define TAVOMEND_HOSTING_DELIVERY_H

#include <optional>
#include <string>
#include <vector>

#include "formats/patch_config.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Where the two files wait, on the device's own disk, until Deliver takes them.
constexpr const char* INCOMING_PACKAGE = "/data/update/tavomend/package/incoming.tvpk";
constexpr const char* INCOMING_SIGNATURE = "/data/update/tavomend/package/incoming_sign.bin";

// All of these run on the device root, on one thread, while no engine runs. Reasons and errors are one line for people.

// The configuration of a package that this device will take: signature, configuration and base version are what the
// engine asks for. Otherwise nothing, and why not in `reason`. Changes nothing.
[[nodiscard]] std::optional<Formats::PackageInfo> JudgePackage(const std::string& package, const std::string& signature,
                                                               std::string& reason);
// What a package that this device will refuse comes to: the incoming files are removed and the device is as it was,
// with what waited on it; or it is delivered all the same, so that the engine tells its client, and nothing of it laid
// out.
enum class Refused { IS_SENT_BACK, IS_DELIVERED };
// Takes the two incoming files. Judges them, the files of cold applications included, and whether the port can apply
// the differences; then clears what an earlier package left in the work directory, lays out the cold files, puts
// package and signature in place, each by one rename, the signature last (a package counts as delivered only with
// both), and takes the package's applications off the recover lists. refusal: why the engine will refuse it; empty when
// it will not. False when it was sent back; or, with `error`, when the device could not be written: no package is
// delivered then, unless only a recover list could not be rewritten, which FinishDelivery tries again.
[[nodiscard]] bool Deliver(const IDevicePort& port, Refused refused, std::string& refusal, std::string& error);
// Does again, for a package that is delivered, what a delivery or a boot that was cut short has left undone or used up:
// missing cold files, an old revoke of its applications. Files that are there stay as they are. Harmless at any time;
// what cannot be done, the engine finds missing.
void FinishDelivery();
// Mends what a process left that ended while packages and signatures were on their way. What was kept for a run that
// came to no outcome is put back. A pair that is split between the delivered and the backup names goes, by the status
// record, to the delivered ones when an apply had not recorded its outcome yet, and to the backup's when the patch is
// in force; a patch in force that a query had borrowed goes back. Half a pair is removed, and a backup that has been
// cleared.
void RepairPackagePlaces();
// Removes what no later operation may find: files of a delivery that was cut short, extracted hot files and the
// extracted configuration, recover lists and revoke requests that cannot be read and would fail every query for good,
// or that came back after a clear.
void RemoveLeftovers();
// Takes the bundles off the recover list and its backup: a newer patch of theirs ends an older revoke. A list without
// names is removed; a damaged one stays, for the scan to tell. False when one could not be written; it is then as it
// was.
[[nodiscard]] bool PruneRecoverLists(const std::vector<std::string>& bundleNames);
} // namespace ORVX::TavomendHosting

#endif
