#include <gtest/gtest.h>

#include "formats/patch_config.h"
#include "formats/zip_archive.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/zip_builder.h"

namespace ORVX::Formats {
namespace {
TavomendTest::PatchRecipe Recipe()
{
    TavomendTest::PatchRecipe recipe;
    TavomendTest::PatchApp app;
    app.bundleName = "com.a";
    TavomendTest::PatchFile file;
    file.base = "/system/app/A/App.vab";
    app.files = {file};
    recipe.apps = {app};
    return recipe;
}

TEST(PatchConfigTest, ReadsAndWritesTheSame)
{
    std::vector<std::string> problems;
    const auto config = ParsePatchConfig(TavomendTest::PatchBuilder(Recipe()).Config(), problems);
    ASSERT_TRUE(config) << problems.front();
    const auto again = ParsePatchConfig(WritePatchConfig(*config), problems);
    ASSERT_TRUE(again) << problems.front();
    EXPECT_EQ(WritePatchConfig(*again), WritePatchConfig(*config));
    const ConfigApp& app = again->apps[0];
    EXPECT_EQ(DevicePathOf(app, app.files[0]), "/data/update/tavomend/app/temp/hot/internal/com.a/App.vab.diff");
    EXPECT_EQ(ProductPathOf(app, app.files[0]), "/data/update/tavomend/app/temp/hot/internal/com.a/App.vab");
}

TEST(PatchConfigTest, NamesEveryProblem)
{
    auto recipe = Recipe();
    recipe.space = 0;
    recipe.models = R"(["one", "two"])";
    recipe.apps[0].version = 1;
    recipe.apps[0].patchType = "warm";
    recipe.apps[0].appType = 1;
    std::vector<std::string> problems;
    EXPECT_FALSE(ParsePatchConfig(TavomendTest::PatchBuilder(recipe).Config(), problems));
    EXPECT_EQ(problems, (std::vector<std::string>{"com.a: its version is not above its pre-version",
                                                  "com.a: \"app_patch_type\" is neither \"hot\" nor \"cold\"",
                                                  "com.a: \"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)",
                                                  "\"space\" is not above 0",
                                                  "product: \"model\" and \"version\" differ in length"}));
    problems.clear();
    EXPECT_FALSE(ParsePatchConfig("[1]", problems));
    EXPECT_EQ(problems, std::vector<std::string>{"the configuration is not a JSON object"});
}

class PackageArchiveTest : public TavomendTest::DeviceTest {};

TEST_F(PackageArchiveTest, TellsADamagedMemberFromAMissingOne)
{
    std::string bytes = TavomendTest::ZipBuilder().Add("good", "good").Add("bad", std::string(99, 'b'), 0).Build();
    bytes[bytes.find("bbb")] = 'x';
    TavomendTest::WriteFile("/tmp/a.zip", bytes);
    std::string error;
    const auto archive = ZipArchive::Open("/tmp/a.zip", error);
    ASSERT_TRUE(archive) << error;
    EXPECT_EQ(archive->ReadMember("good", 10, error), "good");
    EXPECT_FALSE(archive->ReadMember("good", 3, error)); // larger than allowed
    EXPECT_FALSE(archive->ReadMember("none", 10, error));
    EXPECT_EQ(error, "/tmp/a.zip has no member none");
    EXPECT_FALSE(archive->ExtractMember("bad", "/tmp/out/bad", error));
    EXPECT_EQ(error, "/tmp/a.zip: the member bad is damaged");
    EXPECT_TRUE(TavomendTest::ListTree("/tmp/out").empty());
    EXPECT_FALSE(archive->CheckWhole(error));
}
} // namespace
} // namespace ORVX::Formats
