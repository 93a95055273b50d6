#include <filesystem>
#include <gtest/gtest.h>

#include "diff/difference_applier.h"
#include "diff/difference_result.h"
#include "diff/plain_encoder.h"
#include "tests/support/noise.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

class PlainDifferenceTest : public testing::Test {
protected:
    void SetUp() override { Make(Noise(3000, 1), Noise(40, 2) + Noise(3000, 1) + "a tail", ""); }

    void Make(const std::string& base, const std::string& target, const std::string& options)
    {
        target_ = target;
        scratch_.Write("old", base);
        scratch_.Write("new", target);
        // The tool's own search for a window trips over an empty target.
        const std::string fromBase = target.empty() ? "" : "--long=31 --patch-from old ";
        ASSERT_NO_FATAL_FAILURE(scratch_.Run("zstd -q -f -19 " + options + fromBase + "new -o difference"));
        difference_ = scratch_.Read("difference");
    }

    int Apply() { return ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out")); }

    ScratchDirectory scratch_;
    std::string target_;
    std::string difference_;
};

TEST_F(PlainDifferenceTest, RebuildsWhatTheToolMade)
{
    const std::string large = Noise(3 << 20, 3);
    const struct {
        const char* name;
        std::string base;
        std::string target;
    } cases[] = {
        {"a small change", Noise(3000, 1), Noise(1500, 1) + "x" + Noise(3000, 1)},
        {"an empty base", "", Noise(500, 4)},
        {"an empty output", "something", ""},
        {"a base beyond the default window", large + Noise(9 << 20, 5), large},
    };
    for (const auto& [name, base, target] : cases) {
        ASSERT_NO_FATAL_FAILURE(Make(base, target, ""));
        EXPECT_EQ(Apply(), DIFFERENCE_OK) << name;
        EXPECT_TRUE(scratch_.Has("out") && scratch_.Read("out") == target) << name;
    }
}

TEST_F(PlainDifferenceTest, TheMakerMakesTheToolsFramesOrGivesThemUp)
{
    const std::string base = Noise(1 << 20, 3);
    const std::string target = Noise(700000, 4) + base.substr(5, 400000);
    const auto view = [](const std::string& text) {
        return ByteView{reinterpret_cast<const uint8_t*>(text.data()), text.size()};
    };
    for (const auto& [way, option] :
         {std::pair{PlainWay::DIRECT, "--single-thread "}, std::pair{PlainWay::WORKER, ""}}) {
        ASSERT_NO_FATAL_FAILURE(Make(base, target, option));
        for (const size_t enough : {SIZE_MAX, difference_.size()}) {
            EXPECT_TRUE(MakePlainDifference(view(base), view(target), way, enough).frame == difference_) << option;
        }
        const PlainAttempt attempt = MakePlainDifference(view(base), view(target), way, difference_.size() / 2);
        EXPECT_TRUE(attempt.isGivenUp && !attempt.frame.has_value()) << option;
    }
}

// A flip may fall into a bit that means nothing; then the outcome is still the right file. A wrong one never is.
TEST_F(PlainDifferenceTest, ACutFailsAndAFlippedBitFailsOrChangesNothing)
{
    size_t unharmed = 0;
    for (size_t bit = 0; bit < difference_.size() * 8; ++bit) {
        std::string damaged = difference_;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        scratch_.Write("difference", damaged);
        const bool isUnharmed = Apply() == DIFFERENCE_OK;
        unharmed += isUnharmed ? 1U : 0U;
        ASSERT_EQ(scratch_.Has("out"), isUnharmed) << bit;
        ASSERT_TRUE(!isUnharmed || scratch_.Read("out") == target_) << bit;
    }
    EXPECT_LT(unharmed, 8U);
    for (size_t size = 0; size < difference_.size(); ++size) {
        scratch_.Write("difference", difference_.substr(0, size));
        ASSERT_NE(Apply(), DIFFERENCE_OK) << size;
        ASSERT_FALSE(scratch_.Has("out")) << size;
    }
}

TEST_F(PlainDifferenceTest, EachDefectHasItsCode)
{
    const auto fails = [this](int code, const std::string& name) {
        EXPECT_EQ(Apply(), code) << name;
        EXPECT_FALSE(scratch_.Has("out")) << name;
    };
    scratch_.Write("difference", difference_ + "x");
    fails(DIFFERENCE_TRAILING_BYTES, "one byte more");
    scratch_.Write("difference", "PK\3\4, not a frame");
    fails(DIFFERENCE_FORMAT_UNKNOWN, "another format");
    scratch_.Write("difference", difference_);
    scratch_.Write("old", Noise(3000, 9));
    fails(DIFFERENCE_MISMATCH, "another base");
    std::filesystem::remove(scratch_.Path("old"));
    std::filesystem::create_directory(scratch_.Path("old"));
    fails(DIFFERENCE_BASE_UNREADABLE, "a directory for a base");
    std::filesystem::remove(scratch_.Path("old"));
    ASSERT_NO_FATAL_FAILURE(Make("abc", "abcdef", "--no-check "));
    fails(DIFFERENCE_NO_CHECKSUM, "no checksum");
    ASSERT_NO_FATAL_FAILURE(scratch_.Run("zstd -q -f < new > difference"));
    fails(DIFFERENCE_SIZE_UNKNOWN, "made from a stream");
    // Single segment, checksum, 2 GiB - 1 in four bytes; an empty last block and its checksum.
    scratch_.Write("difference", std::string("\x28\xB5\x2F\xFD\xA4\xFF\xFF\xFF\x7F\1\0\0\x99\xE9\xD8\x51", 16));
    fails(DIFFERENCE_TOO_LARGE, "a claimed size, of which none is there");
    std::filesystem::remove(scratch_.Path("difference"));
    fails(DIFFERENCE_UNREADABLE, "no difference");
}

TEST_F(PlainDifferenceTest, TheOutputReplacesOnlyWhatIsNoInput)
{
    scratch_.Write("out", "left by an earlier run");
    EXPECT_EQ(Apply(), DIFFERENCE_OK);
    EXPECT_EQ(scratch_.Read("out"), target_);

    const std::string oldPath = scratch_.Path("old");
    const std::string base = scratch_.Read("old");
    std::filesystem::remove(scratch_.Path("out"));
    std::filesystem::create_hard_link(oldPath, scratch_.Path("out"));
    EXPECT_EQ(Apply(), DIFFERENCE_OUTPUT_IS_INPUT);
    EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), oldPath, oldPath), DIFFERENCE_OUTPUT_IS_INPUT);
    EXPECT_EQ(scratch_.Read("old"), base);

    std::filesystem::remove(scratch_.Path("out"));
    std::filesystem::create_directory(scratch_.Path("out"));
    EXPECT_EQ(Apply(), DIFFERENCE_OUTPUT_UNWRITABLE);

    scratch_.Write("difference", "damaged");
    std::filesystem::remove(scratch_.Path("out"));
    scratch_.Write("out", "left by an earlier run");
    EXPECT_EQ(Apply(), DIFFERENCE_FORMAT_UNKNOWN);
    EXPECT_FALSE(scratch_.Has("out"));
}
// The numbers and what they mean stand in the format's page, and in the logs of devices.
TEST(DifferenceResultTest, EveryNumberKeepsItsMeaning)
{
    const char* const texts[] = {
        "the file was rebuilt",
        "the old file cannot be read",
        "the difference cannot be read",
        "the new file cannot be written",
        "the disk has no room for the new file",
        "the new file would overwrite the old file or the difference",
        "the difference is of an unknown kind",
        "the difference does not say how large the new file is",
        "the new file would be too large",
        "the difference carries no checksum",
        "something follows the end of the difference",
        "the difference is damaged",
        "the difference is damaged, or was made for another old file",
        "not enough memory",
        "the old file is not the one that the difference was made for",
        "the zlib of this device does not write what the maker's did",
        "unknown result 16",
    };
    for (int number = 0; number < static_cast<int>(std::size(texts)); ++number) {
        EXPECT_EQ(DifferenceResultText(number), texts[number]);
    }
    EXPECT_EQ(DifferenceResultText(-1), "unknown result -1");
}
} // namespace
} // namespace ORVX::TavomendTest
