#include "diff/code_detection.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ORVX::Difference {
namespace {
struct Machine {
    uint32_t number;
    CodeFilter filter;
};
constexpr Machine ELF_MACHINES[] = {{3, CodeFilter::X86}, {62, CodeFilter::X86}, {183, CodeFilter::ARM64}};
constexpr Machine MACH_MACHINES[] = {{0x01000007, CodeFilter::X86}, {0x0100000C, CodeFilter::ARM64}};
constexpr Machine PE_MACHINES[] = {{0x014C, CodeFilter::X86}, {0x8664, CodeFilter::X86}, {0xAA64, CodeFilter::ARM64}};

constexpr uint8_t ELF_MAGIC[] = {0x7F, 'E', 'L', 'F'};
constexpr uint8_t ELF_LITTLE_ENDIAN = 1;
constexpr size_t ELF_DATA = 5;
constexpr size_t ELF_MACHINE = 18;
constexpr uint8_t MACH_MAGIC[] = {0xCF, 0xFA, 0xED, 0xFE};
constexpr size_t MACH_MACHINE = 4;
constexpr uint8_t DOS_MAGIC[] = {'M', 'Z'};
constexpr size_t PE_START = 0x3C;
constexpr uint8_t PE_MAGIC[] = {'P', 'E', 0, 0};
// All of the fields above lie in so many bytes; a PE header comes wherever the start says.
constexpr size_t HEADER_MIN = 64;

bool Begins(const uint8_t* bytes, const uint8_t (&magic)[4])
{
    return std::memcmp(bytes, magic, sizeof(magic)) == 0;
}

uint32_t Read16(const uint8_t* bytes)
{
    return bytes[0] | uint32_t{bytes[1]} << 8;
}

uint32_t Read32(const uint8_t* bytes)
{
    return Read16(bytes) | Read16(bytes + 2) << 16;
}

template <size_t Count>
CodeFilter FilterOf(uint32_t number, const Machine (&machines)[Count])
{
    const auto* const machine = std::find_if(std::begin(machines), std::end(machines),
                                             [number](const Machine& each) { return each.number == number; });
    return machine != std::end(machines) ? machine->filter : CodeFilter::NONE;
}
} // namespace

CodeFilter CodeFilterFor(ByteView content)
{
    if (content.size < HEADER_MIN) {
        return CodeFilter::NONE;
    }
    const uint8_t* const bytes = content.data;
    if (Begins(bytes, ELF_MAGIC) && bytes[ELF_DATA] == ELF_LITTLE_ENDIAN) {
        return FilterOf(Read16(bytes + ELF_MACHINE), ELF_MACHINES);
    }
    if (Begins(bytes, MACH_MAGIC)) {
        return FilterOf(Read32(bytes + MACH_MACHINE), MACH_MACHINES);
    }
    const uint64_t start = Read32(bytes + PE_START);
    const bool isPe = std::memcmp(bytes, DOS_MAGIC, sizeof(DOS_MAGIC)) == 0 && start <= content.size - HEADER_MIN &&
                      Begins(bytes + start, PE_MAGIC);
    return isPe ? FilterOf(Read16(bytes + start + sizeof(PE_MAGIC)), PE_MACHINES) : CodeFilter::NONE;
}
} // namespace ORVX::Difference
