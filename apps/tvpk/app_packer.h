// Packs an application directory into a bundle file (.vab).
#ifndef TAVOMEND_APPS_TVPK_APP_PACKER_H
#define TAVOMEND_APPS_TVPK_APP_PACKER_H

#include <string>

namespace ORVX::Tvpk {
// The directory has a manifest.json at its top. The same content gives the same bytes: members are sorted and carry no
// time. level: deflate level, 0 to 9. On failure one line in `error` and nothing at outPath.
[[nodiscard]] bool PackApp(const std::string& directory, const std::string& outPath, int level, std::string& error);
} // namespace ORVX::Tvpk

#endif
