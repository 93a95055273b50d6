// Whether a device can apply the differences of a package, as far as their first bytes tell.
#ifndef TAVOMEND_HOSTING_DIFFERENCE_CHECK_H
#define TAVOMEND_HOSTING_DIFFERENCE_CHECK_H

#include <string>

#include "formats/patch_config.h"
#include "formats/zip_archive.h"
#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// Asks the port about each difference of the configuration, in its order: one line for people with the first one that
// it cannot apply, its application and its member; empty without one. Reads only the heads of members. One that is
// missing or cannot be read is left to whoever takes it out.
[[nodiscard]] std::string WhyNotApplicable(const Formats::ZipArchive& archive, const Formats::PackageInfo& config,
                                           const IDevicePort& port);
} // namespace ORVX::TavomendHosting

#endif
