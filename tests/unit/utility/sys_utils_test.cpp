#include <gtest/gtest.h>

#include "platform/utility/json_tool.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::JsonTool;
using TavomendEngine::SysUtils;

class SysUtilsTest : public DeviceTest {};

TEST_F(SysUtilsTest, TheImageVersionGoesBeforeTheRelease)
{
    struct Case {
        const char* text;
        const char* version;
    };
    const Case cases[] = {
        {"VERSION_ID=\"1.2.3\"\nNAME=x\n", "1.2.3"},
        {"VERSION_ID=1.2.3\nIMAGE_VERSION='4 5'\n", "4 5"},
        {"#VERSION_ID=9\nVERSION_ID=\"a\\\"b\"", "a\"b"},
        {"IMAGE_VERSION=\"\"\nVERSION_ID=1\n", "1"},
        {"NAME=x\n", ""},
    };
    for (const auto& release : cases) {
        WriteFile("/etc/os-release", release.text);
        EXPECT_EQ(SysUtils::GetBaseVersion(), release.version) << release.text;
    }
    std::filesystem::remove("/etc/os-release");
    EXPECT_EQ(SysUtils::GetBaseVersion(), "");
}

TEST_F(SysUtilsTest, AMemberOfTheWrongTypeReadsAsMissing)
{
    const JsonTool json;
    WriteFile("/data/j", R"({"n": 5, "s": "t", "b": false, "o": {}, "a": [], "big": 1e12, "N": 6})");
    cJSON* root = json.ParseJsonFromFile("/data/j");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(json.GetInt(root, "n", -1), 5);
    EXPECT_EQ(json.GetInt(root, "s", -1), -1);
    EXPECT_EQ(json.GetInt(root, "none", -1), -1);
    EXPECT_EQ(json.GetInt(root, "big", -1), 2147483647);
    EXPECT_EQ(json.GetString(root, "s", "d"), "t");
    EXPECT_EQ(json.GetString(root, "n", "d"), "d");
    EXPECT_FALSE(json.GetBool(root, "b", true));
    EXPECT_TRUE(json.GetBool(root, "n", true));
    EXPECT_NE(json.GetObject(root, "o"), nullptr);
    EXPECT_EQ(json.GetObject(root, "a"), nullptr);
    EXPECT_NE(json.GetArray(root, "a"), nullptr);
    EXPECT_EQ(json.GetArray(root, "o"), nullptr);
    EXPECT_EQ(json.GetInt(nullptr, "n", -1), -1);
    cJSON_Delete(root);
    EXPECT_EQ(json.ParseJsonFromFile("/data/none"), nullptr);
}
} // namespace
} // namespace ORVX::TavomendTest
