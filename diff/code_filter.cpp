#include "diff/code_filter.h"

namespace ORVX::Difference {
namespace {
uint32_t Read32(const uint8_t* bytes)
{
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void Write32(uint8_t* bytes, uint32_t value)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(value >> 8 * i);
    }
}

// The fields wrap around within their bits, and the bits that tell the instruction stay: so all of it can be undone.
uint32_t MoveArm64(uint32_t word, uint64_t distance)
{
    if ((word & 0xFC000000U) == 0x94000000U) { // bl: words
        return (word & 0xFC000000U) | ((word + static_cast<uint32_t>(distance >> 2)) & 0x03FFFFFFU);
    }
    return word;
}

// adrp: pages, of which the two lowest bits lie apart.
uint32_t MoveArm64Page(uint32_t word, uint32_t pages)
{
    const uint32_t moved = ((word >> 3 & 0x1FFFFCU) | (word >> 29 & 3U)) + pages;
    return (word & 0x9F00001FU) | (moved & 3U) << 29 | (moved & 0x1FFFFCU) << 3;
}

void FilterArm64(uint8_t* bytes, size_t size, uint64_t position, bool isBack)
{
    for (size_t i = (4 - position % 4) % 4; i + 4 <= size; i += 4) {
        const uint64_t here = position + i;
        const uint32_t word = Read32(bytes + i);
        if ((word & 0x9F000000U) == 0x90000000U) {
            const auto pages = static_cast<uint32_t>(here >> 12);
            Write32(bytes + i, MoveArm64Page(word, isBack ? 0 - pages : pages));
        } else {
            Write32(bytes + i, MoveArm64(word, isBack ? 0 - here : here));
        }
    }
}

// How many bytes stand before a distance of four bytes: those of a call or a jump, or of an access to data beside the
// code. 0: none begins here.
size_t OpcodeSize(const uint8_t* bytes)
{
    if (bytes[0] == 0xE8 || bytes[0] == 0xE9) {
        return 1;
    }
    if (bytes[0] == 0x0F && (bytes[1] & 0xF0U) == 0x80) {
        return 2;
    }
    const bool isAccess = bytes[1] == 0x8B || bytes[1] == 0x8D || bytes[1] == 0x89;
    return (bytes[0] & 0xF8U) == 0x48 && isAccess && (bytes[2] & 0xC7U) == 0x05 ? 3 : 0;
}

// Only distances of less than 16 MiB are moved, and stay such: others are hardly any.
void MoveX86(uint8_t* bytes, uint64_t position, bool isBack)
{
    const size_t opcode = OpcodeSize(bytes);
    const uint32_t distance = Read32(bytes + opcode);
    if (opcode != 0 && distance + 0x01000000U < 0x02000000U) {
        const auto here = static_cast<uint32_t>(position);
        const uint32_t moved = (distance + (isBack ? 0 - here : here)) & 0x01FFFFFFU;
        Write32(bytes + opcode, (moved ^ 0x01000000U) - 0x01000000U);
    }
}

// What looks like instructions may overlap. The last one goes first, and comes back last: then each is seen with the
// same bytes behind it in both directions.
void FilterX86(uint8_t* bytes, size_t size, uint64_t position, bool isBack)
{
    constexpr size_t INSTRUCTION_MAX = 7;
    const size_t count = size < INSTRUCTION_MAX ? 0 : size - INSTRUCTION_MAX + 1;
    for (size_t i = 0; i < count; ++i) {
        const size_t at = isBack ? i : count - 1 - i;
        MoveX86(bytes + at, position + at, isBack);
    }
}

void Filter(CodeFilter filter, uint8_t* bytes, size_t size, uint64_t position, bool isBack)
{
    if (filter == CodeFilter::ARM64) {
        FilterArm64(bytes, size, position, isBack);
    } else if (filter == CodeFilter::X86) {
        FilterX86(bytes, size, position, isBack);
    }
}
} // namespace

void MakeAbsolute(CodeFilter filter, uint8_t* bytes, size_t size, uint64_t position)
{
    Filter(filter, bytes, size, position, false);
}

void MakeRelative(CodeFilter filter, uint8_t* bytes, size_t size, uint64_t position)
{
    Filter(filter, bytes, size, position, true);
}
} // namespace ORVX::Difference
