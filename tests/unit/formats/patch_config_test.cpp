#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "formats/patch_config.h"
#include "formats/patch_config_parser.h"
#include "formats/patch_paths.h"
#include "tests/unit/formats/config_cases.h"

namespace ORVX::Formats {
namespace {
using TavomendTest::Changed;
using TavomendTest::GOOD_CONFIG;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

TEST(PatchConfigTest, TellsPeopleWhichRuleIsBroken)
{
    for (const auto& change : TavomendTest::CONFIG_CASES) {
        Texts problems;
        const auto config = ParsePatchConfig(Changed(GOOD_CONFIG, change.from, change.to), problems);
        EXPECT_EQ(config.has_value(), *change.problem == '\0') << change.to;
        EXPECT_EQ(problems, *change.problem == '\0' ? Texts{} : Texts{change.problem}) << change.to;
        EXPECT_TRUE(!config || config->isValid);
    }
}

TEST(PatchConfigTest, NamesEveryBrokenRuleBehindWhatIsKnown)
{
    std::string text = Changed(GOOD_CONFIG, R"("space": 1)", R"("space": -5)");
    text = Changed(text, R"("m1", )", "");
    text = Changed(text, R"("action": 0)", R"("action": 9)");
    text = Changed(text, R"("size": 2)", R"("size": -2)");
    text = Changed(text, R"("version": 2)", R"("version": 0)");
    text = Changed(text, R"("cold", "app_type": 2)", R"("", "app_type": 1)");
    text = Changed(text, R"("file_num": 1)", R"("file_num": -1)");
    Texts problems = {"known"};
    EXPECT_FALSE(ParsePatchConfig(text, problems));
    EXPECT_THAT(problems,
                ElementsAre("known", "\"space\" is not above 0", "product: \"model\" and \"version\" differ in length",
                            "\"action\" is neither 0, 1 nor 2", "apps: \"size\" is not the number of applications",
                            "com.a: its version is not above its pre-version",
                            "com.b: \"app_patch_type\" is neither \"hot\" nor \"cold\"",
                            "com.b: \"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)",
                            "com.b: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number"));
    for (const auto& [other, problem] :
         {std::pair{"{", "the configuration is not JSON"}, std::pair{"[1]", "\"product\" is not an object"}}) {
        problems.clear();
        EXPECT_FALSE(ParsePatchConfig(other, problems));
        EXPECT_THAT(problems, ElementsAre(problem));
    }
}

TEST(PatchConfigTest, ARevokeNamesNoApplications)
{
    const std::string revoke = R"({"space": 1, "version": "patch08",
        "product": {"model": ["m1"], "version": ["1.0.0"]}, "action": ACTION, "apps": {"size": 0, "list": []}})";
    Texts problems;
    EXPECT_TRUE(ParsePatchConfig(Changed(revoke, "ACTION", "2"), problems));
    EXPECT_TRUE(ParsePatchConfig(Changed(revoke, "ACTION", "1"), problems));
    EXPECT_THAT(problems, IsEmpty());
    EXPECT_FALSE(ParsePatchConfig(Changed(revoke, "ACTION", "0"), problems));
    EXPECT_THAT(problems, ElementsAre("an enabling package names no application"));
}

TEST(PatchConfigTest, WritesWhatItHasRead)
{
    Texts problems;
    // Upper-case hashes, empty paths and versions beyond an int are odd, and the engine takes them.
    std::string text = Changed(GOOD_CONFIG, R"("aa", "bb")", R"("AA", "")");
    text = Changed(text, R"("/com.b/F.vab")", R"("")");
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

// The steps one by one, as the engine's tool has them.
class Steps : public PatchConfigParser {
public:
    using PatchConfigParser::GetAppType;
    using PatchConfigParser::ParseAppInfo;
    using PatchConfigParser::ParseApps;
    using PatchConfigParser::ParseProduct;
    using PatchConfigParser::ValidateAppInfo;
    Texts refusals;

private:
    void OnRefusal(const char* step, const char* message) override
    {
        refusals.push_back(std::string(step) + ": " + message);
    }
};

TEST(PatchConfigTest, StepsRefuseWhatIsNotThere)
{
    Steps steps;
    AppInfo info;
    info.bundleName = "com.a";
    EXPECT_FALSE(steps.ParseProduct(nullptr));
    EXPECT_FALSE(steps.ParseApps(nullptr));
    EXPECT_FALSE(steps.ParseAppInfo(nullptr, "com.a", info));
    EXPECT_FALSE(steps.GetAppType(nullptr, info));
    EXPECT_FALSE(steps.ValidateAppInfo(info));
    EXPECT_THAT(steps.refusals, ElementsAre("ParseProduct: root is null", "ParseApps: root is null",
                                            "ParseAppInfo: ParseAppInfo failed", "GetAppType: root is null"));
    EXPECT_EQ(steps.Problems()[3], "com.a is not an object");
    info.version = 1;
    info.appPatchType = "cold";
    info.appType = "internal";
    info.fileNum = 1;
    info.basePaths = info.diffPaths = info.appsHashs = {"x"};
    EXPECT_TRUE(steps.ValidateAppInfo(info)); // whatever was broken before it
    EXPECT_FALSE(steps.ParseConfig(nullptr));
    EXPECT_THAT(steps.Problems(), ElementsAre("the configuration is not JSON")); // the earlier ones are gone
}

TEST(PatchPathsTest, TakesPathsApart)
{
    struct Case {
        const char* path;
        const char* dir;
        const char* stem; // null: none
        const char* suffix;
    };
    const Case cases[] = {{"/a/b.vab", "/a/", "b", ".vab"},
                          {"b.vab.diff", "", "b.vab", ".diff"},
                          {"/a/.profile", "/a/", nullptr, ".profile"},
                          {"/a.b/c", "/a.b/", nullptr, ".b/c"},
                          {"/a/b", "/a/", "b", ""},
                          {"", "", "", ""},
                          {"/a/b.", "/a/", "b", "."},
                          {".", "", nullptr, "."},
                          {"/a/", "/a/", "", ""},
                          {"/a/bc.d/e.f", "/a/bc.d/", "e", ".f"}};
    for (const auto& path : cases) {
        EXPECT_EQ(DirPartOf(path.path), path.dir) << path.path;
        EXPECT_EQ(StemOf(path.path), path.stem == nullptr ? std::nullopt : std::optional<std::string>(path.stem))
            << path.path;
        EXPECT_EQ(SuffixOf(path.path), path.suffix) << path.path;
    }
    EXPECT_TRUE(IsDifference("/a/b.vab.diff"));
    for (const char* whole : {"/a/b.vab", "/a/diff", "/a/b.diff/c", "/a/b.DIFF", ""}) {
        EXPECT_FALSE(IsDifference(whole)) << whole;
    }
    EXPECT_EQ(MemberNameOf("/com.a/A.vab"), "com.a/A.vab");
    EXPECT_EQ(MemberNameOf("/"), "");
    EXPECT_EQ(MemberNameOf("com.a/A.vab"), std::nullopt);
    EXPECT_EQ(MemberNameOf(""), std::nullopt);
}

TEST(PatchPathsTest, PutsFilesBelowTheWorkDirectory)
{
    AppInfo app;
    app.appPatchType = "cold";
    app.appType = "appServiceFwk";
    app.diffPaths = {"/entry/F.vab.diff", "/entry/Demo.vab.diff", "/Whole.vab", "", "/lone.diff"};
    app.basePaths = {"/system/app/appServiceFwk/F/Frame.vab", "/system/app/Demo/Demo.vab", "/system/app/W/Old.vab",
                     "x"};
    struct Case {
        const char* extracted;
        const char* product;
    };
    const Case cases[] = {
        {"/data/update/tavomend/app/temp/cold/appServiceFwk/entry/F.vab.diff",
         "/data/update/tavomend/app/temp/cold/appServiceFwk/entry/Frame.vab"},
        {"/data/update/tavomend/app/temp/cold/internal/entry/Demo.vab.diff",
         "/data/update/tavomend/app/temp/cold/internal/entry/Demo.vab"},
        {"/data/update/tavomend/app/temp/cold/internal/Whole.vab",
         "/data/update/tavomend/app/temp/cold/internal/Whole.vab"},
        {"/data/update/tavomend/app/temp/cold/internal", "/data/update/tavomend/app/temp/cold/internal"},
        // No base path, and no file at all: nothing aborts.
        {"/data/update/tavomend/app/temp/cold/internal/lone.diff", "/data/update/tavomend/app/temp/cold/internal/"},
        {"", ""}};
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(ExtractedPathOf(app, i), cases[i].extracted);
        EXPECT_EQ(ProductPathOf(app, i), cases[i].product);
    }
    app.appType = "internal"; // of an ordinary application all files are
    app.appPatchType = "hot";
    EXPECT_EQ(ExtractedPathOf(app, 0), "/data/update/tavomend/app/temp/hot/internal/entry/F.vab.diff");
    EXPECT_EQ(RebuiltPathOf("/d/x.diff", "/b/.profile"), "/d/.profile");
    EXPECT_EQ(RebuiltPathOf("x", "b"), "b");
}
} // namespace
} // namespace ORVX::Formats
