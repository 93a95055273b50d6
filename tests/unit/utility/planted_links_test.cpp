// Links in the way of what FileUtils and the log write.
#include <cerrno>
#include <fcntl.h>

#include "common/log.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/planted_links.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;
using TavomendEngine::OutputFile;

constexpr const char* FILE_PATH = "/data/update/tavomend/app/temp/file";

class PlantedLinksTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile("/etc/passwd", "tavomend:x:1077:1078::/:\n");
        WriteFile("/data/source/file", "the engine's");
        WriteFile("/data/source/other", "and more");
    }
};

TEST_F(PlantedLinksTest, NoWriteGoesThroughALink)
{
    const std::string path = FILE_PATH;
    const std::pair<const char*, std::function<bool()>> writers[] = {
        {"replace", [path] { return FileUtils::ReplaceFile(path, "the engine's", 0640); }},
        {"replace by a copy", [path] { return FileUtils::ReplaceFileByCopy("/data/source/file", path, 0640); }},
        {"write anew", [path] { return OutputFile(path).Write("the engine's", 12); }},
        {"move", [path] { return FileUtils::MoveFile("/data/source/file", path); }},
        {"copy a tree", [path] { return FileUtils::CopyDir("/data/source", path.substr(0, path.rfind('/'))); }},
        {"remove", [path] { return FileUtils::Remove(path); }},
        {"clean", [path] { return FileUtils::CleanDir(path, true); }},
        {"empty", [path] { return FileUtils::CleanDir(path.substr(0, path.rfind('/')) + "/deep", false); }},
        {"own", [path] { return FileUtils::SetGidAndUidToTavomend(path); }},
        {"make", [path] { return FileUtils::MakeDirs(path.substr(0, path.rfind('/')) + "/new//dir/"); }},
        {"move away", [path] { return FileUtils::MoveFile(path, "/data/update/moved"); }},
        {"rename", [path] { return FileUtils::RenameFile(path, "/data/update/renamed"); }},
        {"set the mode", [path] { return FileUtils::SetMode(path, 0600); }},
    };
    for (const auto& [name, write] : writers) {
        for (const Plant plant : {Plant::LINK_TO_DIRECTORY, Plant::LINK_TO_FILE, Plant::LOOSE_LINK}) {
            SetUp();
            const PlantedLink link(plant, path);
            const bool isWritten = write();
            EXPECT_TRUE(link.IsUntouched()) << name << " " << static_cast<int>(plant);
            EXPECT_TRUE(plant != Plant::LINK_TO_DIRECTORY || !isWritten) << name;
        }
    }
    // A second name of somebody else's file is no file to write into.
    for (size_t i = 0; i < 4; ++i) {
        SetUp();
        const PlantedLink link(Plant::HARD_LINK, path);
        EXPECT_TRUE(writers[i].second()) << writers[i].first;
        EXPECT_TRUE(link.IsUntouched()) << writers[i].first;
        EXPECT_EQ(ReadFile(path), "the engine's") << writers[i].first;
    }
}

TEST_F(PlantedLinksTest, EveryGuardedDirectoryIsWatchedAndNoOther)
{
    for (const std::string directory : {"/data/update", "/data/log", "/data/app"}) {
        fs::remove_all(directory);
        const PlantedLink link(Plant::LINK_TO_DIRECTORY, directory + "/dir/file");
        EXPECT_FALSE(FileUtils::MakeDir(directory + "/dir/new")) << directory;
        EXPECT_EQ(errno, ENOTDIR);
        EXPECT_TRUE(link.IsUntouched()) << directory;
        // Who lays out the device may put the directory itself elsewhere.
        fs::remove_all(directory);
        fs::create_directories("/mnt/elsewhere");
        fs::create_directory_symlink("/mnt/elsewhere", directory);
        EXPECT_TRUE(FileUtils::ReplaceFile(directory + "/a//b//file", "x", 0600));
        EXPECT_EQ(ReadFile("/mnt/elsewhere/a/b/file"), "x") << directory;
        fs::remove_all("/mnt/elsewhere");
    }
    fs::create_directory_symlink("/mnt", "/data/updates");
    EXPECT_TRUE(FileUtils::ReplaceFile("/data/updates/file", "x", 0600)); // a maker's links are his own
    EXPECT_EQ(ReadFile("/mnt/file"), "x");
}

TEST_F(PlantedLinksTest, WhatIsMadeInTheInitStageIsTheEngines)
{
    for (const auto& [stage, owner] : {std::pair{TavomendEngine::RUNNING_STAGE_SA, uid_t{0}},
                                       std::pair{TavomendEngine::RUNNING_STAGE_INIT, uid_t{1077}}}) {
        SetUp();
        fs::create_directory("/data/log");
        TavomendEngine::SysUtils::SetRunningStage(stage);
        TAVOMEND_LOG_I("a line");
        ASSERT_TRUE(FileUtils::ReplaceFile("/data/update/new/dir/file", "x", 0640));
        ASSERT_TRUE(OutputFile("/data/update/new/anew").IsValid());
        for (const char* path : {"/data/update/new", "/data/update/new/dir", "/data/update/new/dir/file",
                                 "/data/update/new/anew", "/data/log/tavomend", TavomendEngine::TAVOMEND_LOG_FILE}) {
            struct stat status {};
            ASSERT_EQ(lstat(path, &status), 0) << path;
            EXPECT_EQ(status.st_uid, owner) << path;
        }
        struct stat status {};
        ASSERT_EQ(lstat("/data/update", &status), 0);
        EXPECT_EQ(status.st_uid, 0U); // what was there stays whose it is
    }
}

TEST_F(PlantedLinksTest, TheLogGoesIntoItsOwnFileOrNone)
{
    for (const Plant plant : {Plant::LINK_TO_DIRECTORY, Plant::LINK_TO_FILE, Plant::LOOSE_LINK, Plant::HARD_LINK}) {
        SetUp();
        const PlantedLink link(plant, TavomendEngine::TAVOMEND_LOG_FILE);
        const int next = NextDescriptor();
        TAVOMEND_LOG_I("a line");
        EXPECT_LE(NextDescriptor(), next + 1);
        EXPECT_TRUE(link.IsUntouched()) << static_cast<int>(plant);
        EXPECT_TRUE(plant == Plant::LINK_TO_DIRECTORY ||
                    ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).find("a line\n") != std::string::npos);
    }
    SetUp(); // a pipe that nobody reads is not waited for
    fs::create_directories("/data/log/tavomend");
    ASSERT_EQ(mkfifo(TavomendEngine::TAVOMEND_LOG_FILE, 0600), 0);
    TAVOMEND_LOG_I("a line");
    EXPECT_NE(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).find("a line\n"), std::string::npos);
}
} // namespace
} // namespace ORVX::TavomendTest
