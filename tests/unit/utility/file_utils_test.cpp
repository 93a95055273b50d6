#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/utility/file_utils.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

class FileUtilsTest : public DeviceTest {};

TEST_F(FileUtilsTest, RenameNeverReplaces)
{
    WriteFile("/data/from", "from");
    WriteFile("/data/to", "to");
    EXPECT_FALSE(FileUtils::RenameFile("/data/from", "/data/to"));
    EXPECT_EQ(ReadFile("/data/from"), "from");
    EXPECT_EQ(ReadFile("/data/to"), "to");
    EXPECT_TRUE(FileUtils::RenameFile("/data/from", "/data/other"));
    EXPECT_EQ(ReadFile("/data/other"), "from");
    EXPECT_FALSE(FileUtils::RenameFile("/data/from", "/data/third"));
}

TEST_F(FileUtilsTest, CleanDirStaysInsideIt)
{
    WriteFile("/data/outside/kept", "kept");
    WriteFile("/data/work/a/b/c", "c");
    fs::create_directory_symlink("/data/outside", "/data/work/link");
    EXPECT_TRUE(FileUtils::CleanDir("/data/work", false));
    EXPECT_TRUE(fs::is_empty("/data/work"));
    EXPECT_EQ(ReadFile("/data/outside/kept"), "kept");

    WriteFile("/data/work/a/b/c", "c");
    EXPECT_TRUE(FileUtils::CleanDir("/data/work/", true));
    EXPECT_FALSE(Exists("/data/work"));
    EXPECT_TRUE(FileUtils::CleanDir("/data/work", true)); // nothing there

    EXPECT_TRUE(FileUtils::CleanDir("/data/outside/kept", false)); // a file goes whatever the flag
    EXPECT_FALSE(Exists("/data/outside/kept"));
}

TEST_F(FileUtilsTest, CopyDirReplacesFilesAndRefusesLinks)
{
    WriteFile("/data/source/a/one", "one");
    WriteFile("/data/source/two", "two");
    WriteFile("/data/target/two", "a longer old file");
    WriteFile("/data/target/kept", "kept");
    EXPECT_TRUE(FileUtils::CopyDir("/data/source", "/data/target"));
    EXPECT_EQ(ReadFile("/data/target/a/one"), "one");
    EXPECT_EQ(ReadFile("/data/target/two"), "two");
    EXPECT_EQ(ReadFile("/data/target/kept"), "kept");
    EXPECT_EQ(ReadFile("/data/source/two"), "two");

    fs::create_symlink("/etc/os-release", "/data/source/link");
    EXPECT_FALSE(FileUtils::CopyDir("/data/source", "/data/other"));
    EXPECT_FALSE(Exists("/data/other/link"));
    EXPECT_FALSE(FileUtils::CopyDir("/data/none", "/data/third"));
}

TEST_F(FileUtilsTest, SizesAreInTheUnitAsked)
{
    WriteFile("/data/dir/a", std::string(1000, 'a'));
    WriteFile("/data/dir/sub/b", std::string(1049, 'b'));
    fs::create_symlink("/data/dir/a", "/data/dir/link");
    uint64_t size = 0;
    ASSERT_TRUE(FileUtils::GetDirSize("/data/dir", size));
    EXPECT_EQ(size, 3U); // 2049 bytes
    EXPECT_FALSE(FileUtils::GetDirSize("/data/none", size));
    EXPECT_FALSE(FileUtils::GetDirSize("/data/dir/a", size));
    EXPECT_EQ(FileUtils::GetFileSize("/data/dir/sub/b", FileUtils::Unit::BYTE), 1049);
    EXPECT_EQ(FileUtils::GetFileSize("/data/dir/sub/b", FileUtils::Unit::KIB), 2);
    EXPECT_EQ(FileUtils::GetFileSize("/data/dir", FileUtils::Unit::BYTE), -1);
    EXPECT_GT(FileUtils::GetDiskFreeSpace("/data"), 0);
    EXPECT_EQ(FileUtils::GetDiskFreeSpace("/data/none"), -1);
}

TEST_F(FileUtilsTest, ReplaceFileIsWholeOrNothing)
{
    ASSERT_TRUE(FileUtils::ReplaceFile("/data/new/dir/file", "one", 0600));
    ASSERT_TRUE(FileUtils::ReplaceFile("/data/new/dir/file", "two", 0640));
    EXPECT_EQ(ReadFile("/data/new/dir/file"), "two");
    struct stat info {};
    ASSERT_EQ(stat("/data/new/dir/file", &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0640U);

    fs::create_directories("/data/target/full");
    EXPECT_FALSE(FileUtils::ReplaceFile("/data/target", "x", 0600)); // a directory is in the way
    EXPECT_FALSE(FileUtils::ReplaceFileByCopy("/data/none", "/data/new/dir/file", 0600));
    EXPECT_EQ(ReadFile("/data/new/dir/file"), "two");
    EXPECT_EQ(ListTree("/data/new").size(), 1U); // nothing beside it
    EXPECT_FALSE(Exists("/data/target.new"));
}

TEST_F(FileUtilsTest, ValidPathsAreAbsoluteAndStayWhereTheySay)
{
    for (const char* good : {"/", "/data/a", "/data/..a/b..", "/data/./a"}) {
        EXPECT_TRUE(FileUtils::IsValidPath(good)) << good;
    }
    for (const char* bad : {"", "data/a", "..", "/data/../a", "/data/.."}) {
        EXPECT_FALSE(FileUtils::IsValidPath(bad)) << bad;
    }
    EXPECT_FALSE(FileUtils::IsValidPath(std::string("/data/a\0b", 9)));
}

TEST_F(FileUtilsTest, GivesFilesToTheEnginesAccount)
{
    WriteFile("/data/file", "x");
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/file")); // no such account on this device
    WriteFile("/etc/passwd", "root:x:0:0::/:\ntavomend:x:0:0::/:\n");
    EXPECT_TRUE(FileUtils::SetGidAndUidToTavomend("/data/file"));
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/none"));
}
} // namespace
} // namespace ORVX::TavomendTest
