// A device with a key, accounts 100 and a bundle service that tests can steer, and fresh packages.
#ifndef TAVOMEND_TESTS_UNIT_STATE_STATE_TEST_H
#define TAVOMEND_TESTS_UNIT_STATE_STATE_TEST_H

#include <string>
#include <vector>

#include "formats/device_paths.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/sys_utils.h"
#include "platform/utility/tavomend_status_record.h"
#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/patch_builder.h"
#include "tests/support/recorded_codes.h"

namespace ORVX::TavomendTest {
class StateTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::string error;
        ASSERT_TRUE(TavomendHost::HostPlatform::InitDevice(error)) << error;
        RegisterBundleMgr(service_);
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        WriteFile(BASE, "old");
    }
    static std::shared_ptr<TavomendEngine::TvpkPackageManager> Packages()
    {
        return TavomendEngine::DelayedSingleton<TavomendEngine::TvpkPackageManager>::GetInstance();
    }
    // A package of these hot applications, from version 5 to 8, rebuilt from "old" to "new".
    static PatchRecipe Enable(const std::vector<std::string>& names)
    {
        PatchRecipe recipe;
        for (const std::string& name : names) {
            recipe.apps.emplace_back();
            recipe.apps.back().bundleName = name;
            recipe.apps.back().version = 8;
            recipe.apps.back().preVersion = 5;
            recipe.apps.back().files.push_back({BASE, "old", "new", false, "", ""});
        }
        return recipe;
    }
    void Deliver(const PatchRecipe& recipe)
    {
        PatchBuilder(recipe).Deliver(key_);
        ASSERT_TRUE(Packages()->PreconditionCheck());
    }
    // Puts the backup of a patch of com.a and com.b and a revoke package on the device, with the gate passed.
    void DeliverRevoke()
    {
        PatchBuilder(Enable({"com.a", "com.b"})).Deliver(key_);
        Packages()->RenamePackageToBak();
        PatchRecipe revoke;
        revoke.action = 2;
        Deliver(revoke);
    }
    // Something was in progress.
    static void WriteStatus()
    {
        TavomendEngine::TavomendStatusRecord record;
        record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        ASSERT_TRUE(record.SetStatus("patch01", "activites", "1|1:34"));
    }
    static std::string ProductOf(const std::string& name)
    {
        return std::string(Formats::HOT_WORK_DIR) + "/internal/" + name + "/X.vab";
    }

    static constexpr const char* BASE = "/system/app/X/X.vab";
    const SigningKey key_;
    const sptr<FakeBundleMgr> service_ = MakeSptr<FakeBundleMgr>();
};
} // namespace ORVX::TavomendTest

#endif
