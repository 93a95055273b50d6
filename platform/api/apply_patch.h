// The difference library of the platform.
#ifndef TAVOMEND_PLATFORM_API_APPLY_PATCH_H
#define TAVOMEND_PLATFORM_API_APPLY_PATCH_H

#include <string>

namespace ORVX {
// Writes newPath from the old file and the difference. 0 on success; any other value is the library's own error code,
// and then no output file is left behind, nor one from an earlier run. The output's directory must exist. Nobody may
// write to the old file or the difference meanwhile: they are mapped, and a file that shrinks under its mapping kills
// the process.
int ApplyPatch(const std::string& diffPath, const std::string& oldPath, const std::string& newPath);
} // namespace ORVX

#endif
