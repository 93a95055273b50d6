// Archives and contents for tests of differences, made with minizip.
#ifndef TAVOMEND_TESTS_UNIT_DIFF_SAMPLE_ARCHIVE_H
#define TAVOMEND_TESTS_UNIT_DIFF_SAMPLE_ARCHIVE_H

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>
#include <zip.h>

namespace ORVX::TavomendTest {
struct SampleEntry {
    std::string name;
    std::string content;
    int level; // 0: stored
};

inline void WriteArchive(const std::string& path, const std::vector<SampleEntry>& entries)
{
    zipFile archive = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
    ASSERT_NE(archive, nullptr);
    for (const SampleEntry& entry : entries) {
        const zip_fileinfo info{};
        ASSERT_EQ(zipOpenNewFileInZip(archive, entry.name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                      entry.level == 0 ? 0 : Z_DEFLATED, entry.level),
                  ZIP_OK);
        ASSERT_EQ(zipWriteInFileInZip(archive, entry.content.data(), static_cast<unsigned>(entry.content.size())),
                  ZIP_OK);
        ASSERT_EQ(zipCloseFileInZip(archive), ZIP_OK);
    }
    ASSERT_EQ(zipClose(archive, nullptr), ZIP_OK);
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
