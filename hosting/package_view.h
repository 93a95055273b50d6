// What a package that lies on the device says of itself, and how far it can be believed. Reads and changes nothing;
// needs a process on the device root, and may be called at any time from any thread.
#ifndef TAVOMEND_HOSTING_PACKAGE_VIEW_H
#define TAVOMEND_HOSTING_PACKAGE_VIEW_H

#include <optional>
#include <string>
#include <vector>

#include "formats/patch_config.h"

namespace ORVX::TavomendHosting {
enum class PackageState {
    NONE,        // there is no package
    KNOWN,       // its configuration can be told: the device's key fits
    UNREADABLE,  // package, configuration or signature cannot be read
    KEY_MISFITS, // it can be read, but not verified with the device's public key
};

struct PackageView {
    PackageState state = PackageState::NONE;
    std::string problem; // why it is not known; one line for people, empty when there is none, or it is known
    std::string refusal; // known, and why this device does not take it all the same; empty when it does
    // Filled when it is known.
    std::string version; // of the patch
    bool isRevoke = false;
    bool needReboot = false;
    std::vector<Formats::AppInfo> apps;
};

// The configuration that stands in a package; its signature is another's to check. Nothing, and why not in `problem`,
// where there is none that can be read.
[[nodiscard]] std::optional<Formats::PackageInfo> ReadConfig(const std::string& package, std::string& problem);
// One line for people about a package that is not known, or that this device does not take; empty for any other.
// name: what people call it, such as "the delivered package".
[[nodiscard]] std::string ProblemOf(const PackageView& view, const std::string& name);
// The application's record in a package that is known; null when it has none.
[[nodiscard]] const Formats::AppInfo* FindApp(const PackageView& view, const std::string& bundleName);
// Whether the package can only be applied by a boot: it has cold applications, or takes a patch back.
[[nodiscard]] bool NeedsBoot(const PackageView& view);
// Both files must be there, else there is none.
[[nodiscard]] PackageView ViewPackage(const std::string& package, const std::string& signature);
// Why the device can verify no package at all: its public key is missing, or is none. Empty when it can.
[[nodiscard]] std::string WhyNoPublicKey();
} // namespace ORVX::TavomendHosting

#endif
