#include <zlib.h>

#include "diff/window_groups.h"
#include "tests/unit/diff/round_trip.h"
#include "tests/unit/diff/sample_archive.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

class LargeContentTest : public RoundTripTest {};

// Where changes lie close together, the rules by which content is cut give sizes far apart.
TEST_F(LargeContentTest, ASampleTellsWhichWaysDoBest)
{
    for (const size_t distance : {20, 60}) {
        std::mt19937 source(7);
        std::string old;
        std::string fresh;
        while (old.size() < 60000) {
            const std::string word = std::to_string(source());
            old += word;
            fresh += source() % distance < word.size() ? word.substr(1) : word;
        }
        scratch_.Write("old", ArchiveOf({{"a", old, 6}, {"b", old.substr(30000), 6}}));
        scratch_.Write("new", ArchiveOf({{"a", fresh, 6}, {"b", fresh.substr(30000), 6}}));
        options_.window = 70000; // two groups
        options_.sampledFrom = SIZE_MAX;
        const uint64_t best = RoundTrip("each way", SIZE_MAX).differenceSize;
        options_.sampledFrom = 0;
        RoundTrip("likely ways", best);
        const std::string made = scratch_.Read("difference");
        // One thing after another, the content in a file, or in memory after all, and no other outcome.
        options_.memory = 1;
        RoundTrip("little memory", best);
        EXPECT_TRUE(scratch_.Read("difference") == made);
        const std::string taken = ScratchFilesOf({"", "", "difference"}).back();
        scratch_.Write(taken, "somebody's");
        RoundTrip("no scratch file", best);
        EXPECT_TRUE(scratch_.Read("difference") == made);
        EXPECT_EQ(scratch_.Read(taken), "somebody's");
        options_.memory = 0;
    }
}

TEST_F(LargeContentTest, ASampleTellsWhetherCallsAreFollowed)
{
    options_.sampledFrom = 0;
    for (const uint16_t machine : {183, 62}) {
        const std::string old = LibraryOf(machine, 100, 0);
        const std::string fresh = LibraryOf(machine, 100, 16);
        const std::string other = std::string(machine == 183 ? LibraryOf(62, 1, 0) : LibraryOf(183, 1, 0), 0, 64) +
                                  CodeLikeContent(40000, 1); // a library's header before no code
        std::vector<LibraryChange> changes = LibraryChanges(old, fresh);
        changes.push_back({"under another name", ArchiveOf({{"a.so", old, 6}}), ArchiveOf({{"b.so", fresh, 6}})});
        changes.push_back({"not worth it", ArchiveOf({{"a.so", other, 0}, {"b", old.substr(64), 6}}),
                           ArchiveOf({{"a.so", NextVersion(other), 0}, {"b", fresh.substr(64), 6}})});
        for (const auto& [name, before, after] : changes) {
            const bool isFiltered = name != "not worth it";
            scratch_.Write("old", before);
            scratch_.Write("new", after);
            options_.version = 1;
            const uint64_t unfiltered = RoundTrip(name, 100000).differenceSize;
            options_.version = 2;
            EXPECT_EQ(RoundTrip(name, unfiltered / (isFiltered ? 2 : 1)).version, isFiltered ? 2U : 1U) << name;
        }
    }
}

// At one level up to some place, and at another one from there on.
std::string DeflatedInTwoWays(const std::string& content, size_t place)
{
    std::string deflated(content.size(), '\0');
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 1, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(place);
    stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
    stream.avail_out = static_cast<uInt>(deflated.size());
    EXPECT_EQ(deflate(&stream, Z_NO_FLUSH), Z_OK);
    EXPECT_EQ(deflateParams(&stream, 2, Z_DEFAULT_STRATEGY), Z_OK);
    stream.avail_in = static_cast<uInt>(content.size() - place);
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    deflated.resize(stream.total_out);
    deflateEnd(&stream);
    return deflated;
}

// Of a large entry, only the start is deflated to find the level. What goes on otherwise is raw, and then the plain
// kind may be the smaller one after all.
TEST_F(LargeContentTest, AnEntryThatIsDeflatedInTwoWaysIsLeftRaw)
{
    const std::string words = CodeLikeContent(2600000, 1);
    std::string content;
    for (size_t i = 0; i < words.size(); i += 20) {
        content += std::string(50, ' ') + words.substr(i, 20);
    }
    const std::string small = CodeLikeContent(20000, 3);
    ZipBuilder fresh;
    fresh.AddDeflated("large", content, DeflatedInTwoWays(content, 5000000)).Add("small", NextVersion(small));
    scratch_.Write("old", ArchiveOf({{"large", content, 1}, {"small", small, 6}}));
    scratch_.Write("new", fresh.Build());
    options_.sampledFrom = 0;
    const DifferenceReport& report = RoundTrip("two ways", SIZE_MAX);
    EXPECT_EQ(report.failure, "");
    EXPECT_FALSE(report.isPlainGivenUp);
}

TEST(WindowGroupsTest, EachEntryThatHasRoomFindsAllOfItsOwn)
{
    std::mt19937 source(1);
    for (int round = 0; round < 500; ++round) {
        const size_t window = 4 + source() % 200;
        std::vector<Group> spans;
        Group next;
        for (size_t count = 1 + source() % 9; count != 0; --count) {
            next = {next.newEnd, next.newEnd + source() % 100, next.oldEnd, next.oldEnd + source() % (2 * window)};
            spans.push_back(next);
        }
        const std::vector<Group> groups = WindowGroups(spans, next.oldEnd, next.newEnd, window);
        Group last;
        for (const Group& group : groups) {
            EXPECT_EQ(group.newStart, last.newEnd);
            EXPECT_GE(group.newEnd, group.newStart);
            EXPECT_TRUE(last.oldStart <= group.oldStart && group.oldStart <= last.oldEnd);
            EXPECT_TRUE(last.oldEnd <= group.oldEnd && group.oldEnd - group.oldStart <= window);
            last = group;
        }
        EXPECT_EQ(last.newEnd, next.newEnd);
        for (const Group& span : spans) {
            const auto holds = [&span](const Group& group) {
                return group.newStart <= span.newStart && span.newEnd <= group.newEnd &&
                       group.oldStart <= span.oldStart && span.oldEnd <= group.oldEnd;
            };
            const bool hasRoom = span.oldEnd - span.oldStart <= window && next.newEnd != 0;
            EXPECT_TRUE(!hasRoom || std::any_of(groups.begin(), groups.end(), holds));
        }
    }
}
} // namespace
} // namespace ORVX::TavomendTest
