#include <gtest/gtest.h>

#include "formats/bundle_file.h"
#include "tests/support/device_fixture.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using Formats::BundleFile;

class BundleFileTest : public DeviceTest {
protected:
    // The reason why a file with these bytes is refused; empty when it is not.
    static std::string Refusal(const std::string& bytes)
    {
        WriteFile("/data/a.vab", bytes);
        std::string error;
        return BundleFile::Read("/data/a.vab", error) ? "" : error;
    }
};

TEST_F(BundleFileTest, ReadsAWholeFileOnly)
{
    const std::string whole =
        Vab{"com.a", 7, "feature", R"("keepAlive": true, "bundleType": "appServiceFwk")", std::string(500, 'p')}
            .Bytes();
    WriteFile("/data/a.vab", whole);
    std::string error;
    const auto manifest = BundleFile::Read("/data/a.vab", error);
    ASSERT_TRUE(manifest) << error;
    EXPECT_EQ(manifest->bundleName, "com.a");
    EXPECT_EQ(manifest->versionCode, 7U);
    EXPECT_EQ(manifest->versionName, "7.0");
    EXPECT_EQ(manifest->module, "feature");
    EXPECT_TRUE(manifest->keepAlive && !manifest->singleton);
    EXPECT_EQ(manifest->bundleType, "appServiceFwk");
    // The zeros that an archive ends with may be missing: the reader takes them for read.
    for (size_t length = 0; length <= whole.find_last_not_of('\0'); length += 7) {
        EXPECT_NE(Refusal(whole.substr(0, length)), "") << length;
    }
    std::string damaged = whole;
    damaged.replace(damaged.find("code") + 7, 1, "?");
    EXPECT_EQ(Refusal(damaged), "/data/a.vab: the member code is damaged");
}

TEST_F(BundleFileTest, WantsOneManifestOfAReasonableSize)
{
    const std::string good = R"({"bundleName": "com.a", "versionCode": 1})";
    const std::string filler(65536 - good.size(), ' ');
    EXPECT_EQ(Refusal(ZipBuilder().Add("manifest.json", good + filler).Build()), "");
    EXPECT_EQ(Refusal(ZipBuilder().Add("manifest.json", good + filler + " ").Build()),
              "/data/a.vab: the member manifest.json is larger than 65536 bytes");
    EXPECT_EQ(Refusal(ZipBuilder().Add("dir/manifest.json", good).Build()),
              "/data/a.vab has no manifest.json at its top");
    EXPECT_EQ(Refusal(ZipBuilder().Add("manifest.json", good).Add("manifest.json", good).Build()),
              "/data/a.vab has more than one manifest.json");
}

TEST_F(BundleFileTest, FillsInWhatAManifestLeavesOut)
{
    std::string error;
    const std::string name(199, 'n');
    const auto manifest = BundleFile::ParseManifest(
        R"({"bundleName": ")" + name + R"(", "versionCode": 2147483647, "note": "\\u0000"})", error);
    ASSERT_TRUE(manifest) << error;
    EXPECT_EQ(manifest->bundleName, name);
    EXPECT_EQ(manifest->versionName, "2147483647");
    EXPECT_EQ(manifest->module, "entry");
    EXPECT_FALSE(manifest->keepAlive || manifest->singleton);
    EXPECT_EQ(manifest->bundleType, "app");
    const auto zero = BundleFile::ParseManifest(R"({"bundleName": "a", "versionCode": 0, "singleton": true})", error);
    EXPECT_TRUE(zero && zero->singleton && zero->versionCode == 0) << error;
}

TEST_F(BundleFileTest, JudgesManifests)
{
    const std::string noObject = "manifest.json is not a JSON object, or has a NUL in it";
    const std::string noName = "manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')";
    const std::string noCode = "manifest.json has no \"versionCode\" from 0 to 2147483647";
    const std::string noModule = "manifest.json has no usable \"module\" (letters, digits, '.', '_', '-')";
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"{} x", noObject},
        {R"({"bundleName": "com.a\u0000x", "versionCode": 1})", noObject},
        {R"({"bundleName": "", "versionCode": 1})", noName},
        {R"({"bundleName": ".a", "versionCode": 1})", noName},
        {R"({"bundleName": ")" + std::string(200, 'n') + R"(", "versionCode": 1})", noName},
        {R"({"bundleName": "a"})", noCode},
        {R"({"bundleName": "a", "versionCode": -1})", noCode},
        {R"({"bundleName": "a", "versionCode": 1.5})", noCode},
        {R"({"bundleName": "a", "versionCode": 2147483648})", noCode},
        {R"({"bundleName": "a", "versionCode": 1, "versionName": ""})", "manifest.json: \"versionName\" is not a text"},
        {R"({"bundleName": "a", "versionCode": 1, "module": 1})", "manifest.json: \"module\" is not a text"},
        {R"({"bundleName": "a", "versionCode": 1, "bundleType": {}})", "manifest.json: \"bundleType\" is not a text"},
        {R"({"bundleName": "a", "versionCode": 1, "keepAlive": "true"})",
         "manifest.json: \"keepAlive\" is neither true nor false"},
        {R"({"bundleName": "a", "versionCode": 1, "singleton": 1})",
         "manifest.json: \"singleton\" is neither true nor false"},
        {R"({"bundleName": "a", "versionCode": 1, "module": "a/b"})", noModule},
        {R"({"bundleName": "a", "versionCode": 1, "bundleType": "x"})",
         "manifest.json: \"bundleType\" is neither \"app\" nor \"appServiceFwk\""},
    };
    for (const auto& bad : cases) {
        std::string error;
        EXPECT_FALSE(BundleFile::ParseManifest(bad.text, error)) << bad.text;
        EXPECT_EQ(error, bad.error) << bad.text;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
