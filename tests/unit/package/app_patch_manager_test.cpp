#include <gtest/gtest.h>

#include "package/app_patch_manager.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/host_log.h"
#include "ports/host/host_platform.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/unit/package/package_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using Infos = std::map<std::string, PatchStatusCode>;

// com.a, from version 1 to 2, and com.b, from 5 to 8; a service without applications and the users 100 and 101.
class AppPatchManagerTest : public PackageTest {
protected:
    void SetUp() override
    {
        PackageTest::SetUp();
        std::string error;
        ASSERT_TRUE(TavomendHost::HostPlatform::InitDevice(error)) << error;
        ASSERT_TRUE(TavomendHost::HostPlatform::Start(ServiceStart::ATTACH, error)->AddUser(101, error)) << error;
        MakeProcessFresh(); // and no event has been published
        RegisterBundleMgr(service_);
        AddSecondApp();
        Deliver();
        manager_ = MakeSptr<AppPatchManager>();
    }
    // The delivered package becomes the one in force.
    static void MakeBackup() { DelayedSingleton<TvpkPackageManager>::GetInstance()->RenamePackageToBak(); }
    // Calls once, when a line with this text is logged for the first time.
    static void OnLine(const std::string& text, std::function<void()> call)
    {
        auto isCalled = std::make_shared<bool>(false);
        TavomendHost::HostLog::SetListener([=](int32_t, const std::string& line) {
            if (!*isCalled && line.find(text) != std::string::npos) {
                *isCalled = true;
                call();
            }
        });
    }

    const sptr<FakeBundleMgr> service_ = MakeSptr<FakeBundleMgr>();
    sptr<AppPatchManager> manager_;
};

TEST_F(AppPatchManagerTest, RevokedApplicationsAreAskedAgainAfterTheScan)
{
    MakeBackup();
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.b"]})");
    service_->Add("com.a", 1);
    service_->Add("com.b", 8);
    DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::milliseconds(0));
    Infos infos;
    EXPECT_EQ(manager_->GetTavomendInfo(infos), 0); // the scan does not finish
    EXPECT_EQ(infos, (Infos{{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_NOT_FIXED}}));
    // The scan brings com.b back to the version before the patch while it is waited for.
    const auto other = MakeSptr<AppPatchManager>();
    OnLine("eventManager is nullptr", [this] {
        service_->Add("com.b", 5);
        CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    });
    DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::seconds(1));
    EXPECT_EQ(other->GetTavomendInfo(infos), 0);
    EXPECT_EQ(infos, (Infos{{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_FIXED}}));
    std::map<std::string, uint32_t> targets;
    EXPECT_TRUE(other->GetTestData(targets));
    EXPECT_EQ(targets, (std::map<std::string, uint32_t>{{"com.a", 2}, {"com.b", 5}}));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
}

TEST_F(AppPatchManagerTest, PassesOnToThePackageManager)
{
    EXPECT_EQ(manager_->PreconditionCheck(), 1);
    MakeBackup();
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", 5]})");
    Infos infos;
    EXPECT_EQ(manager_->GetTavomendInfo(infos), -1);
    EXPECT_TRUE(manager_->IsBackupPackageExist()); // and not where it was borrowed to
    for (const int32_t stage : {RUNNING_STAGE_INIT, RUNNING_STAGE_SA}) {
        WriteFile(Formats::RECOVER_LIST_PATH, "{}");
        SysUtils::SetRunningStage(stage);
        manager_->RenameRevokeFileToBak();
        EXPECT_EQ(Exists(Formats::RECOVER_LIST_PATH), stage == RUNNING_STAGE_INIT);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
