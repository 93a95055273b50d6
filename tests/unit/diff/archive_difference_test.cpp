#include <cerrno>
#include <filesystem>
#include <numeric>
#include <set>
#include <unistd.h>

#include "diff/difference_header.h"
#include "tests/unit/diff/round_trip.h"
#include "tests/unit/diff/sample_archive.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

class ArchiveDifferenceTest : public RoundTripTest {};

TEST_F(ArchiveDifferenceTest, EntriesOfEveryLevelAreDeflatedAnew)
{
    std::string content = CodeLikeContent(8000, 1);
    std::mt19937 source(5);
    for (int i = 0; i < 20000; ++i) { // matches without end: every level writes other bytes
        content += "ab"[source() % 2];
    }
    for (int level = 1; level <= 9; ++level) {
        const std::string name = "level " + std::to_string(level);
        const SampleEntry unchanged = {"res/unchanged", CodeLikeContent(8000, 2), level};
        scratch_.Write("old", ArchiveOf({{"code", content, level}, unchanged, {"empty", "", level}}));
        scratch_.Write("new", ArchiveOf({{"code", NextVersion(content), level}, unchanged, {"empty", "", level}}));
        EXPECT_EQ(RoundTrip(name, level == 1 || level == 5 ? 218 : 217).entries, 1U) << name;
    }
}

TEST_F(ArchiveDifferenceTest, ArchivesMayDifferInEverything)
{
    const std::string content = CodeLikeContent(30000, 1);
    const std::string other = CodeLikeContent(15000, 2);
    const std::vector<SampleEntry> base = {{"a", content, 6}, {"b", other, 6}, {"c", content, 0}};
    const struct {
        const char* name;
        std::vector<SampleEntry> fresh;
        size_t entries;
        uint64_t ceiling;
    } cases[] = {
        {"stored and changed", {{"a", content, 6}, {"b", other, 6}, {"c", NextVersion(content), 0}}, 0, 191},
        {"another name, changed", {{"a", content, 6}, {"moved", NextVersion(other), 6}, {"c", content, 0}}, 1, 243},
        {"another order", {{"c", content, 0}, {"b", other, 6}, {"a", content, 6}}, 0, 59},
        {"another level", {{"a", content, 9}, {"b", other, 1}, {"c", content, 6}}, 2, 209},
        {"stored now", {{"a", content, 0}, {"b", other, 0}, {"c", content, 0}}, 0, 5092},
        {"all new", {{"x", CodeLikeContent(20000, 3), 6}}, 1, 7083},
        {"two changed", {{"b", NextVersion(other), 6}, {"x", "words", 6}, {"a", NextVersion(content), 1}}, 3, 348},
        {"no entries", {}, 0, 24},
    };
    scratch_.Write("old", ArchiveOf(base));
    for (const auto& [name, fresh, entries, ceiling] : cases) {
        scratch_.Write("new", ArchiveOf(fresh));
        EXPECT_EQ(RoundTrip(name, ceiling).entries, entries) << name;
    }
}

// Its deflate is not zlib's: entries that come out differently are carried raw, each by itself.
TEST_F(ArchiveDifferenceTest, InfoZipArchives)
{
    const std::string content = CodeLikeContent(100000, 1);
    const std::string pack =
        "touch -d '2020-01-01 UTC' code short && TZ=UTC zip -q -X -9 new.zip code short && mv new.zip ";
    scratch_.Write("code", content);
    scratch_.Write("short", "a few words");
    scratch_.Run(pack + "old");
    scratch_.Write("code", NextVersion(content));
    scratch_.Write("short", "other words");
    scratch_.Run(pack + "new");
    RoundTrip("Info-ZIP", 37840);
}

TEST_F(ArchiveDifferenceTest, AnyTwoFiles)
{
    const std::string content = CodeLikeContent(30000, 1);
    const std::string quarter = content.substr(0, 7500);
    const std::string half = content.substr(15000);
    std::string dense = content; // changes that come more often than the matcher's unit of gain
    for (size_t i = 0; i < dense.size(); i += 13) {
        dense[i] = static_cast<char>(dense[i] ^ static_cast<char>(1 << i % 3));
    }
    std::string numbers;
    std::mt19937 source(7);
    for (uint32_t i = 0; i < 4000; ++i) {
        numbers += {static_cast<char>(i * 7), static_cast<char>(source() % 5), '\x40', static_cast<char>(i >> 5)};
    }
    std::string noise;
    for (int i = 0; i < 50000; ++i) {
        noise += static_cast<char>(source());
    }
    const std::string archive = ArchiveOf({{"a", content, 6}});
    const struct {
        const char* name;
        std::string old;
        std::string fresh;
        DifferenceKind kind;
        uint64_t ceiling;
    } cases[] = {
        {"no archives", content, NextVersion(content), DifferenceKind::BYTES, 176},
        {"often changed", content, dense, DifferenceKind::BYTES, 399},
        {"in another order", content, half + quarter, DifferenceKind::PLAIN, 29},
        {"in another order and changed", content, NextVersion(half) + "new" + NextVersion(quarter) + dense,
         DifferenceKind::BYTES, 481},
        {"twice", content, content + NextVersion(content) + content, DifferenceKind::BYTES, 194},
        {"to empty", content, "", DifferenceKind::PLAIN, 13},
        {"zeros", std::string(300000, '\0'), std::string(300001, '\0'), DifferenceKind::PLAIN, 33},
        {"changed, and new content that does not compress", dense, content + noise, DifferenceKind::BYTES, 50700},
        {"numbers of four bytes out of nothing", "", numbers, DifferenceKind::BYTES, 4673},
        {"an archive out of nothing", "", archive, DifferenceKind::ARCHIVE, 9597},
        {"an archive cut short", archive, archive.substr(0, archive.size() - 30), DifferenceKind::PLAIN, 24},
        {"something before an archive", archive, "#!" + archive, DifferenceKind::PLAIN, 25},
    };
    for (const auto& [name, old, fresh, kind, ceiling] : cases) {
        scratch_.Write("old", old);
        scratch_.Write("new", fresh);
        EXPECT_EQ(RoundTrip(name, ceiling).kind, kind) << name;
    }
    options_.version = 1; // which knows no stored content
    scratch_.Write("old", dense);
    scratch_.Write("new", content + noise);
    EXPECT_EQ(RoundTrip("for a device of the first version", 50986).version, 1U);
}

// More old content than the device may hold at a time: it sees a window of it that moves on. An old entry that was
// removed may be where a new one came from, if the window has room for it.
TEST_F(ArchiveDifferenceTest, EntriesLargerThanTheWindow)
{
    const std::string small = CodeLikeContent(7000, 1);
    const std::string large = CodeLikeContent(100000, 2);
    const std::string gone = CodeLikeContent(9000, 1);
    const std::vector<SampleEntry> old = {
        {"small", small, 1}, {"shrinks", CodeLikeContent(50000, 3), 1}, {"large", large, 0}};
    const std::vector<SampleEntry> fresh = {
        {"small", NextVersion(small), 1}, {"shrinks", "nearly nothing", 1}, {"large", NextVersion(large), 9}};
    const std::vector<SampleEntry> more = {{"same", "same", 6}, {"gone", gone, 9}, {"stored", gone.substr(50), 0}};
    const std::vector<SampleEntry> fewer = {{"same", "same", 6}, {"here", NextVersion(gone), 6}};
    const struct {
        bool isMoving;
        size_t window;
        uint64_t ceiling;
    } cases[] = {{true, 4000, 588},   {true, size_t{20} << 10, 440}, {true, 156999, 380},
                 {true, 157000, 354}, {false, 8000, 3256},           {false, 9000, 230},
                 {false, 100000, 235}};
    for (const auto& [isMoving, window, ceiling] : cases) {
        scratch_.Write("old", ArchiveOf(isMoving ? old : more));
        scratch_.Write("new", ArchiveOf(isMoving ? fresh : fewer));
        options_.window = window;
        EXPECT_EQ(RoundTrip(std::to_string(window), ceiling).entries, isMoving ? 3U : 1U) << window;
        DifferenceHeader header;
        const std::string made = scratch_.Read("difference");
        ReadDifferenceFields({reinterpret_cast<const uint8_t*>(made.data()), made.size()}, header);
        EXPECT_LE(header.windowSize, window);
    }
}

// Names made of hashes change with the content: what an entry goes on from is found by its content, and stands where
// the window is when it is needed.
TEST_F(ArchiveDifferenceTest, EntriesAreFoundUnderOtherNames)
{
    std::vector<SampleEntry> old;
    std::vector<SampleEntry> fresh;
    for (uint32_t i = 0; i < 12; ++i) {
        const std::string content = CodeLikeContent(9000, i);
        old.push_back({"chunk-" + std::to_string(i * 7919 % 12), content, 6});
        fresh.push_back({"piece-" + std::to_string(i), NextVersion(content), 6});
    }
    std::sort(old.begin(), old.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    scratch_.Write("old", ArchiveOf(old));
    scratch_.Write("new", ArchiveOf(fresh));
    for (const auto& [window, ceiling] : {std::pair<size_t, uint64_t>{40000, 656}, {200000, 588}}) {
        options_.window = window;
        EXPECT_EQ(RoundTrip(std::to_string(window), ceiling).entries, 12U);
    }
    // Of those that nothing goes on from, the window has room for one, and a new entry has parts of the last of them.
    const std::string mixed = CodeLikeContent(6000, 50) + CodeLikeContent(5000, 62);
    old.clear();
    for (uint32_t i = 0; i < 3; ++i) {
        old.push_back({"gone" + std::to_string(i), CodeLikeContent(i == 2 ? 5000 : 6000, 60 + i), 6});
    }
    old.push_back({"most", CodeLikeContent(6000, 50), 6});
    scratch_.Write("old", ArchiveOf(old));
    scratch_.Write("new", ArchiveOf({{"here", mixed, 6}}));
    options_.window = 12000;
    RoundTrip("parts of two", 196);
}

// A device of version 1 gets what it reads, and needs no larger window for it than it has.
TEST_F(ArchiveDifferenceTest, TheLowestVersionThatWillDo)
{
    const std::string large = std::string(size_t{12} << 20, '\0') + CodeLikeContent(20000, 1);
    scratch_.Write("old", ArchiveOf({{"a", large, 6}}));
    scratch_.Write("new", ArchiveOf({{"a", "new" + large + "new", 6}}));
    const struct {
        uint8_t version;
        size_t window; // MiB
        uint8_t made;
        size_t held;
    } cases[] = {{2, 64, 2, large.size()}, {1, 64, 1, size_t{12} << 20}};
    for (const auto& [version, window, made, held] : cases) {
        options_.version = version;
        options_.window = window << 20;
        RoundTrip(std::to_string(version) + " " + std::to_string(window), 240);
        EXPECT_EQ(report_.version, made);
        EXPECT_LE(report_.window, held);
        EXPECT_EQ(scratch_.Read("difference")[7], made);
    }
}

// With a worker, as the tool works unless it is told otherwise, this comes out smaller than without.
TEST_F(ArchiveDifferenceTest, ThePlainKindIsNoLargerThanTheToolsInEitherWay)
{
    std::mt19937 source(5);
    std::vector<std::string> words(3000);
    for (std::string& word : words) {
        word.resize(3 + source() % 6);
        std::generate(word.begin(), word.end(), [&source] { return static_cast<char>('a' + source() % 26); });
    }
    std::string old;
    while (old.size() < 900000) {
        old += words[source() % words.size()] + ' ';
    }
    std::vector<std::string> parts;
    for (size_t i = 0; i < old.size(); i += 5000) {
        parts.push_back(old.substr(i, 5000));
    }
    scratch_.Write("old", old);
    std::shuffle(parts.begin(), parts.end(), source);
    std::string fresh = std::accumulate(parts.begin(), parts.end(), std::string());
    for (char& letter : fresh) {
        letter = static_cast<char>(source() % 60 == 0 ? letter ^ 1 : letter);
    }
    scratch_.Write("new", fresh);
    const std::string tool = "zstd -q -f -19 --long=31 --patch-from old new -o ";
    scratch_.Run(tool + "worker && " + tool + "single --single-thread");
    ASSERT_LT(scratch_.Read("worker").size(), scratch_.Read("single").size());
    options_.isPlainOnly = true;
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_LE(report_.differenceSize, scratch_.Read("worker").size());
}

TEST_F(ArchiveDifferenceTest, CallsAreFollowedToWhereTheyLead)
{
    for (const uint16_t machine : {183, 62}) {
        const std::string old = LibraryOf(machine, 140, 0);
        const std::string fresh = LibraryOf(machine, 140, 16);
        for (const auto& [name, before, after] : LibraryChanges(old, fresh)) {
            scratch_.Write("old", before);
            scratch_.Write("new", after);
            options_.version = 1;
            const uint64_t unfiltered = RoundTrip(name, 100000).differenceSize;
            EXPECT_EQ(report_.version, 1U) << name;
            options_.version = 2;
            RoundTrip(name, unfiltered / 2);
            EXPECT_EQ(report_.version, 2U) << name;
            EXPECT_EQ(report_.kind, name == "deflated" ? DifferenceKind::ARCHIVE : DifferenceKind::BYTES) << name;
        }
        options_.window = 25000; // less than the library: each group filters what it loads
        scratch_.Write("old", old);
        scratch_.Write("new", fresh);
        RoundTrip("in parts", machine == 183 ? 824 : 1028);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
