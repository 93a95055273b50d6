#include <gtest/gtest.h>

#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
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
} // namespace
} // namespace ORVX::TavomendTest
