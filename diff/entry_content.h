// The content of zip entries, and how it became their data.
#ifndef TAVOMEND_DIFF_ENTRY_CONTENT_H
#define TAVOMEND_DIFF_ENTRY_CONTENT_H

#include <optional>
#include <vector>

#include "diff/zip_entries.h"

namespace ORVX::Difference {
using Bytes = std::vector<uint8_t>;

// Nothing where the data is not one deflated stream of the size that the archive names, or stored.
[[nodiscard]] std::optional<Bytes> ContentOf(const ZipEntry& entry, ByteView file);

// How much of a large entry is deflated anew before it is believed that its data comes out.
enum class LevelProof { START, WHOLE };

// Whether content of that size may be proven at its start only.
[[nodiscard]] bool IsPresumed(size_t contentSize, LevelProof proof);
// The level at which deflating the content gives the data, as far as that is to be proven; nothing where none does.
[[nodiscard]] std::optional<int> FindLevel(ByteView content, ByteView data, LevelProof proof);
} // namespace ORVX::Difference

#endif
