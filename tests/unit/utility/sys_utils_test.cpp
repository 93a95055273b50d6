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
        {"\nno assignment\nVERSION_ID=1 \t\r\nVERSION_IDS=2\n", "1"},
        {"VERSION_ID='a\\b'\n", "a\\b"},
        {"VERSION_ID=\"a\\\\b\"\n", "a\\b"},
        {"VERSION_ID=\"half\n", "\"half"},
        {"VERSION_ID='mixed\"\n", "'mixed\""},
        {"VERSION_ID=\"\n", "\""},
        {"VERSION_ID=  \n", ""},
        {"VERSION_ID=a=b\n", "a=b"},
    };
    for (const auto& release : cases) {
        WriteFile("/etc/os-release", release.text);
        EXPECT_EQ(SysUtils::GetBaseVersion(), release.version) << release.text;
    }
    std::filesystem::remove("/etc/os-release");
    EXPECT_EQ(SysUtils::GetBaseVersion(), "");
}

TEST_F(SysUtilsTest, TheStageIsTheOneThatTheHostTold)
{
    EXPECT_EQ(SysUtils::GetRunningStage(), 1);
    SysUtils::SetRunningStage(0);
    EXPECT_EQ(SysUtils::GetRunningStage(), 0);
}

TEST_F(SysUtilsTest, ADocumentIsOneWholeValue)
{
    for (const char* text : {"", " ", "{", "{} x", "[1,]", "\xef\xbb"}) {
        WriteFile("/data/j", text);
        EXPECT_EQ(JsonTool().ParseJsonFromFile("/data/j"), nullptr) << text;
    }
    for (const char* text : {"{}", " [1] \n", "5", "\xef\xbb\xbf{}"}) {
        WriteFile("/data/j", text);
        cJSON* const root = JsonTool().ParseJsonFromFile("/data/j");
        EXPECT_NE(root, nullptr) << text;
        cJSON_Delete(root);
    }
    WriteFile("/data/j", std::string("{}\0{}", 5));
    EXPECT_EQ(JsonTool().ParseJsonFromFile("/data/j"), nullptr);
}

TEST_F(SysUtilsTest, AMemberOfTheWrongTypeReadsAsMissing)
{
    const JsonTool json;
    WriteFile(
        "/data/j",
        R"({"n": 5, "s": "t", "b": false, "o": {}, "a": [], "big": 1e12, "small": -1e12, "half": -2.9, "t": true, "N": 6})");
    cJSON* root = json.ParseJsonFromFile("/data/j");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(json.GetInt(root, "n", -1), 5);
    EXPECT_EQ(json.GetInt(root, "s", -1), -1);
    EXPECT_EQ(json.GetInt(root, "none", -1), -1);
    EXPECT_EQ(json.GetInt(root, "big", -1), 2147483647);
    EXPECT_EQ(json.GetString(root, "s", "d"), "t");
    EXPECT_EQ(json.GetString(root, "n", "d"), "d");
    EXPECT_EQ(json.GetInt(root, "small", -1), -2147483647 - 1);
    EXPECT_EQ(json.GetInt(root, "half", -1), -2);
    EXPECT_FALSE(json.GetBool(root, "b", true));
    EXPECT_TRUE(json.GetBool(root, "t", false));
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
