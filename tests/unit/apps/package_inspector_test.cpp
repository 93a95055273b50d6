#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "apps/tvpk/package_inspector.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/zip_builder.h"

namespace ORVX::Tvpk {
namespace {
using TavomendTest::PatchBuilder;
using TavomendTest::SigningKey;
using TavomendTest::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* PACKAGE = "/tmp/app.tvpk";

class PackageInspectorTest : public TavomendTest::DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        TavomendTest::PatchApp app;
        app.bundleName = "com.a";
        TavomendTest::PatchFile file;
        file.base = "/system/app/A/A.vab";
        file.newBytes = "new";
        file.isWhole = true;
        app.files = {file};
        recipe_.apps = {app};
        WriteFile("/tmp/public", key_.PublicPem());
    }
    std::vector<std::string> Verify(const std::string& package)
    {
        WriteFile(PACKAGE, package);
        WriteFile("/tmp/sign", key_.Sign(package));
        return VerifyPackage(PACKAGE, "/tmp/sign", "/tmp/public");
    }
    // Two files of com.a more, which the archive does not have as the configuration names them.
    [[nodiscard]] std::string OddPackage() const
    {
        TavomendTest::PatchRecipe odd = recipe_;
        odd.configText = R"({"space": 1, "version": ")" + std::string("\xff") + R"(", "product": {"model": ["m"],
            "version": ["1.0.0"]}, "action": 1, "apps": {"size": 1, "list": ["com.a"], "com.a": {"version": 2,
            "file_num": 3, "app_patch_type": "hot", "app_type": 0, "base_path": ["", "b", "/c.vab"],
            "diff_path": ["", "com.a/A.vab", "/com.a/A.vab"], "apps_hash": ["", "", "AA"]}}})";
        return PatchBuilder(odd).Package();
    }

    const SigningKey key_;
    TavomendTest::PatchRecipe recipe_;
};

TEST_F(PackageInspectorTest, NamesWhatIsWrong)
{
    EXPECT_THAT(Verify(PatchBuilder(recipe_).Package()), IsEmpty());
    EXPECT_THAT(Verify(OddPackage()),
                ElementsAre("com.a: the archive has no member ", "com.a: the archive has no member com.a/A.vab"));
    EXPECT_THAT(Verify("no archive"), ElementsAre("/tmp/app.tvpk is no zip archive, or its end is missing"));
    EXPECT_THAT(Verify(TavomendTest::ZipBuilder().Add("other", "").Build()),
                ElementsAre("/tmp/app.tvpk has no member app_tavomend_config.json"));
    std::string damaged = TavomendTest::ZipBuilder()
                              .Add("app_tavomend_config.json", PatchBuilder(recipe_).Config())
                              .Add("com.a/A.vab", "neat", 0)
                              .Build();
    damaged[damaged.find("neat")] = 'm';
    EXPECT_THAT(Verify(damaged), ElementsAre("/tmp/app.tvpk: the member com.a/A.vab is damaged"));
    recipe_.space = 0;
    recipe_.apps[0].version = 1;
    EXPECT_THAT(Verify(PatchBuilder(recipe_).Package()),
                ElementsAre("\"space\" is not above 0", "com.a: its version is not above its pre-version"));
    WriteFile("/tmp/sign", "other"); // then nothing of what is inside is looked at
    EXPECT_THAT(VerifyPackage(PACKAGE, "/tmp/sign", "/tmp/public"), ElementsAre("the signature does not verify"));
}

TEST_F(PackageInspectorTest, DescribesWhatIsOdd)
{
    WriteFile(PACKAGE, OddPackage());
    std::string error;
    const auto archive = Formats::ZipArchive::Open(PACKAGE, error);
    ASSERT_TRUE(archive) << error;
    std::vector<std::string> problems;
    const auto config = ReadPackageConfig(*archive, problems);
    ASSERT_TRUE(config) << problems.front();
    const std::string text = DescribePackage(*archive, *config);
    EXPECT_THAT(text, HasSubstr("action 1, needs 1 KiB\nfor m at 1.0.0\n"));
    EXPECT_THAT(text, HasSubstr("missing"));
    EXPECT_THAT(text, HasSubstr("whole")); // "3 /c.vab": the third is there
    const auto json = nlohmann::json::parse(DescribePackageAsJson(*archive, *config));
    EXPECT_EQ(json["configuration"]["version"], "\xef\xbf\xbd"); // U+FFFD
    EXPECT_EQ(json["configuration"]["apps"]["com.a"]["apps_hash"][2], "AA");
    EXPECT_EQ(json["members"][1], (nlohmann::json{{"name", "com.a/A.vab"}, {"size", 3}, {"packedSize", 3}}));
}
} // namespace
} // namespace ORVX::Tvpk
