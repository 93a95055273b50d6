// A zip archive that is read from a sealed file (minizip).
#ifndef TAVOMEND_TOOLS_SEALED_ARCHIVE_H
#define TAVOMEND_TOOLS_SEALED_ARCHIVE_H

#include "tools/sealed_file.h"

namespace ORVX::TavomendEngine {
// A handle as unzOpen gives it, to be closed with unzClose; null for what is no archive. What cannot be read of the
// file as it was sealed is a failure of the call that needs it. The file must outlive the handle.
[[nodiscard]] void* OpenSealedArchive(SealedFile& file);
} // namespace ORVX::TavomendEngine

#endif
