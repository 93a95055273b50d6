// Archives and contents for tests of differences.
#ifndef TAVOMEND_TESTS_UNIT_DIFF_SAMPLE_ARCHIVE_H
#define TAVOMEND_TESTS_UNIT_DIFF_SAMPLE_ARCHIVE_H

#include <random>
#include <string>
#include <vector>

#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
struct SampleEntry {
    std::string name;
    std::string content;
    int level; // 0: stored
};

inline std::string ArchiveOf(const std::vector<SampleEntry>& entries)
{
    ZipBuilder builder;
    for (const SampleEntry& entry : entries) {
        builder.Add(entry.name, entry.content, entry.level);
    }
    return builder.Build();
}

// Content that deflates about as well as code does.
inline std::string CodeLikeContent(size_t size, uint32_t seed)
{
    std::mt19937 source(seed);
    std::string text;
    while (text.size() < size) {
        const uint32_t number = source();
        text += std::string("load store call jump ").substr(size_t{5} * (number % 4), 5);
        text += static_cast<char>(number >> 8);
        text += static_cast<char>(number >> 16 & 15);
    }
    text.resize(size);
    return text;
}

// The same with something put in early on, so that everything moves, and a byte changed here and there after it.
inline std::string NextVersion(std::string content)
{
    content.insert(content.size() / 10, "what the new version has more");
    for (size_t i = content.size() / 5; i < content.size(); i += 211) {
        content[i] = static_cast<char>(content[i] + 1);
    }
    return content;
}
} // namespace ORVX::TavomendTest

#endif
