#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tools/parse_app_config_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::ParseAppConfigTool;

// One application with two files; the tests change one place of it at a time.
const std::string GOOD_CONFIG = R"({
 "space": 1, "version": "patch07", "pre_version": "patch00",
 "product": {"model": ["m1", "m2"], "version": ["1.0.0", "1.0.1"]},
 "action": 0, "need_reboot": true,
 "apps": {"size": 1, "list": ["com.a"],
  "com.a": {"version": 2, "pre_version": 1, "file_num": 2, "app_patch_type": "hot", "app_type": 0,
   "base_path": ["/system/app/A/A.vab", "/system/app/A/B.vab"],
   "diff_path": ["/com.a/A.vab.diff", "/com.a/B.vab.diff"],
   "apps_hash": ["aa", "bb"]}}})";

class ParseAppConfigToolTest : public DeviceTest {
protected:
    bool Parse(const std::string& text)
    {
        WriteFile(Formats::CONFIG_PATH, text);
        return tool_.ParseTavomendConfig();
    }

    ParseAppConfigTool tool_;
};

// The text with one place of it changed, which must be there.
std::string Changed(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST_F(ParseAppConfigToolTest, ReadsEveryField)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    const auto& info = tool_.GetPackageInfo();
    EXPECT_EQ(info.space, 1);
    EXPECT_EQ(info.version, "patch07");
    EXPECT_EQ(info.preVersion, "patch00");
    EXPECT_EQ(info.productModel, (std::vector<std::string>{"m1", "m2"}));
    EXPECT_EQ(info.productVersion, (std::vector<std::string>{"1.0.0", "1.0.1"}));
    EXPECT_EQ(info.action, 0);
    EXPECT_TRUE(info.isValid);
    EXPECT_TRUE(info.dataKept);
    EXPECT_TRUE(info.needReboot);
    ASSERT_EQ(info.appsList.size(), 1U);
    const auto& app = info.appsList[0];
    EXPECT_EQ(app.bundleName, "com.a");
    EXPECT_EQ(app.sequence, 0);
    EXPECT_EQ(app.version, 2U);
    EXPECT_EQ(app.preVersion, 1U);
    EXPECT_EQ(app.appType, "internal");
    EXPECT_EQ(app.fileNum, 2);
    EXPECT_EQ(app.appPatchType, "hot");
    EXPECT_EQ(app.diffPaths[1], "/com.a/B.vab.diff");
    EXPECT_EQ(app.basePaths[0], "/system/app/A/A.vab");
    EXPECT_EQ(app.appsHashs[1], "bb");
}

TEST_F(ParseAppConfigToolTest, DumpsInTheDiagnosticFormat)
{
    const LogCapture log;
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    const std::string package = " space: 1 version: patch07 preVersion: patch00 productModel: { m1, m2,} "
                                "productVersion: { 1.0.0, 1.0.1,}  action: 0 dataKept: 1 needReboot: 1 appsSize: 1 "
                                "appsList: {";
    const std::string app = "[ bundleName: com.a version: 2 preVersion: 1 appType: internal fileNum: 2 "
                            "appPatchType: hot diffPaths: { /com.a/A.vab.diff, /com.a/B.vab.diff,} "
                            "basePaths: { /system/app/A/A.vab, /system/app/A/B.vab,} appsHashs: { aa, bb,}]";
    EXPECT_EQ(tool_.Dump(), package + app);
    EXPECT_TRUE(log.Contains("result: 1"));
    EXPECT_TRUE(log.Contains(package));
    EXPECT_TRUE(log.Contains(app));
}

struct ConfigCase {
    const char* name;
    const char* from;
    const char* to;
    bool isValid;
    const char* message; // that must be logged; empty for a silent refusal
};

class ConfigCaseTest : public ParseAppConfigToolTest, public testing::WithParamInterface<ConfigCase> {};

TEST_P(ConfigCaseTest, IsJudged)
{
    const LogCapture log;
    const ConfigCase& change = GetParam();
    EXPECT_EQ(Parse(Changed(GOOD_CONFIG, change.from, change.to)), change.isValid);
    EXPECT_EQ(tool_.GetPackageInfo().isValid, change.isValid);
    EXPECT_TRUE(log.Contains(change.message)) << change.message;
}

INSTANTIATE_TEST_SUITE_P(
    Changes, ConfigCaseTest,
    testing::Values(
        ConfigCase{"spaceZero", R"("space": 1)", R"("space": 0)", false, "result: 1"},
        ConfigCase{"spaceMissing", R"("space": 1,)", "", false, "result: 1"},
        ConfigCase{"spaceOfWrongTypeReadsAsMissing", R"("space": 1)", R"("space": "1")", false, "result: 1"},
        ConfigCase{"noProduct", R"("product")", R"("Product")", false, "result: 0"},
        ConfigCase{"noModels", R"(["m1", "m2"])", "[]", false, "result: 0"},
        ConfigCase{"modelsNoArray", R"(["m1", "m2"])", R"("m1")", false, "root is null"},
        ConfigCase{"modelIsNumber", R"("m2"])", "5]", false, "parse product model failed"},
        ConfigCase{"versionIsNumber", R"("1.0.1"])", "5]", false, "parse product version failed"},
        ConfigCase{"fewerVersionsThanModels", R"(, "1.0.1"])", "]", false, "result: 1"},
        ConfigCase{"actionMissing", R"("action": 0,)", "", false, "result: 1"},
        ConfigCase{"actionThree", R"("action": 0)", R"("action": 3)", false, "result: 1"},
        ConfigCase{"actionOneCountsAnything", R"("action": 0)", R"("action": 1)", true, "result: 1"},
        ConfigCase{"revokeNamesNoApps", R"("action": 0)", R"("action": 2)", false, "result: 1"},
        ConfigCase{"noApps", R"("apps")", R"("Apps")", false, "get apps object failed"},
        ConfigCase{"noList", R"("list")", R"("List")", false, "get app array failed"},
        ConfigCase{"nameIsNumber", R"(["com.a"])", "[5]", false, "parse app failed"},
        ConfigCase{"nameWithoutEntry", R"(["com.a"])", R"(["com.b"])", false, "ParseAppInfo failed"},
        ConfigCase{"sizeTooLarge", R"("size": 1)", R"("size": 2)", false, "result: 1"},
        ConfigCase{"emptyListEnables", R"("size": 1, "list": ["com.a"])", R"("size": 0, "list": [])", false,
                   "result: 1"},
        ConfigCase{"versionNotAbove", R"("version": 2)", R"("version": 1)", false, "result: 1"},
        ConfigCase{"versionsAreUnsigned", R"("version": 2)", R"("version": -1)", true, "result: 1"},
        ConfigCase{"patchTypeIsExact", R"("hot")", R"("Hot")", false, "result: 1"},
        ConfigCase{"coldPasses", R"("hot")", R"("cold")", true, "result: 1"},
        ConfigCase{"sharedBundlesParseAndFail", R"("app_type": 0)", R"("app_type": 1)", false, "result: 1"},
        ConfigCase{"serviceFwkPasses", R"("app_type": 0)", R"("app_type": 2)", true, "result: 1"},
        ConfigCase{"unknownType", R"("app_type": 0)", R"("app_type": 3)", false, "app Type map find failed"},
        ConfigCase{"fileNumTooSmall", R"("file_num": 2)", R"("file_num": 1)", false, "result: 1"},
        ConfigCase{"oneHashForTwoFiles", R"(, "bb"])", "]", false, "result: 1"},
        ConfigCase{"baseIsNumber", R"("/system/app/A/B.vab"])", "5]", false, "parse base path array failed"},
        ConfigCase{"diffIsNumber", R"("/com.a/B.vab.diff"])", "5]", false, "parse diff path array failed"},
        ConfigCase{"hashIsNumber", R"("bb"])", "5]", false, "parse file hash array failed"}),
    [](const auto& test) { return test.param.name; });

TEST_F(ParseAppConfigToolTest, AcceptsARevokeWithoutApplications)
{
    const std::string revoke = R"({"space": 1, "version": "patch08",
        "product": {"model": ["m1"], "version": ["1.0.0"]}, "action": ACTION, "apps": {"size": 0, "list": []}})";
    EXPECT_TRUE(Parse(Changed(revoke, "ACTION", "2")));
    EXPECT_TRUE(Parse(Changed(revoke, "ACTION", "1")));
    EXPECT_FALSE(Parse(Changed(revoke, "ACTION", "0")));
}

TEST_F(ParseAppConfigToolTest, AnUnreadableDocumentKeepsTheEarlierRecord)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    const LogCapture log;
    for (const char* text : {"", "{", "[1,", "{} trailing"}) {
        EXPECT_FALSE(Parse(text)) << text;
        EXPECT_EQ(tool_.GetPackageInfo().version, "patch07");
    }
    EXPECT_EQ(log.Count("cJSON root is NULL."), 4U);
}

TEST_F(ParseAppConfigToolTest, AFailingApplicationIsTheLastOfTheList)
{
    const std::string two =
        Changed(Changed(GOOD_CONFIG, R"(["com.a"])", R"(["com.a", "com.x", "com.a"])"), R"("size": 1)", R"("size": 3)");
    EXPECT_FALSE(Parse(two));
    ASSERT_EQ(tool_.GetPackageInfo().appsList.size(), 2U);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[1].sequence, 1);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[1].bundleName, "");
}
} // namespace
} // namespace ORVX::TavomendTest
