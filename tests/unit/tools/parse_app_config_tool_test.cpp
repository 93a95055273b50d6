#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tests/unit/formats/config_cases.h"
#include "tools/parse_app_config_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::ParseAppConfigTool;

const std::string PACKAGE_DUMP = " space: 1 version: patch07 preVersion: patch03 productModel: { m1, m2,} "
                                 "productVersion: { 1.0.0, 1.0.1,}  action: 0 dataKept: 0 needReboot: 1 appsSize: 2 "
                                 "appsList: {";
const std::string FIRST_DUMP = "[ bundleName: com.a version: 2 preVersion: 1 appType: internal fileNum: 2 "
                               "appPatchType: hot diffPaths: { /com.a/A.vab.diff, /com.a/B.vab.diff,} "
                               "basePaths: { /system/app/A/A.vab, /system/app/A/B.vab,} appsHashs: { aa, bb,}]";
const std::string SECOND_DUMP = "[ bundleName: com.b version: 7 preVersion: 5 appType: appServiceFwk fileNum: 1 "
                                "appPatchType: cold diffPaths: { /com.b/F.vab,} "
                                "basePaths: { /system/app/appServiceFwk/F/F.vab,} appsHashs: { cc,}]";

class ParseAppConfigToolTest : public DeviceTest {
protected:
    bool Parse(const std::string& text)
    {
        WriteFile(Formats::CONFIG_PATH, text);
        return tool_.ParseTavomendConfig();
    }

    ParseAppConfigTool tool_;
};

TEST_F(ParseAppConfigToolTest, ReadsEveryFieldAndDumpsIt)
{
    auto& info = tool_.GetPackageInfo();
    EXPECT_FALSE(info.isValid);
    const LogCapture log;
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    EXPECT_TRUE(info.isValid);
    ASSERT_EQ(info.appsList.size(), 2U);
    EXPECT_EQ(info.appsList[1].sequence, 1);
    // The dump carries every other field; its format is written by hand above.
    EXPECT_EQ(log.Count(PACKAGE_DUMP) + log.Count(FIRST_DUMP) + log.Count(SECOND_DUMP), 3U);
    EXPECT_EQ(tool_.Dump(), PACKAGE_DUMP + FIRST_DUMP + SECOND_DUMP);
    info.Reset();
    EXPECT_FALSE(info.isValid);
    EXPECT_TRUE(info.dataKept);
    EXPECT_TRUE(info.appsList.empty());
    EXPECT_EQ(info.space, -1);
}

TEST_F(ParseAppConfigToolTest, AnUnreadableDocumentKeepsTheEarlierRecord)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    EXPECT_FALSE(Parse("{"));
    EXPECT_TRUE(tool_.GetPackageInfo().isValid);
    EXPECT_EQ(tool_.Dump(), PACKAGE_DUMP + FIRST_DUMP + SECOND_DUMP);
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"("space": 1)", R"("space": 0)"))); // read, and against a rule
    EXPECT_FALSE(tool_.GetPackageInfo().isValid);
}

TEST_F(ParseAppConfigToolTest, AParseStartsAnewAndHoldsWhatWasRead)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    // Without a product the members around it are read, the applications are not.
    EXPECT_FALSE(Parse(R"({"space": 9, "version": "v", "pre_version": "p", "action": 2, "need_reboot": false})"));
    EXPECT_EQ(tool_.Dump(), " space: 9 version: v preVersion: p productModel: {} productVersion: {}  action: 2 "
                            "dataKept: 1 needReboot: 0 appsSize: -1 appsList: {");
    const LogCapture log;
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"("size": 2, )", "")));
    EXPECT_EQ(tool_.GetPackageInfo().appsSize, -1);
    // A failing application is the last of the list.
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"(["com.a", "com.b"])", R"(["com.a", "com.x", "com.b"])")));
    ASSERT_EQ(tool_.GetPackageInfo().appsList.size(), 2U);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[1].sequence, 1);
    EXPECT_EQ(tool_.Dump().substr(PACKAGE_DUMP.size() + FIRST_DUMP.size()),
              "[ bundleName:  version: 0 preVersion: 0 appType:  fileNum: -1 appPatchType:  diffPaths: {} "
              "basePaths: {} appsHashs: {}]");
    EXPECT_TRUE(log.Contains("ParseAppInfo failed"));
}
} // namespace
} // namespace ORVX::TavomendTest
