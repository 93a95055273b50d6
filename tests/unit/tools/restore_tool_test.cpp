#include <gtest/gtest.h>

#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tools/restore_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::RestoreTool;

class RestoreToolTest : public DeviceTest {
protected:
    RestoreTool tool_;
};

TEST_F(RestoreToolTest, RefusesWhatIsMissingWithoutAskingTheLibrary)
{
    const LogCapture log;
    WriteFile("/data/base", "base");
    WriteFile("/data/out", "untouched");
    EXPECT_EQ(tool_.RestoreFile("/data/diff", "/data/base", "/data/out"), -1);
    EXPECT_EQ(log.Count("base: /data/base, diff: /data/diff file not found"), 1U);
    WriteFile("/data/diff", MakeZstdDifference("base", "new"));
    EXPECT_EQ(tool_.RestoreFile("/data/diff", "/data/none", "/data/out"), -1);
    EXPECT_EQ(log.Count("base: /data/none, diff: /data/diff file not found"), 1U);
    EXPECT_EQ(tool_.RestoreFile("/data/diff", "/data/base", ""), -1);
    EXPECT_EQ(log.Count("restoreProductPath is empty"), 1U);
    EXPECT_EQ(log.Count(""), 3U);
    EXPECT_EQ(ReadFile("/data/out"), "untouched");
}

TEST_F(RestoreToolTest, RebuildsOrPassesTheLibrarysCodeOn)
{
    WriteFile("/data/base", "the old content of the file");
    WriteFile("/data/diff", MakeZstdDifference("the old content of the file", "the new content of the file"));
    EXPECT_EQ(tool_.RestoreFile("/data/diff", "/data/base", "/data/out"), 0);
    EXPECT_EQ(ReadFile("/data/out"), "the new content of the file");

    WriteFile("/data/noDiff", "this is no difference");
    const LogCapture log;
    const int result = tool_.RestoreFile("/data/noDiff", "/data/base", "/data/out2");
    EXPECT_NE(result, 0);
    EXPECT_NE(result, -1);
    EXPECT_TRUE(log.Contains("restore file result: " + std::to_string(result)));
    EXPECT_FALSE(Exists("/data/out2"));
}
} // namespace
} // namespace ORVX::TavomendTest
