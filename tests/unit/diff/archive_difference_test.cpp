#include <cerrno>
#include <filesystem>
#include <numeric>
#include <set>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "tests/unit/diff/misbehaving_system.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

class ArchiveDifferenceTest : public testing::Test {
protected:
    void SetUp() override { g_system.Mend(); }
    void TearDown() override { g_system.Mend(); }

    bool Make(const std::string& old, const std::string& difference)
    {
        report_ = {};
        return MakeDifference({scratch_.Path(old), scratch_.Path("new"), scratch_.Path(difference)}, options_, report_,
                              error_);
    }
    // Differences "old" and "new", applies the outcome, and holds its size against what it was when this was written.
    const DifferenceReport& RoundTrip(const std::string& name, uint64_t ceiling)
    {
        SCOPED_TRACE(name);
        EXPECT_TRUE(Make("old", "difference")) << error_;
        std::filesystem::remove(scratch_.Path("out"));
        uint64_t far = 0;
        const uint64_t size = scratch_.Read("new").size();
        const auto progress = [&far, size](uint64_t done, uint64_t total) {
            EXPECT_TRUE(far <= done && done <= total && total == size) << done;
            far = done;
        };
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out"), progress),
                  DIFFERENCE_OK);
        EXPECT_EQ(far, size);
        EXPECT_TRUE(scratch_.Read("out") == scratch_.Read("new"));
        EXPECT_EQ(report_.differenceSize, scratch_.Read("difference").size());
        EXPECT_LE(report_.differenceSize, report_.plainSize);
        EXPECT_LE(report_.differenceSize, ceiling);
        return report_;
    }

    ScratchDirectory scratch_;
    DifferenceOptions options_;
    DifferenceReport report_;
    std::string error_;
};

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

// Where changes lie close together, the rules by which content is cut give sizes far apart.
TEST_F(ArchiveDifferenceTest, ASampleTellsWhichWaysDoBest)
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
        options_.memory = 1; // one thing after another, and no other outcome
        RoundTrip("little memory", best);
        EXPECT_TRUE(scratch_.Read("difference") == made);
        options_.memory = 0;
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

// Code of a machine: words, some of which are calls of a few functions that lie anywhere in it. Every tenth function of
// the later version is larger.
std::string LibraryOf(uint16_t machine, size_t functions, size_t more)
{
    std::mt19937 source(1);
    std::string text("\x7F"
                     "ELF\2\1\1",
                     7);
    text.resize(64);
    text[18] = static_cast<char>(machine);
    const auto placeOf = [more](size_t function) { return 64 + function * 400 + (function + 9) / 10 * more; };
    for (size_t i = 0; i < functions; ++i) {
        text.resize(placeOf(i), '\0');
        while (text.size() < placeOf(i) + 400) {
            const size_t called = placeOf(source() % 20 * functions / 20);
            uint32_t word = source() % 4096 * 1024;
            if (machine == 183 && word % 3 == 0) {
                word = 0x94000000U | (static_cast<uint32_t>((called - text.size()) >> 2) & 0x03FFFFFFU);
            } else if (machine == 62 && word % 3 == 0) {
                text += std::string("\x31\xC0\x90\xE8", 4);
                word = static_cast<uint32_t>(called - text.size());
            }
            for (int byte = 0; byte < 4; ++byte) {
                text += static_cast<char>(word >> 8 * byte);
            }
        }
    }
    return text;
}

TEST_F(ArchiveDifferenceTest, CallsAreFollowedToWhereTheyLead)
{
    for (const uint16_t machine : {183, 62}) {
        const std::string old = LibraryOf(machine, 140, 0);
        const std::string fresh = LibraryOf(machine, 140, 16);
        const struct {
            const char* name;
            std::string old;
            std::string fresh;
            DifferenceKind kind;
        } cases[] = {
            {"by itself", old, fresh, DifferenceKind::BYTES},
            {"deflated", ArchiveOf({{"a.so", old, 6}}), ArchiveOf({{"a.so", fresh, 9}}), DifferenceKind::ARCHIVE},
            {"stored", ArchiveOf({{"a.so", old, 0}}), ArchiveOf({{"a.so", fresh, 0}, {"b", "b", 0}}),
             DifferenceKind::BYTES},
        };
        for (const auto& [name, before, after, kind] : cases) {
            scratch_.Write("old", before);
            scratch_.Write("new", after);
            options_.version = 1;
            const uint64_t unfiltered = RoundTrip(name, 100000).differenceSize;
            EXPECT_EQ(report_.version, 1U) << name;
            options_.version = 2;
            RoundTrip(name, unfiltered / 2);
            EXPECT_EQ(report_.version, 2U) << name;
            EXPECT_EQ(report_.kind, kind) << name;
        }
        options_.window = 25000; // less than the library: each group filters what it loads
        scratch_.Write("old", old);
        scratch_.Write("new", fresh);
        RoundTrip("in parts", machine == 183 ? 824 : 1028);
    }
}

class MakerTest : public ArchiveDifferenceTest {
protected:
    void SetUp() override
    {
        ArchiveDifferenceTest::SetUp();
        scratch_.Write("old", ArchiveOf({{"a", CodeLikeContent(5000, 1), 6}}));
        scratch_.Write("new", ArchiveOf({{"a", CodeLikeContent(5000, 1) + CodeLikeContent(1000, 2), 6}}));
    }
    // All files of the directory.
    std::set<std::string> Files() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(scratch_.Path(""))) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
};

TEST_F(MakerTest, TellsItsStepsUpToTheirEnds)
{
    std::vector<std::pair<std::string, uint64_t>> steps; // and what was left to do when each was heard of last
    uint64_t lastDone = 0;
    options_.progress = [&](const std::string& step, uint64_t done, uint64_t total) {
        if (steps.empty() || steps.back().first != step) {
            steps.emplace_back(step, 0);
            lastDone = 0;
        }
        EXPECT_TRUE(done <= total && lastDone <= done) << step;
        lastDone = done;
        steps.back().second = total - done;
    };
    ASSERT_TRUE(Make("old", "difference")) << error_;
    using Steps = decltype(steps);
    EXPECT_EQ(steps, (Steps{{"inflate", 0}, {"match", 0}, {"encode", 0}, {"compress", 0}, {"verify", 0}}));
    EXPECT_EQ(Files(), (std::set<std::string>{"difference", "new", "old"}));

    options_.isPlainOnly = true;
    steps.clear();
    ASSERT_TRUE(Make("old", "plain")) << error_;
    EXPECT_EQ(steps, (Steps{{"compress", 0}, {"verify", 0}}));
    EXPECT_EQ(report_.kind, DifferenceKind::PLAIN);
    EXPECT_EQ(report_.entries, 0U);
    EXPECT_EQ(report_.differenceSize, report_.plainSize);
    EXPECT_EQ(scratch_.Read("plain").substr(0, 4), "\x28\xB5\x2F\xFD");
}

TEST_F(MakerTest, ADifferenceThatDoesNotStandTheProofIsNotHandedOut)
{
    g_system.fsync.error = EINTR; // once: while the archive-aware one is proven
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_EQ(report_.kind, DifferenceKind::PLAIN);
    EXPECT_EQ(report_.entries, 0U);
    EXPECT_EQ(report_.failure, "the difference does not bring forth the new file: the new file cannot be written");
    EXPECT_EQ(scratch_.Read("difference").size(), report_.differenceSize);

    const std::string former = scratch_.Read("difference");
    g_system.fsync.error = EIO;
    EXPECT_FALSE(Make("old", "difference"));
    EXPECT_EQ(error_, "the difference does not bring forth the new file: the new file cannot be written");
    EXPECT_EQ(Files(), (std::set<std::string>{"difference", "new", "old"}));
    EXPECT_TRUE(scratch_.Read("difference") == former);
}

TEST_F(MakerTest, APlainDifferenceThatCannotWinIsGivenUpUnlessItIsWanted)
{
    const std::string content = CodeLikeContent(700000, 1);
    scratch_.Write("old", ArchiveOf({{"a", content, 6}}));
    scratch_.Write("new", ArchiveOf({{"a", NextVersion(content), 6}}));
    scratch_.Run("zstd -q -19 --long=31 --patch-from old new -o tool");
    options_.cacheFolder = scratch_.Path("cache");
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_TRUE(report_.isPlainGivenUp);
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_TRUE(report_.isCached);
    EXPECT_TRUE(report_.isPlainGivenUp);
    options_.cacheFolder.clear();
    EXPECT_EQ(report_.plainSize, 2 * report_.differenceSize);
    EXPECT_GT(scratch_.Read("tool").size(), report_.plainSize);

    g_system.fsync.error = EINTR; // once: while the other kind is proven
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_EQ(report_.kind, DifferenceKind::PLAIN);
    EXPECT_FALSE(report_.isPlainGivenUp);
    EXPECT_EQ(report_.plainSize, report_.differenceSize);
    EXPECT_LE(report_.plainSize, scratch_.Read("tool").size());
}

TEST_F(MakerTest, WhatGoesWrongIsSaidInOneLine)
{
    EXPECT_FALSE(Make("missing", "difference"));
    EXPECT_EQ(error_, "cannot read " + scratch_.Path("missing") + ": No such file or directory");
    EXPECT_FALSE(Make("old", "nowhere/difference"));
    EXPECT_EQ(error_, "cannot write " + scratch_.Path("nowhere/difference") + ": No such file or directory");
    std::filesystem::create_symlink("/dev/null", scratch_.Path("null"));
    EXPECT_FALSE(Make("old", "null")); // what is no file of ours stays
    EXPECT_EQ(Files(), (std::set<std::string>{"new", "null", "old"}));
    ASSERT_EQ(truncate(scratch_.Path("old").c_str(), off_t{1} << 31), 0);
    EXPECT_FALSE(Make("old", "difference"));
    EXPECT_EQ(error_, "a file of 2 GiB or more cannot be differenced");
}
} // namespace
} // namespace ORVX::TavomendTest
