// Makes differences and applies them.
#ifndef TAVOMEND_TESTS_UNIT_DIFF_ROUND_TRIP_H
#define TAVOMEND_TESTS_UNIT_DIFF_ROUND_TRIP_H

#include <filesystem>
#include <gtest/gtest.h>

#include "diff/difference_applier.h"
#include "diff/difference_maker.h"
#include "tests/unit/diff/misbehaving_system.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
class RoundTripTest : public testing::Test {
protected:
    void SetUp() override { g_system.Mend(); }
    void TearDown() override { g_system.Mend(); }

    bool Make(const std::string& old, const std::string& difference)
    {
        report_ = {};
        return Difference::MakeDifference({scratch_.Path(old), scratch_.Path("new"), scratch_.Path(difference)},
                                          options_, report_, error_);
    }
    // Differences "old" and "new", applies the outcome, and holds its size against what it was when this was written.
    const Difference::DifferenceReport& RoundTrip(const std::string& name, uint64_t ceiling)
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
        EXPECT_EQ(Difference::ApplyDifference(scratch_.Path("difference"), scratch_.Path("old"), scratch_.Path("out"),
                                              progress),
                  Difference::DIFFERENCE_OK);
        EXPECT_EQ(far, size);
        EXPECT_TRUE(scratch_.Read("out") == scratch_.Read("new"));
        EXPECT_EQ(report_.differenceSize, scratch_.Read("difference").size());
        EXPECT_LE(report_.differenceSize, report_.plainSize);
        EXPECT_LE(report_.differenceSize, ceiling);
        return report_;
    }

    ScratchDirectory scratch_;
    Difference::DifferenceOptions options_;
    Difference::DifferenceReport report_;
    std::string error_;
};
} // namespace ORVX::TavomendTest

#endif
