#include <gtest/gtest.h>
#include <zlib.h>

#include "diff/zip_entries.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using Difference::ByteView;
using Difference::ReadZipEntries;
using Difference::ZipEntry;

ByteView ViewOf(const std::string& text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class ZipEntriesTest : public testing::Test {
protected:
    void SetUp() override
    {
        scratch_.Write("archive", ArchiveOf({{"a", "alpha", 0}, {"b", std::string(500, 'b'), 6}, {"c", "", 0}}));
        archive_ = scratch_.Read("archive");
        central_ = archive_.find("PK\1\2");
        end_ = archive_.find("PK\5\6");
        ASSERT_EQ(end_, archive_.size() - 22);
    }

    ScratchDirectory scratch_;
    std::string archive_;
    size_t central_ = 0; // three records of 47 bytes each
    size_t end_ = 0;
};

TEST_F(ZipEntriesTest, TellsWhereTheDataLies)
{
    std::string swapped = archive_; // the directory in another order than the data
    swapped.replace(central_, 94, archive_.substr(central_ + 47, 47) + archive_.substr(central_, 47));
    std::string commented = archive_ + std::string(65535, 'c');
    commented.replace(end_ + 20, 2, "\xff\xff");
    std::string misleading = archive_ + "PK\5\6" + std::string(20, '\0'); // the comment is no end of an archive
    misleading.replace(end_ + 20, 2, std::string("\x18\0", 2));
    for (const std::string& archive : {archive_, swapped, commented, misleading}) {
        const std::vector<ZipEntry> entries = ReadZipEntries(ViewOf(archive));
        ASSERT_EQ(entries.size(), 3U);
        EXPECT_EQ(entries[0].name, "a");
        EXPECT_EQ(entries[0].method, 0);
        EXPECT_EQ(entries[0].size, 5U);
        EXPECT_EQ(entries[0].crc, crc32(0, reinterpret_cast<const Bytef*>("alpha"), 5));
        EXPECT_EQ(entries[0].headerOffset, 0U);
        const ByteView data = entries[0].Data(ViewOf(archive));
        EXPECT_EQ(std::string(data.data, data.data + data.size), "alpha");
        EXPECT_EQ(entries[1].method, 8);
        EXPECT_EQ(entries[1].size, 500U);
        EXPECT_LT(entries[1].compressedSize, 50U);
        EXPECT_EQ(entries[1].dataOffset + entries[1].compressedSize, entries[2].headerOffset);
        EXPECT_EQ(entries[2].dataOffset, central_);
    }
    const std::string emptyEnd = "PK\5\6" + std::string(18, '\0');
    EXPECT_TRUE(ReadZipEntries(ViewOf(archive_ + emptyEnd)).empty());
}

TEST_F(ZipEntriesTest, WhatIsNotPlainIsNoArchive)
{
    const struct {
        const char* name;
        size_t offset;
        std::string bytes;
    } cases[] = {
        {"end magic", end_, "p"},
        {"one entry more than there is", end_ + 10, "\4"},
        {"a directory beyond the file", end_ + 19, "\x7f"},
        {"central magic", central_ + 47, "p"},
        {"encrypted", central_ + 47 + 8, "\1"},
        {"a name beyond the file", central_ + 94 + 29, "\1"},
        {"data beyond the file", central_ + 94 + 22, "\1"},
        {"a local header beyond the file", central_ + 94 + 44, "\1"},
        {"local magic", 0, "p"},
        {"a local name beyond the file", 26, "\1\xff"},
        {"data that overlaps", central_ + 20, "\6"},
        {"two entries of one place", central_ + 47 + 42, std::string(4, '\0')},
    };
    for (const auto& [name, offset, bytes] : cases) {
        std::string archive = archive_;
        archive.replace(offset, bytes.size(), bytes);
        ASSERT_NE(archive, archive_) << name;
        EXPECT_TRUE(ReadZipEntries(ViewOf(archive)).empty()) << name;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
