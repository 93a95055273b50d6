#include <gtest/gtest.h>

#include "platform/utility/tavomend_status_record.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::TavomendStatusRecord;

constexpr const char* DIR = "/data/update/tavomend/app/status";
constexpr const char* FILE_PATH = "/data/update/tavomend/app/status/app";
// The checksum is `crc32` of the lines before it, taken with Python's zlib.
constexpr const char* KNOWN_FILE = "tavomend-status 1\n"
                                   "version=patch01\n"
                                   "status=ready_failed\n"
                                   "detail=1|0(100|20):48\n"
                                   "crc32=f1d841d0\n";

class TavomendStatusRecordTest : public DeviceTest {
protected:
    static TavomendStatusRecord& Open(TavomendStatusRecord& record)
    {
        record.InitStatusRecord(DIR, "app");
        return record;
    }
};

TEST_F(TavomendStatusRecordTest, WritesTheDocumentedFile)
{
    TavomendStatusRecord record;
    Open(record);
    EXPECT_TRUE(record.SetStatus("patch01", "ready_failed", "1|0(100|20):48"));
    EXPECT_EQ(ReadFile(FILE_PATH), KNOWN_FILE);
    EXPECT_EQ(ListTree(DIR).size(), 1U);
}

TEST_F(TavomendStatusRecordTest, GivesBackWhatWasSet)
{
    TavomendStatusRecord record;
    Open(record);
    EXPECT_EQ(record.GetStatus(), "");
    EXPECT_EQ(record.GetStatusFromFile(), "");
    ASSERT_TRUE(record.SetStatus("patch%01", "activites", "line\nbreak %41 \x01"));
    ASSERT_TRUE(record.SetStatus("ready", "1|0:47")); // keeps the version
    ASSERT_TRUE(record.SetStatus("idle", "line\nbreak %41 \x01"));

    TavomendStatusRecord other;
    std::string version;
    EXPECT_EQ(Open(other).GetStatus(version), "idle");
    EXPECT_EQ(version, "patch%01");
    EXPECT_EQ(other.GetStatusFromFile(), "line\nbreak %41 \x01");
}

TEST_F(TavomendStatusRecordTest, TheFileIsReadAgainOnlyForTheDetail)
{
    TavomendStatusRecord one;
    TavomendStatusRecord two;
    Open(one);
    Open(two);
    one.SetStatus("patch01", "ready", "detail");
    EXPECT_EQ(two.GetStatus(), "");
    EXPECT_EQ(two.GetStatusFromFile(), "detail");
}

TEST_F(TavomendStatusRecordTest, ATornOrDamagedFileReadsAsEmpty)
{
    const std::string whole = KNOWN_FILE;
    for (size_t length = 0; length < whole.size(); ++length) {
        WriteFile(FILE_PATH, whole.substr(0, length));
        TavomendStatusRecord record;
        EXPECT_EQ(Open(record).GetStatus(), "") << length;
        EXPECT_EQ(record.GetStatusFromFile(), "") << length;
    }
    for (size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x02);
        WriteFile(FILE_PATH, damaged);
        TavomendStatusRecord record;
        EXPECT_EQ(Open(record).GetStatus(), "") << at;
    }
    WriteFile(FILE_PATH, "some other program's file\n");
    TavomendStatusRecord record;
    EXPECT_EQ(Open(record).GetStatus(), "");
}

TEST_F(TavomendStatusRecordTest, AFileThatCannotBeWrittenKeepsTheOldOne)
{
    TavomendStatusRecord record;
    Open(record);
    ASSERT_TRUE(record.SetStatus("patch01", "ready_failed", "1|0(100|20):48"));
    std::filesystem::create_directory(std::string(FILE_PATH) + ".new"); // in the way of writing beside
    EXPECT_FALSE(record.SetStatus("patch01", "ready", "1|0:47"));
    EXPECT_EQ(record.GetStatus(), "ready");
    EXPECT_EQ(ReadFile(FILE_PATH), KNOWN_FILE);
}
} // namespace
} // namespace ORVX::TavomendTest
