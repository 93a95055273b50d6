#include <gmock/gmock.h>
#include <mutex>
#include <regex>

#include "formats/device_paths.h"
#include "platform/api/kalog.h"
#include "ports/host/host_log.h"
#include "tests/support/device_fixture.h"
#include "tests/unit/formats/config_cases.h"
#include "tools/parse_app_config_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::ParseAppConfigTool;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

const std::string PACKAGE_DUMP = " space: 1 version: patch07 preVersion: patch03 productModel: { m1, m2,} "
                                 "productVersion: { 1.0.0, 1.0.1,}  action: 0 dataKept: 0 needReboot: 1 appsSize: 2 "
                                 "appsList: {";
const std::string FIRST_DUMP = "[ bundleName: com.a version: 2 preVersion: 1 appType: internal fileNum: 2 "
                               "appPatchType: hot diffPaths: { /com.a/A.vab.diff, /com.a/B.vab.diff,} "
                               "basePaths: { /system/app/A/A.vab, /system/app/A/B.vab,} appsHashs: { aa, bb,}]";
const std::string SECOND_DUMP = "[ bundleName: com.b version: 7 preVersion: 5 appType: appServiceFwk fileNum: 1 "
                                "appPatchType: cold diffPaths: { /com.b/F.vab,} "
                                "basePaths: { /system/app/appServiceFwk/F/F.vab,} appsHashs: { cc,}]";

// "LEVEL STEP: message" of every line that the tool writes while this lives; all must come from its own source file.
class ToolLog {
public:
    ToolLog()
    {
        TavomendHost::HostLog::SetListener([this](int32_t level, const std::string& line) {
            static const std::regex PREFIXED(R"(\[parse_app_config_tool\.cpp\((\w+)\):[1-9]\d*\] ([^]*))");
            std::smatch parts;
            ASSERT_TRUE(std::regex_search(line, parts, PREFIXED)) << line;
            const char* name = level == KALOG_ERROR ? "E " : level == KALOG_WARN ? "W " : "? ";
            lines_.push_back(name + parts[1].str() + ": " + parts[2].str());
        });
    }
    ~ToolLog() { TavomendHost::HostLog::SetListener(nullptr); }
    ToolLog(const ToolLog&) = delete;
    ToolLog& operator=(const ToolLog&) = delete;
    [[nodiscard]] const Lines& All() const { return lines_; }
    [[nodiscard]] Lines BeforeTheDump() const
    {
        Lines before = lines_;
        before.erase(
            std::find_if(before.begin(), before.end(), [](const auto& line) { return line.rfind("E Dump: ", 0) == 0; }),
            before.end());
        return before;
    }

private:
    Lines lines_;
};

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
    EXPECT_FALSE(tool_.GetPackageInfo().isValid);
    const ToolLog log;
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    EXPECT_TRUE(tool_.GetPackageInfo().isValid);
    ASSERT_EQ(tool_.GetPackageInfo().appsList.size(), 2U);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[0].sequence, 0);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[1].sequence, 1);
    // The dump carries every other field; its format is written by hand above.
    EXPECT_THAT(log.All(), ElementsAre("W ParseTavomendConfig: result: 1", "E Dump: " + PACKAGE_DUMP,
                                       "E Dump: " + FIRST_DUMP, "E Dump: " + SECOND_DUMP));
    EXPECT_EQ(tool_.Dump(), PACKAGE_DUMP + FIRST_DUMP + SECOND_DUMP);
}

TEST_F(ParseAppConfigToolTest, RefusesWithTheStepAndItsMessage)
{
    for (const auto& change : CONFIG_CASES) {
        const std::string text = Changed(GOOD_CONFIG, change.from, change.to);
        const ToolLog log;
        const bool isTaken = *change.problem == '\0';
        EXPECT_EQ(Parse(text), isTaken) << change.to;
        EXPECT_EQ(tool_.GetPackageInfo().isValid, isTaken) << change.to;
        const std::string refusal = change.refusal;
        Lines expected;
        if (!refusal.empty() && refusal != "silent") {
            expected.push_back("E " + refusal);
        }
        expected.push_back(std::string("W ParseTavomendConfig: result: ") + (refusal.empty() ? "1" : "0"));
        EXPECT_EQ(log.BeforeTheDump(), expected) << change.to;
        EXPECT_EQ(log.All().size(), expected.size() + 1 + tool_.GetPackageInfo().appsList.size()) << change.to;
    }
}

TEST_F(ParseAppConfigToolTest, AnUnreadableDocumentKeepsTheEarlierRecord)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    for (const char* text : {"", "{", "[1,", "{} trailing"}) {
        const ToolLog log;
        EXPECT_FALSE(Parse(text)) << text;
        EXPECT_THAT(log.All(), ElementsAre("E ParseTavomendConfig: cJSON root is NULL.")) << text;
        EXPECT_TRUE(tool_.GetPackageInfo().isValid);
        EXPECT_EQ(tool_.Dump(), PACKAGE_DUMP + FIRST_DUMP + SECOND_DUMP);
    }
    std::filesystem::remove(Formats::CONFIG_PATH);
    EXPECT_FALSE(tool_.ParseTavomendConfig());
}

TEST_F(ParseAppConfigToolTest, AParseStartsAnewAndHoldsWhatWasRead)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    // Without a product the members around it are read, the applications are not.
    EXPECT_FALSE(Parse(R"({"space": 9, "version": "v", "pre_version": "p", "action": 2, "need_reboot": true})"));
    EXPECT_EQ(tool_.Dump(), " space: 9 version: v preVersion: p productModel: {} productVersion: {}  action: 2 "
                            "dataKept: 1 needReboot: 1 appsSize: -1 appsList: {");
    EXPECT_FALSE(Parse("{}"));
    EXPECT_EQ(tool_.Dump(), " space: -1 version:  preVersion:  productModel: {} productVersion: {}  action: -1 "
                            "dataKept: 1 needReboot: 0 appsSize: -1 appsList: {");
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"("size": 2, )", "")));
    EXPECT_EQ(tool_.GetPackageInfo().appsSize, -1);
    // A failing application is the last of the list.
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"(["com.a", "com.b"])", R"(["com.a", "com.x", "com.b"])")));
    ASSERT_EQ(tool_.GetPackageInfo().appsList.size(), 2U);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[1].sequence, 1);
    EXPECT_EQ(tool_.Dump().substr(PACKAGE_DUMP.size() + FIRST_DUMP.size()),
              "[ bundleName:  version: 0 preVersion: 0 appType:  fileNum: -1 appPatchType:  diffPaths: {} "
              "basePaths: {} appsHashs: {}]");
    EXPECT_FALSE(Parse(Changed(GOOD_CONFIG, R"("/com.a/B.vab.diff")", "5")));
    ASSERT_EQ(tool_.GetPackageInfo().appsList.size(), 1U);
    EXPECT_EQ(tool_.GetPackageInfo().appsList[0].diffPaths, Lines{"/com.a/A.vab.diff"});
    EXPECT_TRUE(tool_.GetPackageInfo().appsList[0].appsHashs.empty());
}

TEST_F(ParseAppConfigToolTest, ResetGoesBackToTheFirstValues)
{
    ASSERT_TRUE(Parse(GOOD_CONFIG));
    auto& info = tool_.GetPackageInfo();
    info.Reset();
    EXPECT_FALSE(info.isValid);
    EXPECT_TRUE(info.dataKept);
    EXPECT_TRUE(info.appsList.empty());
    EXPECT_EQ(info.space, -1);
}
} // namespace
} // namespace ORVX::TavomendTest
