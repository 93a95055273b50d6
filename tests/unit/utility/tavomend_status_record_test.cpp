#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <zlib.h>

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

TEST_F(TavomendStatusRecordTest, GivesBackWhatWasSet)
{
    TavomendStatusRecord record;
    Open(record);
    EXPECT_EQ(record.GetStatus(), "");
    ASSERT_TRUE(record.SetStatus("patch%01", "activites", "line\nbreak %41 \x01"));
    ASSERT_TRUE(record.SetStatus("ready", "1|0:47")); // keeps the version
    ASSERT_TRUE(record.SetStatus("idle", "line\nbreak %41 \x01"));

    TavomendStatusRecord other;
    std::string version;
    EXPECT_EQ(Open(other).GetStatus(version), "idle");
    EXPECT_EQ(version, "patch%01");
    EXPECT_EQ(other.GetStatusFromFile(), "line\nbreak %41 \x01");
    record.SetStatus("patch01", "ready", "detail");
    EXPECT_EQ(other.GetStatus(), "idle"); // the file is read again only for the detail
    EXPECT_EQ(other.GetStatusFromFile(), "detail");
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
}

// The lines with a checksum that fits them.
std::string Checked(const std::string& lines)
{
    char checksum[16];
    snprintf(checksum, sizeof(checksum), "%08lx",
             crc32(0, reinterpret_cast<const Bytef*>(lines.data()), static_cast<uInt>(lines.size())));
    return lines + "crc32=" + checksum + "\n";
}

TEST_F(TavomendStatusRecordTest, EachLineHasItsPlaceAndItsKey)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"tavomend-status 1\nversion=v\nstatus=s\ndetail=d\n", "s", "d"},
        {"tavomend-status 2\nversion=v\nstatus=s\ndetail=d\n", "", ""},
        {"tavomend-status 1\nversions=v\nstatus=s\ndetail=d\n", "", ""},
        {"tavomend-status 1\nversion=v\nstate=s\ndetail=d\n", "", ""},
        {"tavomend-status 1\nversion=v\nstatus=s\ndetails=d\n", "", ""},
        // Half an escape, or one of no hexadecimal digits, stands for itself.
        {"tavomend-status 1\nversion=v\nstatus=%41%4a%4A\ndetail=%zz%4\n", "AJJ", "%zz\x04"},
    };
    for (const auto& [lines, status, detail] : cases) {
        WriteFile(FILE_PATH, Checked(lines));
        TavomendStatusRecord record;
        EXPECT_EQ(Open(record).GetStatus(), status) << lines;
        EXPECT_EQ(record.GetStatusFromFile(), detail) << lines;
    }
}

TEST_F(TavomendStatusRecordTest, WritesTheDocumentedFileOrKeepsTheOldOne)
{
    TavomendStatusRecord record;
    Open(record).SetStatus("v", "\x1f \x7f~%", "\n\xc3\xa4");
    EXPECT_EQ(ReadFile(FILE_PATH), Checked("tavomend-status 1\nversion=v\nstatus=%1f %7f~%25\ndetail=%0a\xc3\xa4\n"));
    EXPECT_EQ(std::filesystem::status(FILE_PATH).permissions(), std::filesystem::perms(0640));
    EXPECT_TRUE(record.SetStatus("patch01", "ready_failed", "1|0(100|20):48"));
    EXPECT_EQ(ListTree(DIR).size(), 1U);
    std::filesystem::create_directory(std::string(FILE_PATH) + ".new"); // in the way of writing beside
    EXPECT_FALSE(record.SetStatus("patch01", "ready", "1|0:47"));
    EXPECT_EQ(record.GetStatus(), "ready");
    EXPECT_EQ(ReadFile(FILE_PATH), KNOWN_FILE);
}

TEST_F(TavomendStatusRecordTest, AQueryBesideAnOperationSeesOneRecord)
{
    WriteFile("/data/file", "a file where the directory should be: nothing is written, which is quick");
    TavomendStatusRecord record;
    record.InitStatusRecord("/data/file", "app");
    std::atomic<bool> isOver{false};
    std::thread query([&record, &isOver] {
        while (!isOver) {
            std::string version;
            const std::string status = record.GetStatus(version);
            EXPECT_EQ(version, status);
        }
    });
    for (int i = 0; i < 4000; ++i) {
        const std::string text(20 + static_cast<size_t>(i % 50), static_cast<char>('a' + i % 26));
        EXPECT_FALSE(record.SetStatus(text, text, text));
    }
    isOver = true;
    query.join();
}
} // namespace
} // namespace ORVX::TavomendTest
