#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/utility/file_utils.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

class FileUtilsTest : public DeviceTest {};

TEST_F(FileUtilsTest, RenamesAndCopiesNeverReplaceAndCleaningStaysInside)
{
    WriteFile("/data/from", "from");
    WriteFile("/data/work/two", "a longer old file");
    EXPECT_FALSE(FileUtils::RenameFile("/data/from", "/data/work/two"));
    EXPECT_EQ(ReadFile("/data/work/two"), "a longer old file");
    EXPECT_TRUE(FileUtils::RenameFile("/data/from", "/data/work/other"));
    EXPECT_EQ(ReadFile("/data/work/other"), "from");

    WriteFile("/data/source/a/one", "one");
    WriteFile("/data/source/two", "two");
    EXPECT_TRUE(FileUtils::CopyDir("/data/source", "/data/work"));
    EXPECT_EQ(ReadFile("/data/work/a/one") + ReadFile("/data/work/two") + ReadFile("/data/work/other"),
              "onea longer old filefrom");
    fs::create_directory_symlink("/data/source", "/data/work/link");
    EXPECT_FALSE(FileUtils::CopyDir("/data/work", "/data/third"));
    EXPECT_FALSE(Exists("/data/third/link"));
    EXPECT_FALSE(FileUtils::CopyDir("/data/none", "/data/fourth"));
    fs::create_directory("/data/empty");
    EXPECT_FALSE(FileUtils::CopyDir("/data/empty", "/data/source/two/below a file"));

    EXPECT_TRUE(FileUtils::CleanDir("/data/work", false));
    EXPECT_TRUE(fs::is_empty("/data/work"));
    EXPECT_EQ(ReadFile("/data/source/a/one"), "one");
    EXPECT_TRUE(FileUtils::CleanDir("/data/work/", true));
    EXPECT_FALSE(Exists("/data/work"));
    EXPECT_TRUE(FileUtils::CleanDir("/data/work", true));        // nothing there
    EXPECT_TRUE(FileUtils::CleanDir("/data/source/two", false)); // a file goes whatever the flag
    EXPECT_FALSE(Exists("/data/source/two"));
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
    EXPECT_EQ(FileUtils::GetFileSize("/data/dir/a", FileUtils::Unit::KIB), 1);
    EXPECT_EQ(FileUtils::GetFileSize("/data/dir", FileUtils::Unit::BYTE), -1);
    EXPECT_EQ(FileUtils::GetFileSize("/data/none", FileUtils::Unit::KIB), -1);
    EXPECT_TRUE(FileUtils::FileIsExist("/data/dir/link"));
    EXPECT_FALSE(FileUtils::FileIsExist("/data/dir"));
    EXPECT_FALSE(FileUtils::FileIsExist("/data/none"));
    EXPECT_TRUE(FileUtils::DirIsExist("/data/dir"));
    EXPECT_FALSE(FileUtils::DirIsExist("/data/dir/a"));
    EXPECT_EQ(FileUtils::GetDiskFreeSpace("/data/none"), -1);
}

TEST_F(FileUtilsTest, ValidPathsAreAbsoluteAndStayWhereTheySay)
{
    for (const char* good : {"/", "/data/a", "/data/..a/b..", "/data/./a", "/data/a../b", "/data//"}) {
        EXPECT_TRUE(FileUtils::IsValidPath(good)) << good;
    }
    for (const char* bad : {"", "data/a", "..", "/data/../a", "/data/..", "/..", "/../data", "../data"}) {
        EXPECT_FALSE(FileUtils::IsValidPath(bad)) << bad;
    }
    EXPECT_FALSE(FileUtils::IsValidPath(std::string("/data/a\0b", 9)));
}

TEST_F(FileUtilsTest, GivesFilesToTheEnginesAccount)
{
    WriteFile("/data/file", "x");
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/file")); // no accounts at all
    WriteFile("/etc/passwd", "root:x:0:0::/:\nnotavomend:x:1:1::/:\n");
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/file"));
    WriteFile("/etc/passwd", "root:x:0:0::/:\ntavomend:x:1077:1078::/:\nlast:x:2:2::/:\n");
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/none"));
    fs::create_symlink("file", "/data/link");
    EXPECT_TRUE(FileUtils::SetGidAndUidToTavomend("/data/link"));
    struct stat info {};
    ASSERT_EQ(lstat("/data/link", &info), 0);
    EXPECT_EQ(info.st_uid, 1077U);
    EXPECT_EQ(info.st_gid, 1078U);
    ASSERT_EQ(stat("/data/link", &info), 0);
    EXPECT_EQ(info.st_uid, 0U); // the link's own owner, not its file's
}

TEST_F(FileUtilsTest, MakesFilesAndDirectoriesWithTheirParentsOrLeavesWhatIsThere)
{
    EXPECT_TRUE(FileUtils::MakeDirs("/data/a/b/c/"));
    struct stat info {};
    ASSERT_EQ(stat("/data/a/b", &info), 0);
    EXPECT_EQ(info.st_mode, static_cast<mode_t>(S_IFDIR | 0755));
    EXPECT_TRUE(FileUtils::DirIsExist("/data/a/b/c"));
    EXPECT_TRUE(FileUtils::MakeDirs("/"));
    ASSERT_TRUE(FileUtils::ReplaceFile("/data/new/dir/file", "one", 0600));
    ASSERT_TRUE(FileUtils::ReplaceFile("/data/new/dir/file", "two", 0640));
    ASSERT_EQ(stat("/data/new/dir/file", &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0640U);
    EXPECT_FALSE(FileUtils::MakeDirs("/data/new/dir/file"));
    EXPECT_FALSE(FileUtils::MakeDirs("/data/new/dir/file/below"));
    EXPECT_FALSE(FileUtils::ReplaceFile("/data/a/b", "x", 0600)); // a directory is in the way
    EXPECT_FALSE(FileUtils::ReplaceFileByCopy("/data/none", "/data/new/dir/file", 0600));
    EXPECT_EQ(ReadFile("/data/new/dir/file"), "two");
    EXPECT_EQ(ListTree("/data").size(), 1U); // nothing beside it
}
} // namespace
} // namespace ORVX::TavomendTest
