#include <gtest/gtest.h>
#include <random>

#include "diff/code_filter.h"

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
} // namespace
} // namespace ORVX::TavomendTest
