// A fuzz target as a plain test: its corpus, and mutations of it that are the same in every run.
#include <algorithm>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
std::vector<std::string> ReadCorpus()
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(FUZZ_CORPUS)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> corpus;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return corpus;
}

// Read before main: the process then leaves for its device root.
const std::vector<std::string> CORPUS = ReadCorpus();

// Some bytes changed; now and then some taken out, or some doubled.
std::string Mutated(std::string input, std::mt19937& source)
{
    if (input.empty()) {
        return input;
    }
    for (size_t changes = source() % 5; changes > 0; --changes) {
        input[source() % input.size()] = static_cast<char>(source());
    }
    const size_t at = source() % input.size();
    const size_t count = 1 + source() % 16;
    switch (source() % 4) {
    case 0:
        return input.erase(at, count);
    case 1:
        return input.insert(source() % input.size(), input.substr(at, count));
    default:
        return input;
    }
}

void RunInput(const std::string& input)
{
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size()), 0);
}

class FuzzCorpus : public DeviceTest {};

TEST_F(FuzzCorpus, HoldsForTheCorpusAndItsMutations)
{
    PrepareDevice();
    ASSERT_FALSE(CORPUS.empty());
    std::mt19937 source(1);
    RunInput("");
    for (const auto& sample : CORPUS) {
        RunInput(sample);
        for (size_t i = 0; i < FUZZ_MUTATIONS / CORPUS.size(); ++i) {
            RunInput(Mutated(sample, source));
        }
    }
}
} // namespace
} // namespace ORVX::TavomendTest
