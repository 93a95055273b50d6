#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/zip_builder.h"
#include "tools/parse_zip_tool.h"

namespace {
// Some file systems tell only at close that there was no room.
std::atomic<bool> g_isCloseFailing{false};
} // namespace

// Stands before the C library's in this program.
extern "C" int fclose(FILE* file)
{
    static const auto real = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"));
    const int result = real(file);
    if (!g_isCloseFailing) {
        return result;
    }
    errno = ENOSPC;
    return EOF;
}

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::ParseZipTool;

constexpr const char* ARCHIVE = "/data/archive.zip";

class ParseZipToolTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        big_.assign(10000, 'x');
        big_ += "end";
        WriteFile(ARCHIVE, ZipBuilder().Add("a.txt", "alpha").Add("dir/big.bin", big_).Add("empty", "").Build());
    }
    void TearDown() override { tool_.Reset(); }

    std::string big_;
    ParseZipTool tool_{ARCHIVE};
};

TEST_F(ParseZipToolTest, ExtractsMembersAndMakesTheirDirectories)
{
    ASSERT_TRUE(tool_.UnZipTargetFiles(
        {{"/a.txt", "/data/out/a"}, {"/dir/big.bin", "/data/out/deep/er/b"}, {"/empty", "/data/out/e"}}));
    EXPECT_EQ(ReadFile("/data/out/a"), "alpha");
    EXPECT_EQ(ReadFile("/data/out/deep/er/b"), big_);
    EXPECT_TRUE(Exists("/data/out/e"));
    EXPECT_EQ(ReadFile("/data/out/e"), "");
    struct stat info {};
    ASSERT_EQ(stat("/data/out/deep", &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0755U);
}

TEST_F(ParseZipToolTest, NamesMatchToTheLetter)
{
    const LogCapture log;
    for (const char* name : {"a.txt", "/A.txt", "/big.bin", "/dir", "/a.tx"}) {
        EXPECT_FALSE(tool_.UnZipTargetFiles({{name, "/data/out/x"}})) << name;
        EXPECT_TRUE(log.Contains(std::string("unzip ") + name + " failed ")) << name;
        EXPECT_TRUE(log.Contains(std::string("exact ") + name + " failed")) << name;
    }
    EXPECT_FALSE(Exists("/data/out/x"));
}

TEST_F(ParseZipToolTest, StopsAtTheFirstFailureAndKeepsWhatCameBefore)
{
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}, {"/none", "/data/2"}, {"/a.txt", "/data/3"}}));
    EXPECT_EQ(ReadFile("/data/1"), "alpha");
    EXPECT_FALSE(Exists("/data/3"));
}

TEST_F(ParseZipToolTest, TrustsAnOutputOfTheRightSizeAndReplacesOthers)
{
    WriteFile("/data/same", "ALPHA");
    WriteFile("/data/other", "longer than alpha");
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/same"}, {"/a.txt", "/data/other"}}));
    EXPECT_EQ(ReadFile("/data/same"), "ALPHA");
    EXPECT_EQ(ReadFile("/data/other"), "alpha");
}

TEST_F(ParseZipToolTest, KeepsTheArchiveOpenUntilReset)
{
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}}));
    ASSERT_EQ(remove(ARCHIVE), 0);
    WriteFile(ARCHIVE, ZipBuilder().Add("a.txt", "second").Build());
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/2"}}));
    EXPECT_EQ(ReadFile("/data/2"), "alpha");
    tool_.Reset();
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/3"}}));
    EXPECT_EQ(ReadFile("/data/3"), "second");
}

TEST_F(ParseZipToolTest, RefusesDamageAndBadPaths)
{
    const LogCapture log;
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/../data/x"}}));
    EXPECT_TRUE(log.Contains("outFilePath: /data/../data/x is an invalid path"));

    ParseZipTool missing("/data/none.zip");
    EXPECT_FALSE(missing.UnZipTargetFiles({{"/a.txt", "/data/x"}}));
    EXPECT_TRUE(log.Contains("zipFile not exist"));

    WriteFile("/data/no.zip", "this is no archive");
    ParseZipTool noArchive("/data/no.zip");
    EXPECT_FALSE(noArchive.UnZipTargetFiles({{"/a.txt", "/data/x"}}));
    EXPECT_TRUE(log.Contains("unZipDir is NULL"));

    // A member whose compressed bytes are damaged: the archive opens, the reading fails.
    std::string archive = ZipBuilder().Add("big.bin", big_).Build();
    const size_t data = archive.find("big.bin") + 7;
    for (size_t i = 0; i < 8; ++i) {
        archive[data + i] = '\xff';
    }
    WriteFile("/data/damaged.zip", archive);
    ParseZipTool damaged("/data/damaged.zip");
    EXPECT_FALSE(damaged.UnZipTargetFiles({{"/big.bin", "/data/y"}}));
    EXPECT_TRUE(log.Contains("unzReadCurrentFile failed"));
    EXPECT_TRUE(log.Contains("extract /data/y file failed"));
    damaged.Reset();
}

// No file grows beyond a limit as long as it lives: a disk that fills up.
class FullDisk {
public:
    explicit FullDisk(rlim_t size)
    {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
};

TEST_F(ParseZipToolTest, AFullDiskFailsTheExtractionWheneverItShows)
{
    struct Case {
        rlim_t size;
        const char* message;
    };
    // 10003 bytes come in pieces of 4096: the last ones wait in the stream until it is closed.
    for (const auto& [size, message] : {Case{4096, "fwrite Failed"}, Case{8192, "check fileSize failed"}}) {
        const LogCapture log;
        {
            const FullDisk disk(size);
            EXPECT_FALSE(tool_.UnZipTargetFiles({{"/dir/big.bin", "/data/big"}})) << size;
        }
        EXPECT_TRUE(log.Contains(message)) << size;
        EXPECT_TRUE(log.Contains("extract /data/big file failed")) << size;
        EXPECT_EQ(std::filesystem::file_size("/data/big"), size);
    }
    const LogCapture log;
    g_isCloseFailing = true; // although all bytes are there
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/dir/big.bin", "/data/big"}}));
    g_isCloseFailing = false;
    EXPECT_TRUE(log.Contains("check fileSize failed"));
    EXPECT_EQ(ReadFile("/data/big"), big_);
}

TEST_F(ParseZipToolTest, AMemberShorterThanItsHeadersSayFails)
{
    std::string archive = ZipBuilder().Add("a.txt", "alpha").Add("a.txt", "second").Build();
    for (const char* magic : {"PK\x03\x04", "PK\x01\x02"}) {
        const size_t size = archive.find(magic) + (magic[2] == 3 ? 22 : 24);
        ASSERT_EQ(archive[size], 5);
        archive[size] = 9;
    }
    WriteFile("/data/short.zip", archive);
    ParseZipTool tool("/data/short.zip");
    const LogCapture log;
    EXPECT_TRUE(tool.UnZipTargetFiles({{"/a.txt", "/data/x"}})); // the second one of that name
    EXPECT_TRUE(log.Contains("check fileSize failed"));
    EXPECT_EQ(ReadFile("/data/x"), "second");
    tool.Reset();
}

TEST_F(ParseZipToolTest, WhatIsInTheWayOfAnOutputIsNamed)
{
    WriteFile("/data/file", "in the way");
    std::filesystem::create_directories("/data/taken");
    struct Case {
        const char* output;
        const char* message;
    };
    const Case cases[] = {
        {"/data/file/a", "create /data/file dir failed"},
        {"/data/file/deep/er/a", "errinfo: File exists, path: /data/file/deep"},
        {"/data/file/deep/a", "create /data/file/deep dir failed"},
        {"/data/taken", "open /data/taken failed"},
        {"/nothing/a", "open /nothing/a failed"}, // directories of the first level are not made
    };
    for (const auto& [output, message] : cases) {
        const LogCapture log;
        EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", output}})) << output;
        EXPECT_TRUE(log.Contains(message)) << output;
        EXPECT_TRUE(log.Contains("touch null file failed")) << output;
    }
    EXPECT_EQ(ReadFile("/data/file"), "in the way");
}

TEST_F(ParseZipToolTest, DirectoriesOfTheInitStageAreTheEngines)
{
    WriteFile("/etc/passwd", "tavomend:x:" + std::to_string(geteuid()) + ":1078::/:\n");
    TavomendEngine::SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_INIT);
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/init/deep/a"}}));
    TavomendEngine::SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/later/deep/a"}}));
    const auto group = [](const char* path) {
        struct stat info {};
        EXPECT_EQ(stat(path, &info), 0) << path;
        return info.st_gid;
    };
    EXPECT_EQ(group("/data/init"), 1078U);
    EXPECT_EQ(group("/data/init/deep"), 1078U);
    EXPECT_EQ(group("/data/later/deep"), getegid());
}

TEST_F(ParseZipToolTest, RefusesAMemberOf2GiBBeforeWritingAByte)
{
    // The sizes that both headers of the first member state, raised to 2^31.
    std::string archive = ZipBuilder().Add("a.txt", "alpha").Build();
    const std::string size("\0\0\0\x80", 4);
    archive.replace(22, 4, size);
    archive.replace(archive.find("PK\x01\x02") + 24, 4, size);
    WriteFile("/data/huge.zip", archive);
    const LogCapture log;
    ParseZipTool huge("/data/huge.zip");
    EXPECT_FALSE(huge.UnZipTargetFiles({{"/a.txt", "/data/x"}}));
    EXPECT_TRUE(log.Contains("check fileSize failed"));
    EXPECT_FALSE(Exists("/data/x"));
    huge.Reset();
}
} // namespace
} // namespace ORVX::TavomendTest
