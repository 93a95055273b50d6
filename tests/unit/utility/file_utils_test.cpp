#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/utility/file_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"

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

class DiskLayer : public FaultyFileLayer {
public:
    int Statvfs(const std::string& /*path*/, struct statvfs& status) override
    {
        status = disk;
        return 0;
    }
    struct statvfs disk {};
};

TEST_F(FileUtilsTest, FreeSpaceIsThatOfOthersInKiBUpToALimit)
{
    DiskLayer layer;
    struct Case {
        uint64_t blocks;
        uint64_t size;
        int32_t space;
    };
    const Case cases[] = {{5, 4096, 20},
                          {5, 512, 2},
                          {0, 4096, 0},
                          {uint64_t{1} << 31, 1024, INT32_MAX},
                          {INT32_MAX - 1, 1024, INT32_MAX - 1},
                          {uint64_t{1} << 40, 65536, INT32_MAX}};
    for (const auto& [blocks, size, space] : cases) {
        layer.disk.f_bavail = blocks; // f_bfree is for root alone
        layer.disk.f_bfree = blocks + 7;
        layer.disk.f_frsize = size;
        layer.disk.f_bsize = size * 2;
        EXPECT_EQ(FileUtils::GetDiskFreeSpace("/data"), space) << blocks << " of " << size;
    }
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
    WriteFile("/etc/passwd", "root:x:0:0::/:\ntavomend:x:" + std::to_string(geteuid()) + ":" +
                                 std::to_string(getegid()) + "::/:\nlast:x:2:2::/:\n");
    EXPECT_TRUE(FileUtils::SetGidAndUidToTavomend("/data/file"));
    EXPECT_FALSE(FileUtils::SetGidAndUidToTavomend("/data/none"));
    if (geteuid() == 0) {
        WriteFile("/etc/passwd", "root:x:0:0::/:\ntavomend:x:1077:1078::/:\n");
        fs::create_symlink("file", "/data/link");
        EXPECT_TRUE(FileUtils::SetGidAndUidToTavomend("/data/link"));
        struct stat info {};
        ASSERT_EQ(lstat("/data/link", &info), 0);
        EXPECT_EQ(info.st_uid, 1077U);
        EXPECT_EQ(info.st_gid, 1078U);
        ASSERT_EQ(stat("/data/link", &info), 0);
        EXPECT_EQ(info.st_uid, 0U); // the link's own owner, not its file's
    }
}

TEST_F(FileUtilsTest, MakesDirectoriesWithTheirParents)
{
    EXPECT_TRUE(FileUtils::MakeDirs("/data/a/b/c/"));
    struct stat info {};
    ASSERT_EQ(stat("/data/a/b", &info), 0);
    EXPECT_EQ(info.st_mode, static_cast<mode_t>(S_IFDIR | 0755));
    EXPECT_TRUE(FileUtils::DirIsExist("/data/a/b/c"));
    EXPECT_TRUE(FileUtils::MakeDirs("/"));
    WriteFile("/data/file", "in the way");
    EXPECT_FALSE(FileUtils::MakeDirs("/data/file"));
    EXPECT_FALSE(FileUtils::MakeDirs("/data/file/below"));
    EXPECT_EQ(ReadFile("/data/file"), "in the way");
}
} // namespace
} // namespace ORVX::TavomendTest
