#include "diff/known_blocks.h"

#include <algorithm>
#include <cstring>

namespace ORVX::Difference {
namespace {
// No rule moves to another alignment for fewer bytes.
constexpr size_t BLOCK = 9;
constexpr size_t BITS_FOR_A_BYTE = 8;
constexpr int HASH_BITS_MIN = 12;
constexpr int HASH_BITS_MAX = 64;
constexpr uint64_t FACTOR = 0x9E3779B97F4A7C15;
constexpr uint64_t OTHER_FACTOR = 0xC2B2AE3D27D4EB4F;
// So many blocks ahead their bits are called into the cache.
constexpr size_t AHEAD = 16;

int HashBits(size_t oldSize)
{
    int bits = HASH_BITS_MIN;
    while (size_t{1} << bits < oldSize * BITS_FOR_A_BYTE) {
        ++bits;
    }
    return bits;
}

uint64_t WordAt(const uint8_t* bytes)
{
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}
} // namespace

KnownBlocks::KnownBlocks(ByteView old) : hashShift_(HASH_BITS_MAX - HashBits(old.size))
{
    bits_.resize((size_t{1} << HashBits(old.size)) / WORD_BITS);
    size_t hashes[AHEAD] = {};
    const size_t count = old.size - std::min(old.size, BLOCK - 1);
    for (size_t i = 0; i < count + AHEAD; ++i) {
        size_t& hash = hashes[i % AHEAD];
        if (i >= AHEAD && i - AHEAD < count) {
            bits_[hash / WORD_BITS] |= uint64_t{1} << hash % WORD_BITS;
        }
        if (i < count) {
            hash = HashOf(old.data + i);
            __builtin_prefetch(&bits_[hash / WORD_BITS], 1);
        }
    }
}

size_t KnownBlocks::RoomFor(size_t oldSize)
{
    return (size_t{1} << HashBits(oldSize)) / 8;
}

size_t KnownBlocks::HashOf(const uint8_t* block) const
{
    const uint64_t start = WordAt(block) * FACTOR;
    const uint64_t end = WordAt(block + BLOCK - sizeof(uint64_t));
    return ((start ^ start >> 32) + end) * OTHER_FACTOR >> hashShift_;
}

std::vector<uint32_t> KnownBlocks::LastEnds(ByteView fresh) const
{
    std::vector<uint32_t> ends(fresh.size);
    auto end = static_cast<uint32_t>(fresh.size);
    size_t hashes[AHEAD] = {};
    const size_t count = fresh.size - std::min(fresh.size, BLOCK - 1);
    std::fill(ends.begin() + static_cast<std::ptrdiff_t>(count), ends.end(), end);
    // Backwards: where a block is not known, nothing that begins there goes beyond its last byte but one.
    for (size_t i = count + AHEAD; i-- > 0;) {
        size_t& hash = hashes[i % AHEAD];
        if (i < count) {
            end = Has(hash) ? end : static_cast<uint32_t>(i + BLOCK - 1);
            ends[i] = end;
        }
        if (i >= AHEAD) {
            hash = HashOf(fresh.data + i - AHEAD);
            __builtin_prefetch(&bits_[hash / WORD_BITS]);
        }
    }
    return ends;
}
} // namespace ORVX::Difference
