// Where a package's files are: in its archive and, extracted and rebuilt, on the device. Any text may be passed in; no
// operation looks at the disk.
#ifndef TAVOMEND_FORMATS_PATCH_PATHS_H
#define TAVOMEND_FORMATS_PATCH_PATHS_H

#include <optional>
#include <string>

#include "formats/patch_config.h"

namespace ORVX::Formats {
// From the last "." to the end, with it; empty without one.
[[nodiscard]] std::string SuffixOf(const std::string& path);
// Up to the last "/", with it; empty without one.
[[nodiscard]] std::string DirPartOf(const std::string& path);
// What stands between the last "/" (else the start) and the last "." (else the end). Nothing for a path whose last "."
// comes right behind that "/" or before it.
[[nodiscard]] std::optional<std::string> StemOf(const std::string& path);

// A member, or the path it is extracted to, that is a difference; any other is a whole file.
[[nodiscard]] bool IsDifference(const std::string& path);

// The name in the archive of a member as a configuration writes it ("/NAME"). Nothing without the "/": no archive has
// such a member, so the engine never finds it.
[[nodiscard]] std::optional<std::string> MemberNameOf(const std::string& target);

// Where file `index` of an application is extracted to (the engine's diffPaths). Empty when there is no such file.
[[nodiscard]] std::string ExtractedPathOf(const AppInfo& app, size_t index);
// Where the file rebuilt from a difference goes: beside the difference, under the base file's name.
[[nodiscard]] std::string RebuiltPathOf(const std::string& diffPath, const std::string& basePath);
// Where the file to install is, rebuilt or whole (the engine's restoreProductPaths). Empty when there is no such file.
[[nodiscard]] std::string ProductPathOf(const AppInfo& app, size_t index);
} // namespace ORVX::Formats

#endif
