#include <gtest/gtest.h>
#include <random>
#include <string>

#include "diff/known_blocks.h"
#include "diff/old_excerpt.h"

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
TEST(OldExcerptTest, HasWhatIsSharedAndTellsWhereItIs)
{
    const std::string start = Text(9000, 3, "");
    const std::string old = start + Text(3 << 20, 4, "");
    const size_t across = (size_t{1} << 20) - 6; // the old content is looked through in steps of a MiB
    const std::string fresh = start.substr(0, 16) + "?" + old.substr(across, 13) + "?" + old.substr(old.size() - 16);
    const OldExcerpt excerpt(ViewOf(old), {ViewOf(fresh.substr(0, 40)), ViewOf(fresh.substr(40))});
    const std::string taken(excerpt.View().data, excerpt.View().data + excerpt.View().size);
    EXPECT_LT(taken.size(), 4000U);
    for (const std::string& shared : {start.substr(0, 16), old.substr(across, 13), old.substr(old.size() - 16)}) {
        EXPECT_NE(taken.find(shared), std::string::npos) << shared;
    }

    std::string followed;
    size_t extra = 0;
    for (const Stretch& each : excerpt.InOld({{0, 0, 5}, {3, taken.size() - 3, 7}})) {
        followed += old.substr(each.oldPosition, each.delta);
        extra += each.extra;
    }
    EXPECT_EQ(followed, taken.substr(3));
    EXPECT_EQ(extra, 12U);
}
} // namespace
} // namespace ORVX::TavomendTest
