#include <gtest/gtest.h>
#include <random>
#include <string>

#include "diff/known_blocks.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

// Few letters and copied pieces: much of it is found, up to lengths of all kinds.
std::string Text(size_t size, uint32_t seed, const std::string& from)
{
    std::mt19937 source(seed);
    std::string text;
    while (text.size() < size) {
        text += from.empty() || source() % 4 == 0 ? std::string(1, static_cast<char>('a' + source() % 26))
                                                  : from.substr(source() % from.size(), source() % 40);
    }
    return text;
}

ByteView ViewOf(const std::string& text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

TEST(KnownBlocksTest, NothingThatIsFoundEndsLaterThanIsTold)
{
    const std::string old = Text(3000, 1, "");
    const KnownBlocks blocks(ViewOf(old));
    for (const size_t size : {0, 5, 12, 2000}) {
        const std::string fresh = Text(size, 2, old).substr(0, size);
        const std::vector<uint32_t> ends = blocks.LastEnds(ViewOf(fresh));
        ASSERT_EQ(ends.size(), size);
        size_t looseEnds = 0;
        for (size_t i = 0; i < size; ++i) {
            size_t end = i;
            while (end < size && old.find(fresh.substr(i, end + 1 - i)) != std::string::npos) {
                ++end;
            }
            ASSERT_TRUE(end <= ends[i] && ends[i] <= size && (i == 0 || ends[i - 1] <= ends[i])) << i;
            looseEnds += ends[i] > end + 9 ? 1U : 0U; // a word of eight more is no news, and some hashes are alike
        }
        EXPECT_LE(looseEnds, size / 10);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
