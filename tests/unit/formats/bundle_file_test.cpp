#include <gtest/gtest.h>

#include "formats/bundle_file.h"
#include "tests/support/device_fixture.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using Formats::BundleFile;

class PackageReaderTest : public DeviceTest {};

TEST_F(PackageReaderTest, ReadsAWholePackage)
{
    WriteFile("/data/a.vab", Vab{"com.a", 7, "feature", R"("keepAlive": true, "bundleType": "appServiceFwk")"}.Bytes());
    std::string error;
    const auto manifest = BundleFile::Read("/data/a.vab", error);
    ASSERT_TRUE(manifest) << error;
    EXPECT_EQ(manifest->bundleName, "com.a");
    EXPECT_EQ(manifest->versionCode, 7U);
    EXPECT_EQ(manifest->versionName, "7.0");
    EXPECT_EQ(manifest->module, "feature");
    EXPECT_TRUE(manifest->keepAlive);
    EXPECT_FALSE(manifest->singleton);
    EXPECT_EQ(manifest->bundleType, "appServiceFwk");
}

TEST_F(PackageReaderTest, RefusesAPackageCutAnywhereOrDamaged)
{
    const std::string whole = Vab{"com.a", 1, "entry", "", std::string(500, 'p')}.Bytes();
    std::string error;
    for (size_t length = 0; length < whole.size(); length += 7) {
        WriteFile("/data/a.vab", whole.substr(0, length));
        EXPECT_FALSE(BundleFile::Read("/data/a.vab", error)) << length;
    }
    std::string damaged = whole;
    const size_t data = damaged.find("code") + 4;
    damaged[data + 3] = static_cast<char>(damaged[data + 3] ^ 0x10);
    WriteFile("/data/a.vab", damaged);
    EXPECT_FALSE(BundleFile::Read("/data/a.vab", error));
    EXPECT_EQ(error, "/data/a.vab is damaged in its member code");
}

TEST_F(PackageReaderTest, JudgesManifests)
{
    struct Case {
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"[]", "manifest.json is not a JSON object"},
        {"{} x", "manifest.json is not a JSON object"},
        {R"({"versionCode": 1})", "manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')"},
        {R"({"bundleName": "../x", "versionCode": 1})",
         "manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')"},
        {R"({"bundleName": "a", "versionCode": 1.5})", "manifest.json has no \"versionCode\" from 0 to 2147483647"},
        {R"({"bundleName": "a", "versionCode": 2147483648})",
         "manifest.json has no \"versionCode\" from 0 to 2147483647"},
        {R"({"bundleName": "a", "versionCode": 1, "singleton": 1})",
         "manifest.json: \"singleton\" is neither true nor false"},
        {R"({"bundleName": "a", "versionCode": 1, "module": "a/b"})",
         "manifest.json has no usable \"module\" (letters, digits, '.', '_', '-')"},
        {R"({"bundleName": "a", "versionCode": 1, "bundleType": "x"})",
         "manifest.json: \"bundleType\" is neither \"app\" nor \"appServiceFwk\""},
    };
    for (const auto& bad : cases) {
        std::string error;
        EXPECT_FALSE(BundleFile::ParseManifest(bad.text, error)) << bad.text;
        EXPECT_EQ(error, bad.error);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
