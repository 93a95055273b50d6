// What is on the device, seen from outside of the engine. Everything here reads and changes nothing, needs a process on
// the device root, and may be called at any time from any thread; beside an operation it may see what is on its way.
#ifndef TAVOMEND_HOSTING_DEVICE_VIEW_H
#define TAVOMEND_HOSTING_DEVICE_VIEW_H

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "formats/patch_config.h"
#include "hosting/package_view.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Package and signature under their delivered names; one without the other is no delivery.
[[nodiscard]] bool IsPackageDelivered();
// Package and signature of the patch in force.
[[nodiscard]] bool IsBackupThere();
// What a host wants to know of a package's configuration.
struct PackageFacts {
    std::string version;                  // of the patch
    std::vector<Formats::AppInfo> apps;   // as the configuration has them
    std::vector<std::string> bundleNames; // by sequence number
    bool needReboot = false;              // the patch is complete only after another boot
    bool isRevoke = false;                // it takes the patch in force back
};
// Of the delivered package, else of the backup; empty when unreadable. Nothing is verified: the facts serve what people
// are told, and what they are told of needReboot counts only once the engine has taken the package.
[[nodiscard]] PackageFacts ReadPackageFacts();
// Why an apply is not enough for the delivered package: cold applications are taken in, and patches taken off, by the
// scan of a boot. One line for people; empty when an apply is enough, or no package is delivered.
[[nodiscard]] std::string WhyBootIsNeeded();

struct StatusView {
    std::string version;     // the patch version that the status belongs to
    std::string status;      // the status word
    std::string detail;      // the error history
    std::string explanation; // of the detail's error codes, in words; empty when there is none
};
// The status record as it is on disk; empty where there is none. bundleNames: of the package, by sequence number, for
// the explanation, which also asks the port for the meaning of its bundle service's verdicts.
[[nodiscard]] StatusView ReadStatus(const IDevicePort& port, const std::vector<std::string>& bundleNames);
// The last operation on patches that the status record tells of.
enum class Operation { NONE, LOAD, APPLY, CLEAR };
struct LastOperation {
    Operation operation = Operation::NONE;
    bool isFailed = false;
};
[[nodiscard]] LastOperation LastOperationOf(const StatusView& record);

enum class NextStep { NOTHING, APPLY, BOOT, DELIVER };

// The packages on the device, from themselves. What an operation under way keeps for the case that it is cut short
// counts as it will be then.
struct PackagesView {
    PackageView inForce;   // from the backup; of a revoke, when that has taken the patch back
    std::time_t since = 0; // when it came into force: seconds since 1970
    PackageView pending;   // delivered, and to be applied
};
[[nodiscard]] PackagesView ViewPackages();

struct DeviceView : PackagesView {
    bool isWhole = true;    // every application of the patch in force has arrived, as far as the record still tells
    bool needsBoot = false; // pending, and only a boot can apply it
    std::set<std::string> takenBack;   // single applications of the patch in force
    std::set<std::string> revoking;    // the same, asked for and done by the next boot
    StatusView record;                 // of the last operation
    NextStep next = NextStep::NOTHING; // for whoever looks after the device
};
[[nodiscard]] DeviceView ViewDevice(const IDevicePort& port);

// The status word alone; empty where there is no record.
[[nodiscard]] std::string ReadStatusWord();
// The same, and the patch version that it belongs to.
[[nodiscard]] std::string ReadStatusWord(std::string& version);
} // namespace ORVX::TavomendHosting

#endif
