#include <cerrno>
#include <set>
#include <unistd.h>

#include "tests/unit/diff/round_trip.h"
#include "tests/unit/diff/sample_archive.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

class MakerTest : public RoundTripTest {
protected:
    void SetUp() override
    {
        RoundTripTest::SetUp();
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
    options_.sampledFrom = 0; // which level 12 is enough for
    ASSERT_TRUE(Make("old", "difference")) << error_;
    EXPECT_TRUE(report_.isPlainGivenUp);
    EXPECT_EQ(report_.plainSize, 2 * report_.differenceSize);
    EXPECT_GT(scratch_.Read("tool").size(), report_.plainSize);

    scratch_.Write("other", "of which little helps");
    ASSERT_TRUE(Make("other", "difference")) << error_;
    EXPECT_FALSE(report_.isPlainGivenUp);

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
