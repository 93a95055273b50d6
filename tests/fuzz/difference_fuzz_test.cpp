// The fuzz target as a plain test: real differences, and mutations of them that are the same in every run.
#include <random>

#include "diff/difference_maker.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace ORVX::TavomendTest {
namespace {
constexpr int MUTATIONS = 1500;

void Feed(const std::string& input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
}

std::string Mutated(std::string input, std::mt19937& source)
{
    const size_t changes = 1 + source() % 4;
    for (size_t i = 0; i < changes; ++i) {
        const size_t position = source() % input.size();
        switch (source() % 4) {
        case 0:
            input[position] = static_cast<char>(source());
            break;
        case 1:
            input[position] = static_cast<char>(input[position] ^ 1 << source() % 8);
            break;
        case 2:
            input.erase(position, 1 + source() % 16);
            break;
        default:
            input.insert(position, input.substr(source() % input.size(), source() % 32));
            break;
        }
        input += input.empty() ? "x" : "";
    }
    return input;
}

// A base and its difference in the target's own notation.
std::string Sample(const std::vector<SampleEntry>& old, const std::vector<SampleEntry>& fresh)
{
    const ScratchDirectory scratch;
    WriteArchive(scratch.Path("old"), old);
    WriteArchive(scratch.Path("new"), fresh);
    Difference::DifferenceReport report;
    std::string error;
    EXPECT_TRUE(Difference::MakeDifference({scratch.Path("old"), scratch.Path("new"), scratch.Path("difference")}, {},
                                           report, error))
        << error;
    const std::string base = scratch.Read("old");
    const std::string size = {static_cast<char>(base.size() & 0xFF), static_cast<char>(base.size() >> 8)};
    return size + base + scratch.Read("difference");
}

TEST(DifferenceFuzz, SurvivesMutatedDifferences)
{
    const std::string content = CodeLikeContent(6000, 1);
    const std::string samples[] = {
        Sample({{"a", content, 6}, {"b", content, 0}}, {{"a", NextVersion(content), 6}, {"b", content, 1}}),
        Sample({{"a", content, 9}}, {{"a", CodeLikeContent(3000, 2), 9}, {"c", NextVersion(content), 1}}),
        Sample({{"a", "short", 0}}, {{"a", "shorter", 0}}),
    };
    std::mt19937 source(1);
    for (const std::string& sample : samples) {
        ASSERT_LT(sample.size(), 65536U);
        Feed(sample);
        for (int i = 0; i < MUTATIONS; ++i) {
            Feed(Mutated(sample, source));
        }
    }
}
} // namespace
} // namespace ORVX::TavomendTest
