#include <zlib.h>

#include "diff/difference_applier.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

// Where the fields lie; docs/difference-format.md.
constexpr size_t VERSION = 7;
constexpr size_t MAKER_ZLIB = 8;
constexpr size_t BASE_SIZE = 10;
constexpr size_t BASE_DIGEST = 14;
constexpr size_t OUTPUT_SIZE = 46;
constexpr size_t OUTPUT_DIGEST = 50;
constexpr size_t WINDOW_SIZE = 82;
constexpr size_t MODEL_SIZE = 86;
constexpr size_t EXTRA_SIZE = 90;
constexpr size_t EXTRA_PROPERTIES = 94;
constexpr size_t MODEL = 99;

class DifferenceDamageTest : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string content = CodeLikeContent(20000, 1);
        WriteArchive(scratch_.Path("old"), {{"code", content, 6}, {"more", CodeLikeContent(3000, 2), 9}});
        WriteArchive(scratch_.Path("new"), {{"code", NextVersion(content) + CodeLikeContent(2000, 3), 6},
                                            {"more", NextVersion(CodeLikeContent(3000, 2)), 9}});
        DifferenceReport report;
        std::string error;
        ASSERT_TRUE(MakeDifference({scratch_.Path("old"), scratch_.Path("new"), scratch_.Path("difference")}, {},
                                   report, error));
        ASSERT_EQ(report.kind, DifferenceKind::ARCHIVE);
        difference_ = scratch_.Read("difference");
        extra_ = MODEL + static_cast<size_t>(Number(MODEL_SIZE));
        ASSERT_GT(Number(EXTRA_SIZE), 100U);
    }

    uint32_t Number(size_t offset) const
    {
        uint32_t number = 0;
        for (size_t i = 0; i < 4; ++i) {
            number |= static_cast<uint32_t>(static_cast<uint8_t>(difference_[offset + i])) << 8 * i;
        }
        return number;
    }

    // Applies a difference; whatever is wrong with it, there must be no output.
    int Apply(const std::string& difference)
    {
        scratch_.Write("difference", difference);
        const int result = ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out"));
        EXPECT_EQ(scratch_.Has("out"), result == DIFFERENCE_OK);
        return result;
    }

    // The same for a difference with one bit turned and its checksum made to fit again.
    int ApplyForged(size_t offset, int bit)
    {
        return ApplyForged(offset, std::string(1, static_cast<char>(difference_[offset] ^ 1 << bit)));
    }

    // With other bytes.
    int ApplyForged(size_t offset, const std::string& bytes)
    {
        std::string forged = difference_.substr(0, difference_.size() - 4);
        forged.replace(offset, bytes.size(), bytes);
        const uint32_t checksum = static_cast<uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(forged.data()), static_cast<uInt>(forged.size())));
        for (int i = 0; i < 4; ++i) {
            forged += static_cast<char>(checksum >> 8 * i);
        }
        return Apply(forged);
    }

    ScratchDirectory scratch_;
    std::string difference_;
    size_t extra_ = 0;
};

TEST_F(DifferenceDamageTest, EveryByteMatters)
{
    for (size_t i = 0; i < difference_.size(); i += i < MODEL ? 1 : 5) {
        std::string damaged = difference_;
        damaged[i] = static_cast<char>(damaged[i] ^ 1 << i % 8);
        ASSERT_NE(Apply(damaged), DIFFERENCE_OK) << i;
    }
    EXPECT_EQ(Apply(difference_), DIFFERENCE_OK);
}

TEST_F(DifferenceDamageTest, CutAnywhereOrContinued)
{
    for (size_t size = 0; size < difference_.size(); size += 7) {
        ASSERT_NE(Apply(difference_.substr(0, size)), DIFFERENCE_OK) << size;
    }
    EXPECT_EQ(Apply(difference_ + '\0'), DIFFERENCE_DAMAGED);
    EXPECT_EQ(Apply(difference_ + difference_), DIFFERENCE_DAMAGED);
}

TEST_F(DifferenceDamageTest, ForgedFieldsHaveTheirCodes)
{
    const struct {
        const char* name;
        size_t offset;
        int bit;
        int code;
    } cases[] = {
        {"magic", 0, 0, DIFFERENCE_FORMAT_UNKNOWN},
        {"version", VERSION, 1, DIFFERENCE_FORMAT_UNKNOWN},
        {"base size", BASE_SIZE, 0, DIFFERENCE_WRONG_BASE},
        {"base digest", BASE_DIGEST + 31, 7, DIFFERENCE_WRONG_BASE},
        {"an output beyond the limit", OUTPUT_SIZE + 3, 7, DIFFERENCE_TOO_LARGE},
        {"a base beyond the limit", BASE_SIZE + 3, 7, DIFFERENCE_TOO_LARGE},
        {"a window beyond the limit", WINDOW_SIZE + 3, 0, DIFFERENCE_DAMAGED},
        {"a window too small", WINDOW_SIZE + 1, 6, DIFFERENCE_DAMAGED},
        {"model size", MODEL_SIZE, 0, DIFFERENCE_DAMAGED},
        {"extra size", EXTRA_SIZE, 0, DIFFERENCE_DAMAGED},
        {"a dictionary beyond the limit", EXTRA_PROPERTIES + 1, 0, DIFFERENCE_DAMAGED},
        {"LZMA properties that there are not", EXTRA_PROPERTIES, 7, DIFFERENCE_DAMAGED},
        // What the applier sees when its deflate writes other bytes than the maker's did.
        {"output digest", OUTPUT_DIGEST, 0, DIFFERENCE_ZLIB_DIFFERS},
        // The number alone decides nothing.
        {"zlib version", MAKER_ZLIB, 4, DIFFERENCE_OK},
    };
    for (const auto& [name, offset, bit, code] : cases) {
        EXPECT_EQ(ApplyForged(offset, bit), code) << name;
    }
    EXPECT_EQ(ApplyForged(WINDOW_SIZE, std::string("\0\0\xC0\0", 4)), DIFFERENCE_OK); // 12 MiB
    EXPECT_EQ(ApplyForged(WINDOW_SIZE, std::string("\1\0\xC0\0", 4)), DIFFERENCE_DAMAGED);
}

// Behind a checksum that fits, every value of the coded parts must be survived, and none may give a wrong file.
TEST_F(DifferenceDamageTest, ForgedContentNeverPasses)
{
    for (size_t i = MODEL; i < difference_.size() - 4; i += 5) {
        const int result = ApplyForged(i, static_cast<int>(i * 5 % 8));
        if (result == DIFFERENCE_OK) {
            ASSERT_EQ(scratch_.Read("out"), scratch_.Read("new")) << i;
        }
        ASSERT_NE(result, DIFFERENCE_OUTPUT_UNWRITABLE) << i;
    }
}

TEST_F(DifferenceDamageTest, AnotherBaseIsRefusedBeforeAnythingIsWritten)
{
    const std::string base = scratch_.Read("old");
    std::string other = base;
    other[other.size() / 2] = static_cast<char>(other[other.size() / 2] ^ 1);
    for (const std::string& wrong : {"x" + base, base.substr(1), other, std::string()}) {
        scratch_.Write("old", wrong);
        // There is no directory to write to: only a base that was found right would come so far.
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("nowhere/out")),
                  DIFFERENCE_WRONG_BASE);
    }
    scratch_.Write("old", base);
    EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("nowhere/out")),
              DIFFERENCE_OUTPUT_UNWRITABLE);
}
} // namespace
} // namespace ORVX::TavomendTest
