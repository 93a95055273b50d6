// Differences that were made once and kept: what is on its way to a device must be applied by every later version to
// the same file, and the maker must not do worse than it did.
#include <filesystem>
#include <gtest/gtest.h>

#include "diff/difference_applier.h"
#include "diff/difference_maker.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

struct Kept {
    const char* name;
    DifferenceKind kind;
    size_t entries;   // deflated anew
    size_t window;    // that it was made for
    size_t plainSize; // of a plain difference of the same files
};

constexpr Kept KEPT[] = {
    {"plain", DifferenceKind::PLAIN, 0, DIFFERENCE_WINDOW_USUAL, 98},
    {"bytes", DifferenceKind::BYTES, 0, DIFFERENCE_WINDOW_USUAL, 1122},
    {"archive", DifferenceKind::ARCHIVE, 6, DIFFERENCE_WINDOW_USUAL,
     10088},                                                             // levels 1, 2, 6, 9; moved, stored, removed
    {"windows", DifferenceKind::ARCHIVE, 3, 16000, 9351},                // many groups
    {"long", DifferenceKind::ARCHIVE, 2, DIFFERENCE_WINDOW_USUAL, 8281}, // content of several chunks
    {"filtered", DifferenceKind::ARCHIVE, 1, DIFFERENCE_WINDOW_USUAL, 4285}, // version 2: arm64, deflated and stored
    // Version 3: entries in another order, a large, a new and a missing one; data descriptors; bytes that share words.
    {"headers", DifferenceKind::ARCHIVE, 9, DIFFERENCE_WINDOW_USUAL, 12165},
    {"descriptors", DifferenceKind::ARCHIVE, 8, DIFFERENCE_WINDOW_USUAL, 1007},
    {"primed", DifferenceKind::ARCHIVE, 1, DIFFERENCE_WINDOW_USUAL, 2760},
};

TEST(KeptDifferenceTest, EachStillGivesItsFileAndTheMakerMakesNoneLarger)
{
    const ScratchDirectory scratch;
    std::filesystem::copy(KEPT_DIFFERENCES, scratch.Path(""));
    for (const Kept& kept : KEPT) {
        const std::string old = scratch.Path(kept.name + std::string(".old"));
        const std::string difference = scratch.Path(kept.name + std::string(".difference"));
        const std::string out = scratch.Path(kept.name + std::string(".out"));
        EXPECT_EQ(ApplyDifference(difference, old, out), DIFFERENCE_OK) << kept.name;
        scratch.Run(std::string("grep ") + kept.name + ".out SHA256SUMS | sha256sum -c --status");

        DifferenceReport report;
        DifferenceOptions options;
        options.window = kept.window;
        std::string error;
        ASSERT_TRUE(MakeDifference({old, out, scratch.Path("made")}, options, report, error)) << error;
        EXPECT_EQ(report.kind, kept.kind) << kept.name;
        EXPECT_EQ(report.entries, kept.entries) << kept.name;
        EXPECT_LE(report.plainSize, kept.plainSize) << kept.name;
        EXPECT_EQ(report.oldSize, std::filesystem::file_size(old)) << kept.name;
        EXPECT_EQ(report.newSize, std::filesystem::file_size(out)) << kept.name;
        EXPECT_LE(report.differenceSize, std::filesystem::file_size(difference)) << kept.name;
        EXPECT_EQ(report.differenceSize, std::filesystem::file_size(scratch.Path("made"))) << kept.name;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
