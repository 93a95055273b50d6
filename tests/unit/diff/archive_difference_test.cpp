#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <unistd.h>

#include "diff/difference_applier.h"
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
    // Differences "old" and "new", applies the outcome, and holds its size against what it was when this was written.
    DifferenceReport RoundTrip(const std::string& name, uint64_t ceiling, const DifferenceOptions& options = {})
    {
        DifferenceReport report;
        std::string error;
        EXPECT_TRUE(MakeDifference({scratch_.Path("old"), scratch_.Path("new"), scratch_.Path("difference")}, options,
                                   report, error))
            << name << ": " << error;
        std::filesystem::remove(scratch_.Path("out"));
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out")),
                  DIFFERENCE_OK)
            << name;
        EXPECT_TRUE(scratch_.Read("out") == scratch_.Read("new")) << name;
        EXPECT_EQ(report.differenceSize, scratch_.Read("difference").size()) << name;
        EXPECT_LE(report.differenceSize, report.plainSize) << name;
        EXPECT_LE(report.differenceSize, ceiling) << name;
        return report;
    }

    ScratchDirectory scratch_;
};

TEST_F(ArchiveDifferenceTest, EntriesOfEveryLevelAreDeflatedAnew)
{
    std::string content = CodeLikeContent(8000, 1);
    std::mt19937 source(5);
    for (int i = 0; i < 20000; ++i) { // matches without end: every level writes other bytes
        content += "ab"[source() % 2];
    }
    const uint64_t ceilings[] = {218, 217, 217, 217, 218, 217, 217, 217, 217};
    for (int level = 1; level <= 9; ++level) {
        const std::string name = "level " + std::to_string(level);
        const SampleEntry unchanged = {"res/unchanged", CodeLikeContent(8000, 2), level};
        WriteArchive(scratch_.Path("old"), {{"code", content, level}, unchanged, {"empty", "", level}});
        WriteArchive(scratch_.Path("new"), {{"code", NextVersion(content), level}, unchanged, {"empty", "", level}});
        const DifferenceReport report = RoundTrip(name, ceilings[level - 1]);
        EXPECT_EQ(report.kind, DifferenceKind::ARCHIVE) << name;
        EXPECT_EQ(report.entries, 1U) << name;
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
        {"one new, two changed",
         {{"b", NextVersion(other), 6}, {"x", "a few words", 6}, {"a", NextVersion(content), 1}},
         3,
         348},
        {"emptied", {{"a", "", 6}}, 0, 57},
        {"no entries", {}, 0, 24},
    };
    WriteArchive(scratch_.Path("old"), base);
    for (const auto& [name, fresh, entries, ceiling] : cases) {
        WriteArchive(scratch_.Path("new"), fresh);
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
    WriteArchive(scratch_.Path("archive"), {{"a", content, 6}});
    const std::string archive = scratch_.Read("archive");
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
        {"something taken out", content, content.substr(0, 9000) + content.substr(9100), DifferenceKind::PLAIN, 29},
        {"both empty", "", "", DifferenceKind::PLAIN, 13},
        {"from empty", "", content, DifferenceKind::BYTES, 9492},
        {"to empty", content, "", DifferenceKind::PLAIN, 13},
        {"one byte", "a", "b", DifferenceKind::PLAIN, 14},
        {"the same", content, content, DifferenceKind::PLAIN, 24},
        {"zeros", std::string(300000, '\0'), std::string(300001, '\0'), DifferenceKind::PLAIN, 33},
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
}

// More old content than the device may hold at a time: it sees a window of it that moves on.
TEST_F(ArchiveDifferenceTest, EntriesLargerThanTheWindow)
{
    const std::string small = CodeLikeContent(7000, 1);
    const std::string large = CodeLikeContent(100000, 2);
    const std::string shrinking = CodeLikeContent(50000, 3);
    WriteArchive(scratch_.Path("old"), {{"small", small, 1}, {"shrinks", shrinking, 1}, {"large", large, 0}});
    WriteArchive(
        scratch_.Path("new"),
        {{"small", NextVersion(small), 1}, {"shrinks", "nearly nothing", 1}, {"large", NextVersion(large), 9}});
    const struct {
        size_t window;
        uint64_t ceiling;
    } cases[] = {{4000, 588}, {size_t{20} << 10, 437}, {156999, 380}, {157000, 354}, {DIFFERENCE_WINDOW_MAX, 354}};
    for (const auto& [window, ceiling] : cases) {
        DifferenceOptions options;
        options.window = window;
        const DifferenceReport report = RoundTrip(std::to_string(window), ceiling, options);
        EXPECT_EQ(report.kind, DifferenceKind::ARCHIVE) << window;
        EXPECT_EQ(report.entries, 3U) << window;
        DifferenceHeader header;
        const std::string made = scratch_.Read("difference");
        ReadDifferenceFields({reinterpret_cast<const uint8_t*>(made.data()), made.size()}, header);
        EXPECT_LE(header.windowSize, window);
    }
}

// An old entry that was removed may be where a new one came from, if the window has room for it.
TEST_F(ArchiveDifferenceTest, RemovedEntriesServeNewOnes)
{
    const std::string content = CodeLikeContent(9000, 1);
    WriteArchive(scratch_.Path("old"), {{"same", "same", 6}, {"gone", content, 9}, {"stored", content.substr(50), 0}});
    WriteArchive(scratch_.Path("new"), {{"same", "same", 6}, {"here", NextVersion(content), 6}});
    const struct {
        size_t window;
        uint64_t ceiling;
    } cases[] = {{8000, 3256}, {9000, 230}, {100000, 235}};
    for (const auto& [window, ceiling] : cases) {
        DifferenceOptions options;
        options.window = window;
        RoundTrip(std::to_string(window), ceiling, options);
    }
}

class MakerTest : public ArchiveDifferenceTest {
protected:
    void SetUp() override
    {
        g_system.Mend();
        WriteArchive(scratch_.Path("old"), {{"a", CodeLikeContent(5000, 1), 6}});
        WriteArchive(scratch_.Path("new"), {{"a", CodeLikeContent(5000, 1) + CodeLikeContent(1000, 2), 6}});
    }
    void TearDown() override { g_system.Mend(); }

    bool Make(const std::string& old, const std::string& difference)
    {
        report_ = {};
        error_.clear();
        return MakeDifference({scratch_.Path(old), scratch_.Path("new"), scratch_.Path(difference)}, options_, report_,
                              error_);
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

    DifferenceOptions options_;
    DifferenceReport report_;
    std::string error_;
};

TEST_F(MakerTest, TellsItsStepsUpToTheirEnds)
{
    std::map<std::string, std::pair<uint64_t, uint64_t>> steps; // the last of each
    std::vector<std::string> order;
    options_.progress = [&](const std::string& step, uint64_t done, uint64_t total) {
        EXPECT_LE(done, total);
        if (steps.count(step) == 0) {
            order.push_back(step);
        }
        EXPECT_TRUE(steps.count(step) == 0 || steps[step].first < done) << step;
        steps[step] = {done, total};
    };
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_EQ(order, (std::vector<std::string>{"inflate", "match", "encode", "verify"}));
    for (const auto& [step, last] : steps) {
        EXPECT_EQ(last.first, last.second) << step;
    }
    EXPECT_EQ(Files(), (std::set<std::string>{"difference", "new", "old"}));

    options_.isPlainOnly = true;
    ASSERT_TRUE((order.clear(), steps.clear(), Make("old", "plain"))) << error_;
    EXPECT_EQ(order, std::vector<std::string>{"verify"});
    EXPECT_EQ(report_.kind, DifferenceKind::PLAIN);
    EXPECT_EQ(report_.entries, 0U);
    EXPECT_EQ(report_.differenceSize, report_.plainSize);
    EXPECT_EQ(scratch_.Read("plain").substr(0, 4), "\x28\xB5\x2F\xFD");
}

TEST_F(MakerTest, ADifferenceThatDoesNotStandTheProofIsNotHandedOut)
{
    g_system.pread.error = EINTR; // once: while the archive-aware one is proven
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_EQ(report_.kind, DifferenceKind::PLAIN);
    EXPECT_EQ(report_.entries, 0U);
    EXPECT_EQ(report_.differenceSize, report_.plainSize);
    EXPECT_EQ(scratch_.Read("difference").size(), report_.plainSize);

    g_system.fsync.error = EIO;
    EXPECT_FALSE(Make("old", "difference"));
    EXPECT_EQ(error_, "the difference does not bring forth the new file: the new file cannot be written");
    EXPECT_EQ(Files(), (std::set<std::string>{"new", "old"}));
}

TEST_F(MakerTest, WhatGoesWrongIsSaidInOneLine)
{
    EXPECT_FALSE(Make("missing", "difference"));
    EXPECT_EQ(error_, scratch_.Path("missing") + " cannot be read");
    EXPECT_FALSE(Make("old", "nowhere/difference"));
    EXPECT_EQ(error_, scratch_.Path("nowhere/difference") + " cannot be written");
    std::filesystem::create_symlink("/dev/null", scratch_.Path("null"));
    EXPECT_FALSE(Make("old", "null")); // nothing can be read back; what is no file of ours stays
    EXPECT_EQ(Files(), (std::set<std::string>{"new", "null", "old"}));
    ASSERT_EQ(truncate(scratch_.Path("old").c_str(), off_t{1} << 31), 0);
    EXPECT_FALSE(Make("old", "difference"));
    EXPECT_EQ(error_, "a file of 2 GiB or more cannot be differenced");
    std::filesystem::remove(scratch_.Path("new"));
    EXPECT_FALSE(Make("old", "difference"));
    EXPECT_EQ(error_, scratch_.Path("new") + " cannot be read");
    EXPECT_FALSE(scratch_.Has("difference"));
}
} // namespace
} // namespace ORVX::TavomendTest
