#include <gtest/gtest.h>
#include <random>

#include "diff/code_detection.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;
using Content = std::vector<uint8_t>;

struct Case {
    const char* name;
    CodeFilter filter;
    uint64_t position;
    Content relative;
    Content absolute;
};

// By hand from the instruction sets: fields plus positions.
TEST(CodeFilterTest, DistancesBecomeAddresses)
{
    const Case cases[] = {
        {"bl +8 at 0x1000", CodeFilter::ARM64, 0x1000, {2, 0, 0, 0x94}, {2, 4, 0, 0x94}},
        {"bl -4 at 0x1000", CodeFilter::ARM64, 0x1000, {0xFF, 0xFF, 0xFF, 0x97}, {0xFF, 3, 0, 0x94}},
        {"b is left alone", CodeFilter::ARM64, 0x1000, {2, 0, 0, 0x14}, {2, 0, 0, 0x14}},
        {"adrp x3, +1 page at 0x2000", CodeFilter::ARM64, 0x2000, {3, 0, 0, 0xB0}, {3, 0, 0, 0xF0}},
        {"adrp x3, +1 page at 0x3FFC", CodeFilter::ARM64, 0x3FFC, {3, 0, 0, 0xB0}, {0x23, 0, 0, 0x90}},
        {"adrp x3, -1 page at 0x1000", CodeFilter::ARM64, 0x1000, {0xE3, 0xFF, 0xFF, 0xF0}, {3, 0, 0, 0x90}},
        {"a word that lies across", CodeFilter::ARM64, 0x1001, {9, 0, 0, 2, 0, 0, 0x94}, {9, 0, 0, 3, 4, 0, 0x94}},
        {"call", CodeFilter::X86, 0x100, {0xE8, 2, 0, 0, 0, 0, 0}, {0xE8, 2, 1, 0, 0, 0, 0}},
        {"jump back", CodeFilter::X86, 0x100, {0xE9, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0}, {0xE9, 0xFE, 0, 0, 0, 0, 0}},
        {"jump if", CodeFilter::X86, 0x100, {0x0F, 0x85, 2, 0, 0, 0, 0}, {0x0F, 0x85, 2, 1, 0, 0, 0}},
        {"lea", CodeFilter::X86, 0x100, {0x48, 0x8D, 0x3D, 2, 0, 0, 0}, {0x48, 0x8D, 0x3D, 2, 1, 0, 0}},
        {"too far", CodeFilter::X86, 0x100, {0xE8, 2, 0, 0, 1, 0, 0}, {0xE8, 2, 0, 0, 1, 0, 0}},
        {"up to the limit, around it",
         CodeFilter::X86,
         1,
         {0xE8, 0xFF, 0xFF, 0xFF, 0, 0, 0},
         {0xE8, 0, 0, 0, 0xFF, 0, 0}},
        {"cut off", CodeFilter::X86, 0x100, {0xE8, 2, 0, 0, 0, 0}, {0xE8, 2, 0, 0, 0, 0}},
        {"none", CodeFilter::NONE, 0x100, {0xE8, 2, 0, 0, 0, 0, 0}, {0xE8, 2, 0, 0, 0, 0, 0}},
    };
    for (const auto& [name, filter, position, relative, absolute] : cases) {
        Content content = relative;
        MakeAbsolute(filter, content.data(), content.size(), position);
        EXPECT_EQ(content, absolute) << name;
        MakeRelative(filter, content.data(), content.size(), position);
        EXPECT_EQ(content, relative) << name;
    }
}

// Also those that are no code, and opcodes within opcodes.
TEST(CodeFilterTest, AnyBytesComeBack)
{
    std::mt19937 source(1);
    const uint8_t likely[] = {0xE8, 0xE9, 0x0F, 0x85, 0x48, 0x8B, 0x05, 0x00, 0xFF, 0x94, 0x90};
    for (int round = 0; round < 2000; ++round) {
        Content content(source() % 200);
        for (uint8_t& byte : content) {
            byte = round % 2 == 0 ? static_cast<uint8_t>(source()) : likely[source() % std::size(likely)];
        }
        for (const CodeFilter filter : {CodeFilter::ARM64, CodeFilter::X86}) {
            const uint64_t position = source() % 3 == 0 ? source() : source() % 70000;
            Content changed = content;
            MakeAbsolute(filter, changed.data(), changed.size(), position);
            MakeRelative(filter, changed.data(), changed.size(), position);
            ASSERT_EQ(changed, content) << round;
        }
    }
}

// By hand from the file formats: a header that tells the machine, and nothing else.
TEST(CodeDetectionTest, AHeaderTellsTheMachine)
{
    const auto elf = [](char order, uint16_t machine) {
        std::string file("\x7F"
                         "ELF\2");
        file += order;
        file.resize(64);
        file[18] = static_cast<char>(machine);
        return file;
    };
    const auto put = [](std::string& file, size_t at, uint32_t number, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            file[at + i] = static_cast<char>(number >> 8 * i);
        }
    };
    const auto mach = [&put](uint32_t machine) {
        std::string file("\xCF\xFA\xED\xFE");
        file.resize(64);
        put(file, 4, machine, 4);
        return file;
    };
    const auto pe = [&put](uint32_t start, uint32_t machine) {
        std::string file("MZ");
        file.resize(300);
        put(file, 0x3C, start, 4);
        if (start + 6 <= file.size()) {
            put(file, start, 0x4550, 4); // "PE"
            put(file, start + 4, machine, 2);
        }
        return file;
    };
    const std::pair<std::string, CodeFilter> cases[] = {
        {elf(1, 183), CodeFilter::ARM64},
        {elf(1, 62), CodeFilter::X86},
        {elf(1, 3), CodeFilter::X86},
        {elf(2, 183), CodeFilter::NONE}, // big-endian
        {elf(1, 8), CodeFilter::NONE},   // MIPS
        {elf(1, 183).substr(0, 63), CodeFilter::NONE},
        {mach(0x0100000C), CodeFilter::ARM64},
        {mach(0x01000007), CodeFilter::X86},
        {mach(0x0000000C), CodeFilter::NONE}, // 32 bits
        {pe(0x80, 0xAA64), CodeFilter::ARM64},
        {pe(236, 0x8664), CodeFilter::X86},
        {pe(0x80, 0x014C), CodeFilter::X86},
        {pe(0x80, 0x0200), CodeFilter::NONE}, // Itanium
        {pe(237, 0x8664), CodeFilter::NONE},  // no room for a header behind it
        {pe(0x8000FFFF, 0x8664), CodeFilter::NONE},
        {std::string(64, 'M'), CodeFilter::NONE},
        {"", CodeFilter::NONE},
    };
    for (const auto& [file, filter] : cases) {
        const std::vector<uint8_t> bytes(file.begin(), file.end()); // where a sanitizer sees its end
        EXPECT_EQ(CodeFilterFor({bytes.data(), bytes.size()}), filter) << "of case " << (&file - &cases[0].first);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
