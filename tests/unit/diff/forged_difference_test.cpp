// Differences whose checksum, base and header are right and whose numbers are not: for each check of the applier one
// that nothing else refuses.
#include <gtest/gtest.h>
#include <zlib.h>

#include "diff/delta_coder.h"
#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/old_window.h"
#include "diff/range_encoder.h"
#include "tests/support/zip_builder.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;
using Kind = NumberKind;

// Writes numbers and equal bytes down in whatever order it is told.
class Forger {
public:
    Forger& Put(Kind kind, uint64_t number)
    {
        model_.numbers.Code(coder_, kind, number);
        return *this;
    }
    Forger& PutSigned(Kind kind, int64_t number)
    {
        model_.numbers.CodeSigned(coder_, kind, number);
        return *this;
    }
    Forger& Region(uint64_t rawLength, uint64_t level)
    {
        return Put(Kind::RAW_LENGTH, rawLength).Put(Kind::LEVEL, level);
    }
    Forger& Raw(int64_t seek, const std::string& bytes)
    {
        PutSigned(Kind::RAW_SEEK, seek).Put(Kind::RAW_DELTA, bytes.size()).Put(Kind::RAW_EXTRA, 0);
        return Same(bytes);
    }
    Forger& Content(int64_t seek, const std::string& bytes)
    {
        PutSigned(Kind::PLAIN_SEEK, seek).Put(Kind::PLAIN_DELTA, bytes.size()).Put(Kind::PLAIN_EXTRA, 0);
        return Same(bytes);
    }
    Forger& Group(uint64_t length, uint64_t drop, uint64_t load)
    {
        return Put(Kind::GROUP_LENGTH, length).Put(Kind::GROUP_DROP, drop).Put(Kind::GROUP_LOAD, load);
    }
    Forger& Stored(int64_t gap, uint64_t length)
    {
        return Put(Kind::PIECE_METHOD, 0).PutSigned(Kind::PIECE_GAP, gap).Put(Kind::PIECE_LENGTH, length);
    }
    Forger& Deflated(int64_t gap, uint64_t method = 1)
    {
        return Put(Kind::PIECE_METHOD, method).PutSigned(Kind::PIECE_GAP, gap);
    }
    // The same with a filter, in a difference of version 2 that has some.
    Forger& Filtered(uint64_t filter, int64_t gap, uint64_t length)
    {
        Put(Kind::PIECE_METHOD, 0).Put(Kind::PIECE_FILTER, filter);
        return PutSigned(Kind::PIECE_GAP, gap).Put(Kind::PIECE_LENGTH, length);
    }
    std::string Finish() { return coder_.Finish(); }

private:
    Forger& Same(const std::string& bytes)
    {
        const auto* const data = reinterpret_cast<const uint8_t*>(bytes.data());
        deltas_.Begin();
        deltas_.Code(coder_, model_, DeltaCoder::Part<const uint8_t>{data, data, bytes.size(), bytes.size()});
        return *this;
    }

    RangeEncoder coder_;
    DeltaModel model_;
    DeltaCoder deltas_;
};

// zlib's own wrapping, two bytes and a checksum, taken off.
std::string Deflate(const std::string& content, int level)
{
    std::string text(content.size() + 100, '\0');
    uLongf size = text.size();
    const auto* const bytes = reinterpret_cast<const Bytef*>(content.data());
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(text.data()), &size, bytes, content.size(), level), Z_OK);
    return text.substr(2, size - 6);
}

class ForgedDifferenceTest : public testing::Test {
protected:
    // Applies a difference of this coded part; whatever comes, there is an output only when it is the right one.
    int Apply(const std::string& code, const std::string& base, const std::string& output, uint32_t window,
              uint8_t version = 1)
    {
        DifferenceHeader header;
        header.version = version;
        header.baseSize = static_cast<uint32_t>(base.size());
        header.outputSize = static_cast<uint32_t>(output.size());
        header.windowSize = window;
        EXPECT_TRUE(Handles::Sha256::Of(base.data(), base.size(), header.baseDigest));
        EXPECT_TRUE(Handles::Sha256::Of(output.data(), output.size(), header.outputDigest));
        scratch_.Write("difference", AssembleDifference(header, code, ""));
        scratch_.Write("old", base);
        const int result = ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out"));
        EXPECT_EQ(scratch_.Has("out"), result == DIFFERENCE_OK);
        if (result == DIFFERENCE_OK) {
            EXPECT_EQ(scratch_.Read("out"), output);
        }
        return result;
    }

    ScratchDirectory scratch_;
};

// All regions are announced first.
Forger Regions(uint64_t count)
{
    Forger forger;
    forger.Put(Kind::REGION_COUNT, count);
    return forger;
}

struct Case {
    const char* name;
    std::string code;
    int result = DIFFERENCE_DAMAGED;
};

TEST_F(ForgedDifferenceTest, RawBytes)
{
    const auto one = [](uint64_t length) { return Regions(1).Region(length, 0); };
    const Case cases[] = {
        {"right", one(8).Raw(0, "abcdefgh").Finish(), DIFFERENCE_OK},
        {"a region without content", Regions(2).Region(0, 0).Region(8, 0).Raw(0, "abcdefgh").Finish(), DIFFERENCE_OK},
        {"together longer than the output",
         Regions(2).Region(5, 0).Raw(0, "abcde").Region(4, 0).Raw(0, "fghi").Finish()},
        {"an empty stretch", one(8).Raw(0, "").Raw(0, "abcdefgh").Finish()},
        {"beyond the end of the base", one(8).Raw(2, "cdefghi").Raw(0, "a").Finish()},
        {"before the base", one(8).Raw(-1, "abcdefgh").Finish()},
        {"extra bytes that are not there",
         one(8).PutSigned(Kind::RAW_SEEK, 0).Put(Kind::RAW_DELTA, 0).Put(Kind::RAW_EXTRA, 8).Finish()},
        {"other bytes", one(8).Raw(1, "bcdefghi").Finish(), DIFFERENCE_MISMATCH},
        {"a level that there is not",
         Regions(1).Region(0, 10).Put(Kind::PLAIN_LENGTH, 1).Group(1, 0, 1).Stored(0, 1).Content(0, "a").Finish()},
    };
    for (const auto& [name, code, result] : cases) {
        EXPECT_EQ(Apply(code, "abcdefghi", "abcdefgh", 16), result) << name;
    }
    // The room for the output holds a zero, and so would the output: it must have been written all the same.
    EXPECT_EQ(Apply(one(4).Raw(0, "base").Finish(), "base", std::string("base\0", 5), 0), DIFFERENCE_MISMATCH);
    const int results[] = {DIFFERENCE_OK, DIFFERENCE_OK, DIFFERENCE_DAMAGED}; // as many regions as bytes and one more
    for (uint64_t count = 0; count < std::size(results); ++count) {
        Forger forger = Regions(count);
        for (uint64_t i = 0; i < count; ++i) {
            forger.Region(0, 0);
        }
        EXPECT_EQ(Apply(forger.Finish(), "base", "", 0), results[count]) << count;
    }
}

// One entry: its content is the stored "stored" and the deflated "a deflated piece".
TEST_F(ForgedDifferenceTest, PiecesAndGroups)
{
    const std::string piece = "a deflated piece";
    const std::string deflated = Deflate(piece, 6);
    const std::string base = "stored" + deflated + std::string("\x03\0", 2) + "\xff\xff";
    const std::string content = "stored" + piece;
    const auto size = static_cast<int64_t>(deflated.size());
    const auto begin = [&] { return Regions(1).Region(0, 9).Put(Kind::PLAIN_LENGTH, content.size()); };
    // A group with both pieces, of which so much is used and loaded.
    const auto both = [&](uint64_t length, uint64_t load) {
        return begin().Group(length, 0, load).Stored(0, 6).Deflated(0);
    };
    const auto all = [&](Forger forger) { return forger.Content(0, content).Finish(); };
    const Case cases[] = {
        {"right", all(both(22, 22)), DIFFERENCE_OK},
        {"the window moves on before it is needed",
         begin()
             .Group(0, 0, 20)
             .Deflated(6)
             .Stored(-6 - size, 6)
             .Group(22, 16, 18)
             .Deflated(0)
             .Content(16, "stored")
             .Content(0, piece)
             .Finish(),
         DIFFERENCE_OK},
        {"a piece loaded in parts", both(6, 10).Content(0, "stored").Group(16, 6, 12).Content(0, piece).Finish(),
         DIFFERENCE_OK},
        {"a group of nothing", all(begin().Group(0, 0, 0).Group(22, 0, 22).Stored(0, 6).Deflated(0))},
        {"more loaded than fits", all(both(22, 24).Stored(-3, 2))},
        {"dropped content", all(both(0, 22).Group(22, 1, 1).Stored(-1, 1))},
        {"a method that there is not", all(begin().Group(22, 0, 22).Stored(0, 6).Deflated(0, 2))},
        {"a piece before the base", all(begin().Group(22, 0, 22).Stored(-1, 6).Deflated(1))},
        {"a piece at the end of the base", begin().Group(22, 0, 22).Stored(0, 6).Deflated(size + 4).Finish()},
        {"a stored piece of nothing", all(begin().Group(22, 0, 22).Stored(0, 0).Stored(0, 6).Deflated(0))},
        {"beyond the base, of which little is needed", all(both(22, 23).Stored(0, 5))},
        {"up to the end of the base, of which little is needed", all(both(22, 23).Stored(0, 4)), DIFFERENCE_OK},
        {"a deflated piece of nothing", all(both(22, 23).Deflated(0).Stored(0, 1))},
        {"a deflated piece that is none", all(both(22, 23).Deflated(2))},
        {"content after what its window holds", all(both(22, 21))},
    };
    for (const auto& [name, code, result] : cases) {
        EXPECT_EQ(Apply(code, base, Deflate(content, 9), 23), result) << name;
    }
}

// What version 2 has more: a call, which is put into the new file as it is.
TEST_F(ForgedDifferenceTest, StoredAndFilteredContent)
{
    const std::string call("ab\xE8\4\0\0\0..", 9);
    const std::string address("ab\xE8\6\0\0\0..", 9);
    const std::string output = "1234" + call; // and the base
    const auto begin = [&](uint64_t isFiltered, uint64_t level, uint64_t size) {
        Forger forger;
        forger.Put(Kind::IS_FILTERED, isFiltered).Put(Kind::REGION_COUNT, 2).Region(4, 0).Raw(0, "1234");
        return forger.Region(0, level).Put(Kind::PLAIN_LENGTH, size);
    };
    const auto filtered = [&](uint64_t content, uint64_t piece) {
        return begin(1, 10, 9)
            .Put(Kind::CONTENT_FILTER, content)
            .Group(9, 0, 9)
            .Filtered(piece, 4, 9)
            .Content(0, piece == 2 ? address : call)
            .Finish();
    };
    const auto stored = [&](uint64_t level) {
        return begin(0, level, 9).Group(9, 0, 9).Stored(4, 9).Content(0, call).Finish();
    };
    const Case cases[] = {
        {"stored", stored(10), DIFFERENCE_OK},
        {"a level that there is not", stored(11)},
        {"longer than the output", begin(0, 10, 10).Group(9, 0, 9).Stored(4, 9).Content(0, call).Finish()},
        {"an answer that is none", begin(2, 10, 9).Group(9, 0, 9).Stored(4, 9).Content(0, call).Finish()},
        {"filtered", filtered(2, 2), DIFFERENCE_OK},
        {"filtered on one side", filtered(2, 0), DIFFERENCE_MISMATCH},
        {"filtered on the other", filtered(0, 2), DIFFERENCE_MISMATCH},
        {"a filter that there is not", filtered(3, 2)},
        {"a piece's filter that there is not", filtered(2, 3)},
    };
    for (const auto& [name, code, result] : cases) {
        EXPECT_EQ(Apply(code, output, output, 9, 2), result) << name;
        EXPECT_NE(Apply(code, output, output, 9, 1), DIFFERENCE_OK) << name;
    }
    // As much window as the base can have content.
    EXPECT_EQ(Apply(stored(10), output, output, 13 * 1032, 2), DIFFERENCE_OK);
    EXPECT_EQ(Apply(stored(10), output, output, 13 * 1032 + 1, 2), DIFFERENCE_DAMAGED);
    const std::string large(300000, 'b');
    Forger forger;
    forger.Put(Kind::IS_FILTERED, 0).Put(Kind::REGION_COUNT, 0);
    EXPECT_EQ(Apply(forger.Finish(), large, "", DifferenceWindowMax(2), 2), DIFFERENCE_OK);
    EXPECT_EQ(Apply(forger.Finish(), large, "", DifferenceWindowMax(2) + 1, 2), DIFFERENCE_DAMAGED);
}

// What version 3 has more: what the dictionary holds at the start, and headers that are foretold.
TEST_F(ForgedDifferenceTest, PrimingAndHeaders)
{
    ZipBuilder builder;
    builder.Add("one", "old content", 6);
    const std::string base = builder.Build();
    // The entry's content anew, as it was, and the bytes around it, of which none has to be told otherwise.
    const std::string content = "old content";
    const size_t data = 30 + 3;
    const size_t packed = base.find("PK\1\2") - data;
    const auto begin = [](std::vector<uint64_t> priming, uint64_t headers) {
        Forger forger;
        forger.Put(Kind::IS_FILTERED, 0).Put(Kind::PRIMING_SOURCE, priming[0]);
        if (priming.size() > 1) {
            forger.Put(Kind::PRIMING_START, priming[1]).Put(Kind::PRIMING_LENGTH, priming[2]);
        }
        return forger.Put(Kind::PREDICTS_HEADERS, headers);
    };
    const auto entry = [&](Forger forger, int64_t old, bool isBegun = false) {
        forger.Put(Kind::REGION_COUNT, 2).Region(data, 6).Put(Kind::PLAIN_LENGTH, content.size());
        forger.Put(Kind::HAS_OLD_ENTRY, 1).PutSigned(Kind::OLD_ENTRY, old).PutSigned(Kind::PACKED_LENGTH, 0);
        if (!isBegun) {
            forger.Group(11, 0, 11).Deflated(data);
        }
        forger.Content(0, content).Raw(0, base.substr(0, data));
        const std::string rest = base.substr(data + packed);
        return forger.Region(rest.size(), 0).Raw(static_cast<int64_t>(packed), rest).Finish();
    };
    const auto raw = [&](Forger forger) {
        return forger.Put(Kind::REGION_COUNT, 1).Region(base.size(), 0).Raw(0, base).Finish();
    };
    const auto window = [&](uint64_t start, uint64_t size) {
        return entry(begin({2, start, size}, 1).Group(11, 0, 11).Deflated(data), 0, true);
    };
    const Case cases[] = {
        {"neither", raw(begin({0}, 0)), DIFFERENCE_OK},
        {"all of the base", raw(begin({1, 0, base.size()}, 0)), DIFFERENCE_OK},
        {"more than the base", raw(begin({1, 1, base.size()}, 0))},
        {"from behind the base", raw(begin({1, base.size() + 1, 0}, 0))},
        {"a source that there is not", raw(begin({3, 0, 0}, 0))},
        {"the first window", window(3, 8), DIFFERENCE_OK},
        {"more than the first window", window(3, 9)},
        {"a window without its group", raw(begin({2, 0, 1}, 0))},
        {"headers", entry(begin({0}, 1), 0), DIFFERENCE_OK},
        {"an answer that is none", entry(begin({0}, 2), 0)},
        {"an entry behind the last one", entry(begin({0}, 1), 1)},
        {"an entry before the first one", entry(begin({0}, 1), -1)},
    };
    for (const auto& [name, code, result] : cases) {
        EXPECT_EQ(Apply(code, base, base, 11, 3), result) << name;
        EXPECT_NE(Apply(code, base, base, 11, 2), DIFFERENCE_OK) << name;
    }
    EXPECT_EQ(Apply(raw(begin({0}, 1)), "no archive" + base.substr(10, base.size() - 11), base, 11, 3),
              DIFFERENCE_DAMAGED);
    const std::string large(size_t{5} << 20, 'b');
    for (const uint64_t size : {4U << 20, (4U << 20) + 1}) { // as much as a dictionary may have
        EXPECT_EQ(Apply(begin({1, 0, size}, 0).Put(Kind::REGION_COUNT, 0).Finish(), large, "", 0, 3),
                  size == 4U << 20 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED);
    }
}

TEST_F(ForgedDifferenceTest, ContentAndLoadsAreBounded)
{
    // Deflated data can be 1032 times smaller than its content, and no difference may ask for more.
    for (const uint64_t size : {uint64_t{1032} * 3, uint64_t{1032} * 3 + 1}) {
        const std::string zeros(size, '\0');
        Forger forger = Regions(1).Region(0, 9).Put(Kind::PLAIN_LENGTH, size);
        forger.Group(size, 0, size).Stored(0, size).Content(0, zeros);
        EXPECT_EQ(Apply(forger.Finish(), zeros, "ab", static_cast<uint32_t>(size)),
                  size == 3096 ? DIFFERENCE_ZLIB_DIFFERS : DIFFERENCE_DAMAGED);
    }
    const std::string base(DifferenceWindowMax(1), 'b');
    const auto size = static_cast<int64_t>(base.size());
    for (const int groups : {170, 171}) { // of 12 MiB: just below 2 GiB, and beyond
        Forger forger = Regions(1).Region(0, 1).Put(Kind::PLAIN_LENGTH, 1);
        for (int i = 0; i < groups; ++i) {
            forger.Group(i == groups - 1 ? 1 : 0, i == 0 ? 0 : base.size(), base.size());
            forger.Stored(i == 0 ? 0 : -size, base.size());
        }
        forger.Content((groups - 1) * size, "b");
        EXPECT_EQ(Apply(forger.Finish(), base, Deflate("b", 1), DifferenceWindowMax(1)),
                  groups == 170 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
