// A zip archive that is read from memory (minizip).
#ifndef TAVOMEND_TOOLS_MEMORY_ARCHIVE_H
#define TAVOMEND_TOOLS_MEMORY_ARCHIVE_H

#include <string_view>

namespace ORVX::TavomendEngine {
// A handle as unzOpen gives it, to be closed with unzClose; null for what is no archive. The bytes are not copied: they
// must stay as they are, and where they are, until then.
[[nodiscard]] void* OpenArchiveInMemory(std::string_view bytes);
} // namespace ORVX::TavomendEngine

#endif
