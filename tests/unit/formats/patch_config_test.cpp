#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "formats/patch_config.h"
#include "formats/patch_config_parser.h"
#include "formats/patch_paths.h"
#include "handles/json.h"
#include "tests/unit/formats/config_cases.h"

namespace ORVX::Formats {
namespace {
using TavomendTest::Changed;
using TavomendTest::GOOD_CONFIG;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

// The steps one by one, as the engine's tool has them.
class Steps : public PatchConfigParser {
public:
    using PatchConfigParser::GetAppType;
    using PatchConfigParser::ParseAppInfo;
    using PatchConfigParser::ParseApps;
    using PatchConfigParser::ParseProduct;
    Texts refusals;

private:
    void OnRefusal(const char* step, const char* message) override
    {
        refusals.push_back(std::string(step) + ": " + message);
    }
};

TEST(PatchConfigTest, TellsPeopleAndLogsWhichRuleIsBroken)
{
    for (const auto& change : TavomendTest::CONFIG_CASES) {
        const std::string text = Changed(GOOD_CONFIG, change.from, change.to);
        const bool isGood = *change.problem == '\0';
        Texts problems;
        const auto config = ParsePatchConfig(text, problems);
        EXPECT_EQ(config.has_value(), isGood) << change.to;
        EXPECT_EQ(problems, isGood ? Texts{} : Texts{change.problem}) << change.to;
        EXPECT_TRUE(!config || config->isValid);
        const std::string refusal = change.refusal;
        const Handles::JsonRoot root(cJSON_Parse(text.c_str()));
        Steps steps;
        EXPECT_EQ(steps.ParseConfig(root.get()), refusal.empty()) << change.to;
        EXPECT_EQ(steps.refusals, refusal.empty() || refusal == "silent" ? Texts{} : Texts{refusal}) << change.to;
    }
}

TEST(PatchConfigTest, NamesEveryBrokenRuleBehindWhatIsKnown)
{
    std::string text = Changed(GOOD_CONFIG, R"("space": 1)", R"("space": -5)");
    text = Changed(text, R"("version": 2)", R"("version": 0)");
    text = Changed(text, R"("file_num": 1)", R"("file_num": -1)");
    Texts problems = {"known"};
    EXPECT_FALSE(ParsePatchConfig(text, problems));
    EXPECT_THAT(problems,
                ElementsAre("known", "\"space\" is not above 0", "com.a: its version is not above its pre-version",
                            "com.b: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number"));
    const std::string nul = Changed(GOOD_CONFIG, "patch07", "patch\\u000007"); // would be read as patch
    EXPECT_TRUE(ParsePatchConfig(Changed(GOOD_CONFIG, "patch07", R"(patch\\u000007)"), problems)); // a backslash
    for (const std::string& bad : {std::string("{"), nul, GOOD_CONFIG + std::string(1, '\0') + "{}"}) {
        problems.clear();
        EXPECT_FALSE(ParsePatchConfig(bad, problems));
        EXPECT_THAT(problems, ElementsAre("the configuration is not JSON, or has a NUL in it"));
    }
}

TEST(PatchConfigTest, WritesWhatItHasRead)
{
    Texts problems;
    // Upper-case hashes, empty paths and versions beyond an int are odd, and the engine takes them.
    std::string text = Changed(GOOD_CONFIG, R"("aa", "bb")", R"("AA", "")");
    text = Changed(text, R"("version": 7)", R"("version": -7)");
    text = Changed(text, R"("file_num": 2)", R"("file_num": 2.0)");
    const auto config = ParsePatchConfig(text, problems);
    ASSERT_TRUE(config) << problems.front();
    EXPECT_EQ(config->appsList[1].version, 4294967289U);
    // In the order that the format's page shows.
    EXPECT_EQ(nlohmann::ordered_json::parse(WritePatchConfig(*config)),
              nlohmann::ordered_json::parse(Changed(text, R"("file_num": 2.0)", R"("file_num": 2)")));
    auto shared = *config;
    shared.appsList[0].appType = "shared_bundles";
    EXPECT_EQ(nlohmann::json::parse(WritePatchConfig(shared))["apps"]["com.a"]["app_type"], 1);
}

TEST(PatchConfigTest, StepsRefuseWhatIsNotThere)
{
    Steps steps;
    AppInfo info;
    info.bundleName = "com.a";
    EXPECT_FALSE(steps.ParseProduct(nullptr));
    EXPECT_FALSE(steps.ParseApps(nullptr));
    EXPECT_FALSE(steps.ParseAppInfo(nullptr, "com.a", info));
    EXPECT_FALSE(steps.GetAppType(nullptr, info));
    EXPECT_THAT(steps.refusals, ElementsAre("ParseProduct: root is null", "ParseApps: root is null",
                                            "ParseAppInfo: ParseAppInfo failed", "GetAppType: root is null"));
    EXPECT_FALSE(steps.ParseConfig(nullptr));
    EXPECT_THAT(steps.Problems(),
                ElementsAre("the configuration is not JSON, or has a NUL in it")); // the earlier ones are gone
}

TEST(PatchPathsTest, TakesPathsApart)
{
    EXPECT_EQ(DirPartOf("b.vab") + DirPartOf("/a/b.vab"), "/a/");
    EXPECT_EQ(StemOf("b.vab.diff"), "b.vab");
    EXPECT_EQ(StemOf("/a/b"), "b");
    EXPECT_EQ(RebuiltPathOf("/d/x.diff", "/b/.profile"), "/d/.profile");
    EXPECT_EQ(SuffixOf("/a/b"), "");
    EXPECT_EQ(MemberNameOf("/com.a/A.vab"), "com.a/A.vab");
    EXPECT_EQ(MemberNameOf("com.a/A.vab"), std::nullopt);
}

TEST(PatchPathsTest, PutsFilesBelowTheWorkDirectory)
{
    AppInfo app;
    app.appPatchType = "cold";
    app.appType = "appServiceFwk";
    app.diffPaths = {"/entry/F.vab.diff", "/entry/Demo.vab.diff", "/Whole.vab", "/lone.diff"};
    app.basePaths = {"/system/app/appServiceFwk/F/Frame.vab", "/system/app/Demo/Demo.vab", "/system/app/W/Old.vab"};
    const struct {
        const char* extracted;
        const char* product;
    } cases[] = {{"cold/appServiceFwk/entry/F.vab.diff", "cold/appServiceFwk/entry/Frame.vab"},
                 {"cold/internal/entry/Demo.vab.diff", "cold/internal/entry/Demo.vab"},
                 {"cold/internal/Whole.vab", "cold/internal/Whole.vab"},
                 {"cold/internal/lone.diff", "cold/internal/"}}; // no base path
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(ExtractedPathOf(app, i), std::string("/data/update/tavomend/app/temp/") + cases[i].extracted);
        EXPECT_EQ(ProductPathOf(app, i), std::string("/data/update/tavomend/app/temp/") + cases[i].product);
    }
    EXPECT_EQ(ExtractedPathOf(app, 4) + ProductPathOf(app, 4), ""); // no file at all: nothing aborts
    app.appType = "internal";                                       // of an ordinary application all files are
    app.appPatchType = "hot";
    EXPECT_EQ(ExtractedPathOf(app, 0), "/data/update/tavomend/app/temp/hot/internal/entry/F.vab.diff");
}
} // namespace
} // namespace ORVX::Formats
