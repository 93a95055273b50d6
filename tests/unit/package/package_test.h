// A device with a key, and the recipe of a package of one hot application, com.a.
#ifndef TAVOMEND_TESTS_UNIT_PACKAGE_PACKAGE_TEST_H
#define TAVOMEND_TESTS_UNIT_PACKAGE_PACKAGE_TEST_H

#include <string>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/recorded_codes.h"

namespace ORVX::TavomendTest {
constexpr const char* BASE = "/system/app/Demo/Demo.vab";
constexpr const char* OLD = "the old content";
constexpr const char* NEW = "the new content";
constexpr const char* HOT_DIR = "/data/update/tavomend/app/temp/hot/internal/com.a/";

class PackageTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        WriteFile(BASE, OLD);
        recipe_ = PatchRecipe();
        recipe_.apps.emplace_back();
        recipe_.apps[0].bundleName = "com.a";
        recipe_.apps[0].files.push_back({BASE, OLD, NEW, false, "", ""});
    }
    void Deliver() { PatchBuilder(recipe_).Deliver(key_); }
    // Adds com.b, like com.a but for its versions 8 and, before, 5.
    void AddSecondApp()
    {
        recipe_.apps.push_back(recipe_.apps[0]);
        recipe_.apps[1].bundleName = "com.b";
        recipe_.apps[1].version = 8;
        recipe_.apps[1].preVersion = 5;
    }

    const SigningKey key_;
    PatchRecipe recipe_;
};
} // namespace ORVX::TavomendTest

#endif
