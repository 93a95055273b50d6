#include <chrono>
#include <set>

#include "diff/difference_applier.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;
namespace fs = std::filesystem;

class DifferenceCacheTest : public testing::Test {
protected:
    DifferenceCacheTest()
    {
        options_.cacheFolder = scratch_.Path("a/cache");
        scratch_.Write("old", Numbers(0));
        scratch_.Write("new", Numbers(1));
    }

    // Makes the difference of two files, applies it, and tells whether it had been made before.
    bool IsKnown(const DifferenceOptions& options, const std::string& old = "old", const std::string& fresh = "new")
    {
        fs::remove(scratch_.Path("difference"));
        fs::remove(scratch_.Path("out"));
        report_ = {};
        std::string error;
        EXPECT_TRUE(MakeDifference({scratch_.Path(old), scratch_.Path(fresh), scratch_.Path("difference")}, options,
                                   report_, error))
            << error;
        EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), scratch_.Path(old), scratch_.Path("out")),
                  DIFFERENCE_OK);
        EXPECT_EQ(scratch_.Read("out"), scratch_.Read(fresh));
        EXPECT_EQ(report_.differenceSize, scratch_.Read("difference").size());
        return report_.isCached;
    }

    [[nodiscard]] std::vector<fs::path> Kept() const
    {
        return {fs::directory_iterator(options_.cacheFolder), fs::directory_iterator()};
    }

    // Changed in many places: the plain kind is not the smallest.
    static std::string Numbers(int step)
    {
        std::string text;
        for (int i = 0; i < 300; ++i) {
            text += std::to_string(i * i) + "." + std::to_string(i * step) + "\n";
        }
        return text;
    }

    ScratchDirectory scratch_;
    DifferenceOptions options_;
    DifferenceReport report_;
};

TEST_F(DifferenceCacheTest, WhatWasMadeOfTheSameIsTakenAgain)
{
    EXPECT_FALSE(IsKnown(options_));
    const std::string made = scratch_.Read("difference");
    const DifferenceReport told = report_;
    EXPECT_TRUE(IsKnown(options_));
    EXPECT_EQ(scratch_.Read("difference"), made);
    EXPECT_EQ(std::tie(report_.kind, report_.oldSize, report_.newSize, report_.plainSize, report_.entries,
                       report_.version, report_.window, report_.isPlainGivenUp),
              std::tie(told.kind, told.oldSize, told.newSize, told.plainSize, told.entries, told.version, told.window,
                       told.isPlainGivenUp));

    std::vector<DifferenceOptions> others(3, options_);
    others[0].isPlainOnly = true;
    others[1].version = 1;
    others[2].window = 4096;
    for (const DifferenceOptions& other : others) {
        EXPECT_FALSE(IsKnown(other));
    }
    EXPECT_FALSE(IsKnown(options_, "new", "old"));
    EXPECT_FALSE(IsKnown(options_, "old", "old"));
    EXPECT_TRUE(IsKnown(options_));
}

// Whoever damages a kept difference, or puts another one in its place, changes no package.
TEST_F(DifferenceCacheTest, WhatDoesNotStandTheProofIsMadeAnew)
{
    EXPECT_FALSE(IsKnown(options_));
    ASSERT_EQ(report_.kind, DifferenceKind::BYTES);
    const std::string made = scratch_.Read("difference");
    const std::string kept = Kept().at(0).string();
    std::string flipped = made;
    flipped.back() ^= 1;
    for (const std::string& damaged : {std::string(), std::string("1 2\n"), "1 2\n" + made.substr(0, made.size() / 2),
                                       "1 2\n" + flipped, "1\n" + made, "1 x\n" + made, "1 2" + made}) {
        std::ofstream(kept, std::ios::binary) << damaged;
        EXPECT_FALSE(IsKnown(options_)) << damaged;
        EXPECT_EQ(scratch_.Read("difference"), made);
        EXPECT_TRUE(IsKnown(options_)); // kept once more
    }
    DifferenceOptions plainOnly = options_; // whose devices know no other kind
    plainOnly.isPlainOnly = true;
    EXPECT_FALSE(IsKnown(plainOnly));
    for (const fs::path& file : Kept()) {
        if (file != kept) {
            fs::copy_file(kept, file, fs::copy_options::overwrite_existing);
        }
    }
    EXPECT_FALSE(IsKnown(plainOnly));
}

TEST_F(DifferenceCacheTest, WhatWasUsedLastStays)
{
    uint64_t size = 0;
    std::set<fs::path> aged;
    for (const std::string fresh : {"new", "b", "c"}) {
        scratch_.Write(fresh, Numbers(fresh[0]));
        EXPECT_FALSE(IsKnown(options_, "old", fresh));
        for (const fs::path& file : Kept()) {
            if (aged.insert(file).second) { // b would be the first to go
                size += fs::file_size(file);
                fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(fresh == "b" ? 9 : 3));
            }
        }
    }
    const fs::path stale = fs::path(options_.cacheFolder) / "x.part"; // whoever wrote it was killed
    const fs::path underWay = fs::path(options_.cacheFolder) / "y.part";
    std::ofstream(stale) << "x";
    std::ofstream(underWay) << "y";
    fs::last_write_time(stale, fs::file_time_type::clock::now() - std::chrono::hours(25));
    EXPECT_TRUE(IsKnown(options_, "old", "b"));
    options_.cacheMax = size - 1; // with the next one there is no room for two of the others
    EXPECT_FALSE(IsKnown(options_, "new", "c"));
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_TRUE(fs::exists(underWay));
    EXPECT_TRUE(IsKnown(options_, "old", "b"));
    EXPECT_TRUE(IsKnown(options_, "new", "c"));
    EXPECT_FALSE(IsKnown(options_, "old", "new") && IsKnown(options_, "old", "c"));
}

TEST_F(DifferenceCacheTest, WhatCannotBeKeptIsTold)
{
    scratch_.Write("a", "a file");
    EXPECT_FALSE(IsKnown(options_));
    EXPECT_EQ(report_.unkept, "cannot write " + options_.cacheFolder + ": Not a directory");
    fs::remove(scratch_.Path("a"));
    options_.cacheMax = 1;
    EXPECT_FALSE(IsKnown(options_));
    EXPECT_EQ(report_.unkept, "cannot write " + options_.cacheFolder + ": File too large");
    options_.cacheMax = 1000000;
    EXPECT_FALSE(IsKnown(options_));
    EXPECT_EQ(report_.unkept, "");
}
} // namespace
} // namespace ORVX::TavomendTest
