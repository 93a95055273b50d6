// Where the entries of a zip archive lie, read for differencing only.
#ifndef TAVOMEND_DIFF_ZIP_ENTRIES_H
#define TAVOMEND_DIFF_ZIP_ENTRIES_H

#include <string>
#include <vector>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// Its numbers were checked: data and records lie within the file, and entries do not overlap. The content was not.
struct ZipEntry {
    static constexpr uint16_t STORED = 0;
    static constexpr uint16_t DEFLATED = 8;

    std::string name;
    uint16_t method = STORED;
    uint32_t crc = 0;
    size_t size = 0;         // of the content
    size_t headerOffset = 0; // of the local header
    size_t dataOffset = 0;   // of the compressed data
    size_t compressedSize = 0;
    size_t centralOffset = 0; // of the record in the central directory

    [[nodiscard]] ByteView Data(ByteView file) const { return {file.data + dataOffset, compressedSize}; }
};

// The entries in the order of their data. Empty when the file is no zip archive, or one that is not plain enough to be
// sure where its data lies (entries that overlap, encryption, zip64): such a file is differenced like any other.
[[nodiscard]] std::vector<ZipEntry> ReadZipEntries(ByteView file);
} // namespace ORVX::Difference

#endif
