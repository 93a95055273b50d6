#include <filesystem>
#include <set>

#include "diff/difference_applier.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;
using Difference::DifferenceKind;

class ArchiveDifferenceTest : public testing::Test {
protected:
    // Differences "old" and "new", applies the outcome, and holds its size against the zstd tool's.
    Difference::DifferenceReport RoundTrip(const std::string& name, const Difference::DifferenceOptions& options = {})
    {
        Difference::DifferenceReport report;
        std::string error;
        EXPECT_TRUE(Difference::MakeDifference(
            {scratch_.Path("old"), scratch_.Path("new"), scratch_.Path("difference")}, options, report, error))
            << name << ": " << error;
        std::filesystem::remove(scratch_.Path("out"));
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out")),
                  DIFFERENCE_OK)
            << name;
        const std::string fresh = scratch_.Read("new");
        EXPECT_TRUE(scratch_.Read("out") == fresh) << name;
        EXPECT_EQ(report.differenceSize, scratch_.Read("difference").size()) << name;
        const std::string fromBase = fresh.empty() ? "" : "--long=31 --patch-from old ";
        scratch_.Run("zstd -q -f -19 " + fromBase + "new -o plain");
        EXPECT_LE(report.differenceSize, scratch_.Read("plain").size() + 64) << name;
        return report;
    }

    ScratchDirectory scratch_;
};

TEST_F(ArchiveDifferenceTest, EntriesOfEveryUsualLevelAreDeflatedAnew)
{
    const std::string content = CodeLikeContent(150000, 1);
    for (const int level : {1, 6, 9}) {
        const std::string name = "level " + std::to_string(level);
        const SampleEntry unchanged = {"res/unchanged", CodeLikeContent(80000, 2), level};
        WriteArchive(scratch_.Path("old"), {{"code", content, level}, unchanged, {"empty", "", level}});
        WriteArchive(scratch_.Path("new"), {{"code", NextVersion(content), level}, unchanged, {"empty", "", level}});
        const Difference::DifferenceReport report = RoundTrip(name);
        EXPECT_EQ(report.kind, DifferenceKind::ARCHIVE) << name;
        EXPECT_EQ(report.entries, 1U) << name;
        EXPECT_LT(report.differenceSize, report.plainSize / 10) << name;
    }
}

TEST_F(ArchiveDifferenceTest, ArchivesMayDifferInEverything)
{
    const std::string content = CodeLikeContent(60000, 1);
    const std::string other = CodeLikeContent(30000, 2);
    const std::vector<SampleEntry> base = {{"a", content, 6}, {"b", other, 6}, {"c", content, 0}};
    const struct {
        const char* name;
        std::vector<SampleEntry> fresh;
    } cases[] = {
        {"stored and changed", {{"a", content, 6}, {"b", other, 6}, {"c", NextVersion(content), 0}}},
        {"another name, changed", {{"a", content, 6}, {"moved", NextVersion(other), 6}, {"c", content, 0}}},
        {"another order", {{"c", content, 0}, {"b", other, 6}, {"a", content, 6}}},
        {"another level", {{"a", content, 9}, {"b", other, 1}, {"c", content, 6}}},
        {"stored now", {{"a", content, 0}, {"b", other, 0}, {"c", content, 0}}},
        {"all new", {{"x", CodeLikeContent(50000, 3), 6}}},
        {"emptied", {{"a", "", 6}}},
        {"no entries", {}},
    };
    WriteArchive(scratch_.Path("old"), base);
    for (const auto& [name, fresh] : cases) {
        WriteArchive(scratch_.Path("new"), fresh);
        RoundTrip(name);
    }
}

// Its deflate is not zlib's: entries that come out differently are carried raw, each by itself.
TEST_F(ArchiveDifferenceTest, InfoZipArchives)
{
    const std::string content = CodeLikeContent(100000, 1);
    scratch_.Write("code", content);
    scratch_.Write("short", "a few words");
    scratch_.Run("zip -q -X old.zip code short && mv old.zip old");
    scratch_.Write("code", NextVersion(content));
    scratch_.Write("short", "other words");
    scratch_.Run("zip -q -X -9 new.zip code short && mv new.zip new");
    RoundTrip("Info-ZIP");
}

TEST_F(ArchiveDifferenceTest, AnyTwoFiles)
{
    const std::string content = CodeLikeContent(200000, 1);
    WriteArchive(scratch_.Path("archive"), {{"a", content, 6}});
    const std::string archive = scratch_.Read("archive");
    const struct {
        const char* name;
        std::string old;
        std::string fresh;
    } cases[] = {
        {"no archives", content, NextVersion(content)},
        {"both empty", "", ""},
        {"from empty", "", content},
        {"to empty", content, ""},
        {"one byte", "a", "b"},
        {"the same", content, content},
        {"zeros", std::string(300000, '\0'), std::string(300001, '\0')},
        {"an archive out of nothing", "", archive},
        {"an archive cut short", archive, archive.substr(0, archive.size() - 30)},
        {"something before an archive", archive, "#!" + archive},
        {"magic only", std::string("PK\5\6") + std::string(18, '\xFF'), std::string("PK\5\6") + std::string(18, '\0')},
    };
    for (const auto& [name, old, fresh] : cases) {
        scratch_.Write("old", old);
        scratch_.Write("new", fresh);
        RoundTrip(name);
    }
    EXPECT_EQ((scratch_.Write("old", content), scratch_.Write("new", NextVersion(content)), RoundTrip("bytes").kind),
              DifferenceKind::BYTES);
}

// More old content than the device may hold at a time: it sees a window of it that moves on.
TEST_F(ArchiveDifferenceTest, EntriesLargerThanTheWindow)
{
    const std::string small = CodeLikeContent(7000, 1);
    const std::string large = CodeLikeContent(300000, 2);
    const std::string shrinking = CodeLikeContent(150000, 3);
    WriteArchive(scratch_.Path("old"), {{"small", small, 1}, {"shrinks", shrinking, 1}, {"large", large, 0}});
    WriteArchive(
        scratch_.Path("new"),
        {{"small", NextVersion(small), 1}, {"shrinks", "nearly nothing", 1}, {"large", NextVersion(large), 9}});
    Difference::DifferenceOptions options;
    options.window = size_t{64} << 10;
    const Difference::DifferenceReport report = RoundTrip("large", options);
    EXPECT_EQ(report.kind, DifferenceKind::ARCHIVE);
    EXPECT_EQ(report.entries, 3U);
    EXPECT_LT(report.differenceSize, large.size() / 20);
}

TEST_F(ArchiveDifferenceTest, TellsItsStepsAndWhatWentWrong)
{
    Difference::DifferenceReport report;
    std::string error;
    std::set<std::string> steps;
    Difference::DifferenceOptions options;
    options.progress = [&steps](const std::string& step, uint64_t done, uint64_t total) {
        EXPECT_LE(done, total);
        steps.insert(step);
    };
    WriteArchive(scratch_.Path("old"), {{"a", CodeLikeContent(5000, 1), 6}});
    WriteArchive(scratch_.Path("new"), {{"a", CodeLikeContent(5000, 2), 6}});
    const auto make = [&](const std::string& old, const std::string& difference) {
        return Difference::MakeDifference({scratch_.Path(old), scratch_.Path("new"), scratch_.Path(difference)},
                                          options, report, error);
    };
    EXPECT_TRUE(make("old", "difference")) << error;
    EXPECT_EQ(steps, (std::set<std::string>{"inflate", "match", "encode", "verify"}));
    EXPECT_FALSE(make("missing", "difference2"));
    EXPECT_NE(error.find("missing"), std::string::npos);
    EXPECT_FALSE(scratch_.Has("difference2"));
    EXPECT_FALSE(make("old", "nowhere/difference"));
    EXPECT_NE(error.find("nowhere/difference"), std::string::npos);
}
} // namespace
} // namespace ORVX::TavomendTest
