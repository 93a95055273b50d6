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

// Code of a machine: words, some of which are calls of a few functions that lie anywhere in it. Every tenth function of
// the later version is larger.
inline std::string LibraryOf(uint16_t machine, size_t functions, size_t more)
{
    std::mt19937 source(1);
    std::string text("\x7F"
                     "ELF\2\1\1",
                     7);
    text.resize(64);
    text[18] = static_cast<char>(machine);
    const auto placeOf = [more](size_t function) { return 64 + function * 400 + (function + 9) / 10 * more; };
    for (size_t i = 0; i < functions; ++i) {
        text.resize(placeOf(i), '\0');
        while (text.size() < placeOf(i) + 400) {
            const size_t called = placeOf(source() % 20 * functions / 20);
            uint32_t word = source() % 4096 * 1024;
            if (machine == 183 && word % 3 == 0) {
                word = 0x94000000U | (static_cast<uint32_t>((called - text.size()) >> 2) & 0x03FFFFFFU);
            } else if (machine == 62 && word % 3 == 0) {
                text += std::string("\x31\xC0\x90\xE8", 4);
                word = static_cast<uint32_t>(called - text.size());
            }
            for (int byte = 0; byte < 4; ++byte) {
                text += static_cast<char>(word >> 8 * byte);
            }
        }
    }
    return text;
}

// Two versions of a library, as the files that hold it.
struct LibraryChange {
    std::string name;
    std::string old;
    std::string fresh;
};

inline std::vector<LibraryChange> LibraryChanges(const std::string& old, const std::string& fresh)
{
    return {{"by itself", old, fresh},
            {"deflated", ArchiveOf({{"a.so", old, 6}}), ArchiveOf({{"a.so", fresh, 9}})},
            {"stored", ArchiveOf({{"a.so", old, 0}}), ArchiveOf({{"a.so", fresh, 0}, {"b", "b", 0}})}};
}
} // namespace ORVX::TavomendTest

#endif
