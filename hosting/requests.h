// What a host does for its user beside running patches: takes a package in, takes patches off, answers questions.
#ifndef TAVOMEND_HOSTING_REQUESTS_H
#define TAVOMEND_HOSTING_REQUESTS_H

#include <map>
#include <string>
#include <vector>

#include "hosting/delivery.h"
#include "hosting/host_observer.h"
#include "hosting/host_result.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// But for BringIn, all of them need a process on the device root that has no platform running, and those that ask the
// engine one that has not run a patch. They run on the caller's thread and leave the running stage at the
// system-service stage.

struct PackageFiles {
    std::string package;
    std::string signature;
};
// The first half of a delivery, before the process enters the device root, since both files may lie outside of the
// device: copies them onto its own disk, from where one rename puts each in place. deviceRoot: the device's folder
// without a "/" at its end; empty on the device itself. observer: told how far the package's copy has come. False with
// one line for people; nothing is left on the device.
[[nodiscard]] bool BringIn(const PackageFiles& files, const std::string& deviceRoot, std::string& error,
                           IHostObserver* observer = nullptr);

struct DeliveryResult : OperationResult {
    std::string refusal;   // why this device will refuse the package; empty when it will not
    std::string needsBoot; // delivered, and why an apply is not enough: one line for people
};
// The second half, on the device root: judges what was brought in and puts it in place of an earlier package that has
// not been applied yet. A package that would be refused is sent back (FAILED) and nothing has changed; or delivered all
// the same, so that the engine's own judgement reaches the status record. files: what BringIn was given; the result's
// lines name these, and not the copies.
[[nodiscard]] DeliveryResult DeliverIncoming(const IDevicePort& port, const PackageFiles& files, Refused refused,
                                             const IHostObserver& observer);

// Back to a device without a patch record, or a request to revoke; installed applications stay as they are.
[[nodiscard]] OperationResult ClearPatches();
struct RevokeResult : OperationResult {
    std::vector<std::string> notes; // done, and what will be other than the user may think: a line each
};
// Asks for single applications of the patch in force to go back to their factory versions, at the next boot; beside
// those that an earlier request has named. NOTHING without a patch in force, or when all of them have gone back
// already. FAILED, and nothing more is asked for than before, when one of them is none of that patch's, is not
// installed or has no factory version, when the device cannot be read or written, or while a delivered package waits,
// which may bring it anew.
[[nodiscard]] RevokeResult RequestRevoke(const IDevicePort& port, const std::vector<std::string>& bundleNames);

struct VersionResult : OperationResult {
    std::string version; // of the delivered package, else of the patch in force, else "patch00"
};
// FAILED, with the reason, when a package is delivered, or a patch in force, that cannot be read, that the device's key
// does not fit, or that this device does not take.
[[nodiscard]] VersionResult AskVersion();

// What is in force, what is pending, and the status record with its error codes in words. Changes nothing.
[[nodiscard]] DeviceView AskStatus(const IDevicePort& port);

struct InfoResult : OperationResult {
    bool isPending = false;            // a delivered package is waiting, and nothing is told before it was applied
    std::map<std::string, bool> fixed; // by bundle name: whether it runs the version that it should
};
// Which applications carry the patch in force. NOTHING, with the reason, when there is none to tell about; FAILED when
// it cannot be read, or the engine cannot tell.
[[nodiscard]] InfoResult AskInfo(const IDevicePort& port);

struct TestResult : OperationResult {
    std::string text;
};
// The engine's test hook.
[[nodiscard]] TestResult AskTest(const IDevicePort& port);
} // namespace ORVX::TavomendHosting

#endif
