// Which short blocks of new content may be somewhere in the old content.
#ifndef TAVOMEND_DIFF_KNOWN_BLOCKS_H
#define TAVOMEND_DIFF_KNOWN_BLOCKS_H

#include <cstdint>
#include <vector>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// A bit for the hash of each block of the old content, about a byte for each of its bytes: far less to look at than its
// suffixes, before these are searched. Made once, then asked by several threads.
class KnownBlocks {
public:
    // Nothing is known of no content.
    KnownBlocks() = default;
    explicit KnownBlocks(ByteView old);
    // What they take for old content of that size, in bytes.
    [[nodiscard]] static size_t RoomFor(size_t oldSize);

    // For each position of new content of less than 4 GiB: where that what begins there and is also found in the old
    // content ends at the latest. Never falls from one position to the next.
    [[nodiscard]] std::vector<uint32_t> LastEnds(ByteView fresh) const;

private:
    [[nodiscard]] size_t HashOf(const uint8_t* block) const;
    [[nodiscard]] bool Has(size_t hash) const { return (bits_[hash / WORD_BITS] >> hash % WORD_BITS & 1) != 0; }

    static constexpr size_t WORD_BITS = 64;
    std::vector<uint64_t> bits_;
    int hashShift_ = 0;
};
} // namespace ORVX::Difference

#endif
