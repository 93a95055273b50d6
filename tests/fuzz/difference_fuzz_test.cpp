// The fuzz target as a plain test: kept differences, and mutations of them that are the same in every run.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
constexpr int MUTATIONS = 1500;

// Up to four bytes changed, or one of them taken out with some of what follows.
std::string Mutated(std::string input, std::mt19937& source)
{
    for (size_t changes = 1 + source() % 4; changes > 0; --changes) {
        input[source() % input.size()] = static_cast<char>(source());
    }
    return source() % 4 == 0 ? input.erase(source() % input.size(), 1 + source() % 16) : input;
}

std::string Read(const std::string& name)
{
    std::ifstream file(std::string(KEPT_DIFFERENCES "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(DifferenceFuzz, SurvivesMutatedDifferences)
{
    std::mt19937 source(1);
    for (const std::string name : {"plain", "bytes", "archive", "long"}) {
        const std::string base = Read(name + ".old");
        ASSERT_FALSE(base.empty()) << name;
        const std::string size = {static_cast<char>(base.size() & 0xFF), static_cast<char>(base.size() >> 8)};
        const std::string sample = size + base + Read(name + ".difference");
        for (int i = 0; i < MUTATIONS; ++i) {
            const std::string input = i == 0 ? sample : Mutated(sample, source);
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
        }
    }
}
} // namespace
