// What the new file says of its entries, foretold from the old archive: checksums and sizes follow from their content,
// places from where their headers have come to stand. Where new bytes follow old headers and directory records, the old
// bytes are taken with these fields as they will be.
#ifndef TAVOMEND_DIFF_HEADER_PREDICTION_H
#define TAVOMEND_DIFF_HEADER_PREDICTION_H

#include <optional>
#include <vector>

#include "diff/zip_entries.h"

namespace ORVX::Difference {
// Maker and applier each have one and call it in the same order; what they get is part of the format. For one thread.
class HeaderPrediction {
public:
    // More entries are not kept in memory for this.
    static constexpr size_t ENTRIES_MAX = 16384;

    // Of a new entry.
    struct Facts {
        uint32_t crc = 0; // CRC-32 of the content (ZIP APPNOTE 4.4.7)
        uint32_t packedSize = 0;
        uint32_t size = 0;
    };

    // Nothing when the base is no archive, or one of too many entries. The base must outlive this.
    [[nodiscard]] static std::optional<HeaderPrediction> Of(ByteView base);

    [[nodiscard]] size_t Count() const { return entries_.size(); }
    // By the place in the file; the number is below Count.
    [[nodiscard]] uint32_t OldPackedSize(size_t entry) const { return entries_[entry].old.packedSize; }
    // The number of the entry whose header is there.
    [[nodiscard]] std::optional<size_t> Find(size_t headerOffset) const;
    // A new entry goes on from an old one, and will have these.
    void Tell(size_t entry, const Facts& facts) { entries_[entry].fresh = facts; }
    // The old bytes from a position on, with the fields as foretold, which new bytes at that position of the output
    // follow. Valid until the next call.
    [[nodiscard]] const uint8_t* Follow(uint64_t position, size_t size, uint64_t outputPosition);

private:
    struct Entry {
        size_t headerOffset = 0;
        size_t descriptorOffset = 0; // of its checksum; 0: there is none
        size_t centralOffset = 0;
        bool isHeaderFilled = false; // with checksum and sizes
        Facts old;
        std::optional<Facts> fresh;
        std::optional<uint32_t> newOffset; // of its header
    };
    // Bytes of the old file that are taken for others.
    class Patched;

    HeaderPrediction(ByteView base, const std::vector<ZipEntry>& entries);
    void PatchEntries(Patched& patched) const;
    void PatchDirectory(Patched& patched) const;

    ByteView base_;
    std::vector<Entry> entries_;  // by the place of their headers
    std::vector<size_t> records_; // the same by the place of their records
    std::vector<uint8_t> buffer_;
};
} // namespace ORVX::Difference

#endif
