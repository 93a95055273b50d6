// Packs an application directory into a bundle file (.vab).
#ifndef TAVOMEND_APPS_TVPK_APP_PACKER_H
#define TAVOMEND_APPS_TVPK_APP_PACKER_H

#include <string>

#include "apps/tvpk/interruption.h"

namespace ORVX::Tvpk {
// For `tvpk pack`. The directory has a manifest.json at its top, and nothing but files and directories in it. The same
// content gives the same bytes: members are sorted and carry no time. level: deflate level, 0 stores, 9 is the
// smallest. The written file is read through again before it is moved to outPath. On failure one line in `error`, and
// what was at outPath before is still there, as after an interruption.
[[nodiscard]] bool PackApp(const std::string& directory, const std::string& outPath, int level,
                           Interruption& interruption, std::string& error);
} // namespace ORVX::Tvpk

#endif
