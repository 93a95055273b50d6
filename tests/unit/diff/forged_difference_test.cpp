// Differences whose checksum, base and header are right and whose numbers are not: for each check of the applier one
// that nothing else refuses.
#include <functional>
#include <gtest/gtest.h>
#include <zlib.h>

#include "diff/delta_coder.h"
#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/old_window.h"
#include "diff/range_encoder.h"
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

std::string Deflate(const std::string& content, int level)
{
    z_stream stream{};
    std::string text(content.size() + 100, '\0');
    EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    text.resize(stream.total_out);
    deflateEnd(&stream);
    return text;
}

class ForgedDifferenceTest : public testing::Test {
protected:
    // Applies a difference of this coded part; whatever comes, there is an output only when it is the right one.
    int Apply(Forger& forger, const std::string& base, const std::string& output, uint32_t window)
    {
        DifferenceHeader header;
        header.baseSize = static_cast<uint32_t>(base.size());
        header.outputSize = static_cast<uint32_t>(output.size());
        header.windowSize = window;
        EXPECT_TRUE(Handles::Sha256::Of(base.data(), base.size(), header.baseDigest));
        EXPECT_TRUE(Handles::Sha256::Of(output.data(), output.size(), header.outputDigest));
        scratch_.Write("difference", AssembleDifference(header, forger.Finish(), ""));
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

struct Case {
    const char* name;
    std::function<void(Forger&)> write;
    int code;
};

TEST_F(ForgedDifferenceTest, RawBytes)
{
    const std::string base = "abcdefghi";
    const Case cases[] = {
        {"right", [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(0, "abcdefgh"); }, DIFFERENCE_OK},
        {"a region without content",
         [&](Forger& f) { f.Put(Kind::REGION_COUNT, 2).Region(0, 0).Region(8, 0).Raw(0, "abcdefgh"); }, DIFFERENCE_OK},
        {"back and forth",
         [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(2, "cd").Raw(-4, "ab").Raw(2, "efgh"); },
         DIFFERENCE_MISMATCH},
        {"longer than the output", [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(9, 0).Raw(0, "abcdefghi"); },
         DIFFERENCE_DAMAGED},
        {"two regions, together longer than the output",
         [&](Forger& f) { f.Put(Kind::REGION_COUNT, 2).Region(5, 0).Raw(0, "abcde").Region(4, 0).Raw(0, "fghi"); },
         DIFFERENCE_DAMAGED},
        {"an empty stretch",
         [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(0, "").Raw(0, "abcdefgh"); },
         DIFFERENCE_DAMAGED},
        {"beyond the end of the base",
         [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(2, "cdefghi\0"); }, DIFFERENCE_DAMAGED},
        {"wholly beyond the base", [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(10, "abcdefgh"); },
         DIFFERENCE_DAMAGED},
        {"before the base", [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(-1, "abcdefgh"); },
         DIFFERENCE_DAMAGED},
        {"extra bytes that are not there",
         [&](Forger& f) {
             f.Put(Kind::REGION_COUNT, 1).Region(8, 0).PutSigned(Kind::RAW_SEEK, 0);
             f.Put(Kind::RAW_DELTA, 0).Put(Kind::RAW_EXTRA, 8);
         },
         DIFFERENCE_DAMAGED},
        {"other bytes", [&](Forger& f) { f.Put(Kind::REGION_COUNT, 1).Region(8, 0).Raw(1, "bcdefghi"); },
         DIFFERENCE_MISMATCH},
        {"a level that there is not",
         [&](Forger& f) {
             f.Put(Kind::REGION_COUNT, 1).Region(0, 10).Put(Kind::PLAIN_LENGTH, 1).Group(1, 0, 1).Stored(0, 1);
             f.Content(0, "a");
         },
         DIFFERENCE_DAMAGED},
    };
    for (const auto& [name, write, code] : cases) {
        Forger forger;
        write(forger);
        EXPECT_EQ(Apply(forger, base, "abcdefgh", 16), code) << name;
    }
}

TEST_F(ForgedDifferenceTest, AsManyRegionsAsBytesAndOneMore)
{
    for (uint64_t count = 0; count < 4; ++count) {
        Forger forger;
        forger.Put(Kind::REGION_COUNT, count);
        for (uint64_t i = 0; i < count; ++i) {
            forger.Region(0, 0);
        }
        EXPECT_EQ(Apply(forger, "base", "", 0), count < 2 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED) << count;
    }
    // The room for the output holds a zero, and so would the output: it must have been written all the same.
    Forger forger;
    forger.Put(Kind::REGION_COUNT, 1).Region(4, 0).Raw(0, "base");
    EXPECT_EQ(Apply(forger, "base", std::string("base\0", 5), 0), DIFFERENCE_MISMATCH);
}

// One entry: its content is the stored "stored" and the deflated "a deflated piece".
TEST_F(ForgedDifferenceTest, PiecesAndGroups)
{
    const std::string piece = "a deflated piece";
    const std::string deflated = Deflate(piece, 6);
    const std::string base = "stored" + deflated + std::string("\x03\0", 2) + "\xff\xff";
    const std::string content = "stored" + piece;
    const auto size = static_cast<int64_t>(deflated.size());
    const auto begin = [&](Forger& f) -> Forger& {
        return f.Put(Kind::REGION_COUNT, 1).Region(0, 9).Put(Kind::PLAIN_LENGTH, content.size());
    };
    const auto end = [&](Forger& f) { f.Content(0, content); };
    const Case cases[] = {
        {"right", [&](Forger& f) { end(begin(f).Group(22, 0, 22).Stored(0, 6).Deflated(0)); }, DIFFERENCE_OK},
        {"the window moves on before it is needed",
         [&](Forger& f) {
             begin(f).Group(0, 0, 20).Deflated(6 + size - size).Stored(-6 - size, 6).Group(22, 16, 18).Deflated(0);
             f.Content(16, "stored").Content(0, piece);
         },
         DIFFERENCE_OK},
        {"a piece loaded in parts",
         [&](Forger& f) {
             begin(f).Group(6, 0, 10).Stored(0, 6).Deflated(0).Content(0, "stored").Group(16, 6, 12).Content(0, piece);
         },
         DIFFERENCE_OK},
        {"a group of nothing",
         [&](Forger& f) { end(begin(f).Group(0, 0, 0).Group(22, 0, 22).Stored(0, 6).Deflated(0)); },
         DIFFERENCE_DAMAGED},
        {"more dropped than there is", [&](Forger& f) { end(begin(f).Group(22, 1, 23).Stored(-0, 6).Deflated(0)); },
         DIFFERENCE_DAMAGED},
        {"more loaded than fits",
         [&](Forger& f) { end(begin(f).Group(22, 0, 24).Stored(0, 6).Deflated(0).Stored(-3, 2)); }, DIFFERENCE_DAMAGED},
        {"dropped content",
         [&](Forger& f) {
             begin(f).Group(0, 0, 22).Stored(0, 6).Deflated(0).Group(22, 1, 1).Stored(-1, 1);
             end(f);
         },
         DIFFERENCE_DAMAGED},
        {"a method that there is not", [&](Forger& f) { end(begin(f).Group(22, 0, 22).Stored(0, 6).Deflated(0, 2)); },
         DIFFERENCE_DAMAGED},
        {"a piece before the base", [&](Forger& f) { end(begin(f).Group(22, 0, 22).Stored(-1, 6).Deflated(1)); },
         DIFFERENCE_DAMAGED},
        {"a piece at the end of the base",
         [&](Forger& f) { begin(f).Group(22, 0, 22).Stored(0, 6).Deflated(size + 4); }, DIFFERENCE_DAMAGED},
        {"a stored piece of nothing",
         [&](Forger& f) { end(begin(f).Group(22, 0, 22).Stored(0, 0).Stored(0, 6).Deflated(0)); }, DIFFERENCE_DAMAGED},
        {"a stored piece beyond the base, of which little is needed",
         [&](Forger& f) { end(begin(f).Group(22, 0, 23).Stored(0, 6).Deflated(0).Stored(0, 5)); }, DIFFERENCE_DAMAGED},
        {"a stored piece up to the end of the base, of which little is needed",
         [&](Forger& f) { end(begin(f).Group(22, 0, 23).Stored(0, 6).Deflated(0).Stored(0, 4)); }, DIFFERENCE_OK},
        {"a deflated piece of nothing",
         [&](Forger& f) { end(begin(f).Group(22, 0, 23).Stored(0, 6).Deflated(0).Deflated(0).Stored(0, 1)); },
         DIFFERENCE_DAMAGED},
        {"a deflated piece that is none",
         [&](Forger& f) { end(begin(f).Group(22, 0, 23).Stored(0, 6).Deflated(0).Deflated(2)); }, DIFFERENCE_DAMAGED},
        {"content after what its window holds",
         [&](Forger& f) { begin(f).Group(22, 0, 21).Stored(0, 6).Deflated(0).Content(0, content); },
         DIFFERENCE_DAMAGED},
    };
    for (const auto& [name, write, code] : cases) {
        Forger forger;
        write(forger);
        EXPECT_EQ(Apply(forger, base, Deflate(content, 9), 23), code) << name;
    }
}

// Deflated data can be 1032 times smaller than its content, and no difference may ask for more.
TEST_F(ForgedDifferenceTest, ContentIsBoundedByTheOutput)
{
    for (const uint64_t size : {uint64_t{1032} * 3, uint64_t{1032} * 3 + 1}) {
        const std::string zeros(size, '\0');
        Forger forger;
        forger.Put(Kind::REGION_COUNT, 1).Region(0, 9).Put(Kind::PLAIN_LENGTH, size);
        forger.Group(size, 0, size).Stored(0, size).Content(0, zeros);
        EXPECT_EQ(Apply(forger, zeros, "ab", static_cast<uint32_t>(size)),
                  size == 3096 ? DIFFERENCE_ZLIB_DIFFERS : DIFFERENCE_DAMAGED);
    }
}

TEST_F(ForgedDifferenceTest, NoMoreIsLoadedThanAnOutputMayHold)
{
    const std::string base(DIFFERENCE_WINDOW_MAX, 'b');
    const auto size = static_cast<int64_t>(base.size());
    for (const int groups : {170, 171}) { // of 12 MiB: just below 2 GiB, and beyond
        Forger forger;
        forger.Put(Kind::REGION_COUNT, 1).Region(0, 1).Put(Kind::PLAIN_LENGTH, 1);
        for (int i = 0; i < groups; ++i) {
            forger.Group(i == groups - 1 ? 1 : 0, i == 0 ? 0 : base.size(), base.size());
            forger.Stored(i == 0 ? 0 : -size, base.size());
        }
        forger.Content((groups - 1) * size, "b");
        EXPECT_EQ(Apply(forger, base, Deflate("b", 1), DIFFERENCE_WINDOW_MAX),
                  groups == 170 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
