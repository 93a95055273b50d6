#include <zlib.h>

#include "diff/difference_applier.h"
#include "diff/difference_result.h"
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
        scratch_.Write("old", Kept("archive.old"));
        difference_ = Kept("archive.difference");
        ASSERT_EQ(Apply(difference_), DIFFERENCE_OK);
        fresh_ = scratch_.Read("out");
    }
    static std::string Kept(const std::string& name)
    {
        std::ifstream file(KEPT_DIFFERENCES "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // Applies a difference; whatever is wrong with it, there must be no output.
    int Apply(const std::string& difference)
    {
        scratch_.Write("difference", difference);
        const int result = ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out"));
        EXPECT_EQ(scratch_.Has("out"), result == DIFFERENCE_OK);
        return result;
    }

    // The same with other bytes and a checksum that fits again.
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

    std::string Turned(size_t offset, int bit) const { return {static_cast<char>(difference_[offset] ^ 1 << bit)}; }

    ScratchDirectory scratch_;
    std::string difference_;
    std::string fresh_;
};

TEST_F(DifferenceDamageTest, EveryByteMattersUpToTheEnd)
{
    for (size_t i = 0; i < difference_.size(); i += i < MODEL ? 1 : 5) {
        std::string damaged = difference_;
        damaged.replace(i, 1, Turned(i, static_cast<int>(i % 8)));
        ASSERT_NE(Apply(damaged), DIFFERENCE_OK) << i;
        ASSERT_NE(Apply(difference_.substr(0, i)), DIFFERENCE_OK) << i;
    }
    EXPECT_EQ(Apply(difference_ + '\0'), DIFFERENCE_DAMAGED);
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
        {"version", VERSION, 2, DIFFERENCE_FORMAT_UNKNOWN},
        {"base size", BASE_SIZE, 0, DIFFERENCE_WRONG_BASE},
        {"base digest", BASE_DIGEST + 31, 7, DIFFERENCE_WRONG_BASE},
        {"an output beyond the limit", OUTPUT_SIZE + 3, 7, DIFFERENCE_TOO_LARGE},
        {"a base beyond the limit", BASE_SIZE + 3, 7, DIFFERENCE_TOO_LARGE},
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
        EXPECT_EQ(ApplyForged(offset, Turned(offset, bit)), code) << name;
    }
    EXPECT_EQ(ApplyForged(BASE_SIZE, "\xFF\xFF\xFF\x7F"), DIFFERENCE_WRONG_BASE); // the limit, which no base here has
    EXPECT_EQ(ApplyForged(WINDOW_SIZE, std::string("\0\0\xC0\0", 4)), DIFFERENCE_OK); // 12 MiB
    EXPECT_EQ(ApplyForged(WINDOW_SIZE, std::string("\1\0\xC0\0", 4)), DIFFERENCE_DAMAGED);
}

// Behind a checksum that fits, every value of the coded parts must be survived, and none may give a wrong file.
TEST_F(DifferenceDamageTest, ForgedContentNeverPasses)
{
    for (size_t i = MODEL; i < difference_.size() - 4; i += 5) {
        const int result = ApplyForged(i, Turned(i, static_cast<int>(i * 5 % 8)));
        if (result == DIFFERENCE_OK) {
            ASSERT_EQ(scratch_.Read("out"), fresh_) << i;
        }
    }
}

TEST_F(DifferenceDamageTest, AnotherBaseIsRefusedBeforeAnythingIsWritten)
{
    const std::string base = scratch_.Read("old");
    std::string other = base;
    other[other.size() / 2] = static_cast<char>(other[other.size() / 2] ^ 1);
    for (const std::string& wrong : {other, base}) {
        scratch_.Write("old", wrong);
        // There is no directory to write to: only a base that was found right comes so far.
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("nowhere/out")),
                  wrong == base ? DIFFERENCE_OUTPUT_UNWRITABLE : DIFFERENCE_WRONG_BASE);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
