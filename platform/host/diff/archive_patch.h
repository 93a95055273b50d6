// Applies an archive-aware difference: the new file is put together from raw stretches, which follow the old file, and
// from entries deflated anew, whose content follows the inflated content of the old file's entries.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_ARCHIVE_PATCH_H
#define TAVOMEND_PLATFORM_HOST_DIFF_ARCHIVE_PATCH_H

#include "platform/host/diff/byte_view.h"
#include "platform/host/diff/patch_result.h"

#include <string>

namespace ORVX::TavomendHost {
// Needs less than 32 MiB besides the mapped files, whatever the difference says. The base's hash is checked before the
// output is created, and the output's before it is kept.
[[nodiscard]] PatchResult ApplyArchivePatch(ByteView difference, ByteView base, const std::string& outputPath);
} // namespace ORVX::TavomendHost

#endif
