#include <gtest/gtest.h>

#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/planted_links.h"
#include "tools/restore_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::RestoreTool;

class RestoreToolTest : public DeviceTest {};

TEST_F(RestoreToolTest, RebuildsOrTellsWhyNot)
{
    RestoreTool tool;
    WriteFile("/data/base", "the old content of the file");
    WriteFile("/data/out", "untouched");
    EXPECT_EQ(tool.RestoreFile("/data/diff", "/data/base", "/data/out"), -1);
    WriteFile("/data/diff", MakeZstdDifference("the old content of the file", "the new content of the file"));
    EXPECT_EQ(tool.RestoreFile("/data/diff", "/data/none", "/data/out"), -1);
    EXPECT_EQ(tool.RestoreFile("/data/diff", "/data/base", ""), -1);
    EXPECT_EQ(ReadFile("/data/out"), "untouched");
    EXPECT_EQ(tool.RestoreFile("/data/diff", "/data/base", "/data/out"), 0);
    EXPECT_EQ(ReadFile("/data/out"), "the new content of the file");

    WriteFile("/data/diff", "this is no difference");
    const int result = tool.RestoreFile("/data/diff", "/data/base", "/data/out2");
    EXPECT_TRUE(result != 0 && result != -1) << result; // the library's code
    EXPECT_FALSE(Exists("/data/out2"));
}

TEST_F(RestoreToolTest, WritesIntoNoLinkAndForTheEngineInTheInitStage)
{
    RestoreTool tool;
    const std::string output = "/data/update/tavomend/app/temp/hot/out";
    WriteFile("/etc/passwd", "tavomend:x:1077:1078::/:\n");
    WriteFile("/data/base", "the old content of the file");
    WriteFile("/data/diff", MakeZstdDifference("the old content of the file", "the new content of the file"));
    for (const Plant plant : {Plant::LINK_TO_DIRECTORY, Plant::LINK_TO_FILE, Plant::LOOSE_LINK, Plant::HARD_LINK}) {
        const PlantedLink link(plant, output);
        EXPECT_EQ(tool.RestoreFile("/data/diff", "/data/base", output) == 0, plant != Plant::LINK_TO_DIRECTORY);
        EXPECT_NE(tool.RestoreFile("/data/base", "/data/base", output), 0); // and clears what it has not made
        EXPECT_TRUE(link.IsUntouched()) << static_cast<int>(plant);
    }
    for (const auto& [stage, owner] : {std::pair{TavomendEngine::RUNNING_STAGE_SA, uid_t{0}},
                                       std::pair{TavomendEngine::RUNNING_STAGE_INIT, uid_t{1077}}}) {
        TavomendEngine::SysUtils::SetRunningStage(stage);
        ASSERT_EQ(tool.RestoreFile("/data/diff", "/data/base", output), 0);
        struct stat info {};
        ASSERT_EQ(stat(output.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, owner);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
