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

TEST_F(AppPatchManagerTest, TellsWhichApplicationsRunTheirTarget)
{
    MakeBackup();
    const auto before = ListTree(Formats::PACKAGE_DIR);
    service_->Add("com.a", 2, 101); // for the second user only
    service_->Add("com.b", 5);
    const LogCapture log;
    Infos infos;
    EXPECT_EQ(manager_->GetTavomendInfo(infos), 0);
    EXPECT_EQ(infos, (Infos{{"com.a", PATCH_FIXED}, {"com.b", PATCH_NOT_FIXED}}));
    EXPECT_TRUE(log.Contains("targetVersion: 8, currentVersion: 5"));
    EXPECT_FALSE(log.Contains("eventManager is nullptr")); // without a recover list nothing is waited for
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR), before);
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));

    // One more that nobody has, and a service that does not answer.
    service_->bundles.erase({"com.b", 100});
    EXPECT_FALSE(manager_->CheckAppFixRes("com.b", 0));
    EXPECT_TRUE(log.Contains("app is uninstall, bms may be installing"));
    EXPECT_FALSE(manager_->CheckAppFixRes("", 0));
    EXPECT_TRUE(log.Contains("get app versionCode failed"));
    EXPECT_EQ(TakeCodes(), "");
}

TEST_F(AppPatchManagerTest, RevokedApplicationsAreAskedAgainAfterTheScan)
{
    MakeBackup();
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.b"]})");
    service_->Add("com.a", 1);
    service_->Add("com.b", 8);
    DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::milliseconds(0));
    Infos infos;
    {
        const LogCapture log;
        EXPECT_EQ(manager_->GetTavomendInfo(infos), 0);
        EXPECT_TRUE(log.Contains("checkBundleScanReady failed"));
        EXPECT_EQ(infos, (Infos{{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_NOT_FIXED}}));
        EXPECT_EQ(log.Count("bundleName: com.b"), 1U); // no second look
    }
    // The scan brings com.b back to the version before the patch while it is waited for.
    const auto other = MakeSptr<AppPatchManager>();
    OnLine("eventManager is nullptr", [this] {
        service_->Add("com.b", 5);
        CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    });
    DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::seconds(1));
    EXPECT_EQ(other->GetTavomendInfo(infos), 0);
    EXPECT_EQ(infos, (Infos{{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_FIXED}}));
    const LogCapture log;
    EXPECT_TRUE(other->CheckBundleScanReady());
    EXPECT_FALSE(log.Contains("eventManager is nullptr")); // taken once
    std::map<std::string, uint32_t> targets;
    EXPECT_TRUE(other->GetTestData(targets));
    EXPECT_EQ(targets, (std::map<std::string, uint32_t>{{"com.a", 2}, {"com.b", 5}}));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
}

TEST_F(AppPatchManagerTest, AFailedQueryLeavesThePackageWhereItWas)
{
    Infos infos;
    EXPECT_EQ(manager_->GetTavomendInfo(infos), 0); // delivered: read where it is
    const auto delivered = ListTree(Formats::PACKAGE_DIR);
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    MakeBackup();
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", 5]})");
    const LogCapture log;
    EXPECT_EQ(manager_->GetTavomendInfo(infos), -1);
    EXPECT_TRUE(log.Contains("get recover bundleName list failed"));
    EXPECT_TRUE(log.Contains("GetAllAppFixTargetVersion failed"));
    EXPECT_TRUE(manager_->IsBackupPackageExist());
    std::map<std::string, uint32_t> targets;
    EXPECT_FALSE(manager_->GetTestData(targets));
    EXPECT_TRUE(manager_->IsBackupPackageExist());

    // Half a delivery: the backup stays, and there is no package to read.
    MakeProcessFresh();
    WriteFile(Formats::PACKAGE_PATH, "half");
    const auto fresh = MakeSptr<AppPatchManager>();
    infos.clear();
    EXPECT_EQ(fresh->GetTavomendInfo(infos), -1);
    EXPECT_TRUE(infos.empty());
    EXPECT_TRUE(fresh->IsBackupPackageExist());
    EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), "half");
    EXPECT_EQ(TakeCodes(), "(100|0)");
}

TEST_F(AppPatchManagerTest, PassesOnToThePackageManager)
{
    EXPECT_EQ(manager_->PreconditionCheck(), 1);
    EXPECT_EQ(manager_->GetTavomendVersion(), "patch01");
    EXPECT_TRUE(manager_->IsPackageExist());
    std::map<std::string, std::string> names;
    EXPECT_TRUE(manager_->GetAllBundleNameList(names));
    EXPECT_EQ(names, (std::map<std::string, std::string>{{"com.a", "hot"}, {"com.b", "hot"}}));
    const auto packages = DelayedSingleton<TvpkPackageManager>::GetInstance();
    ASSERT_TRUE(packages->ExactAPatch("com.a"));
    manager_->Reset();
    TvpkPackageManager::APatchInfo info;
    ASSERT_TRUE(packages->GetAPatchInfo("com.a", info));
    EXPECT_EQ(info.state, APP_MUST_PATCH);
    WriteFile(std::string(Formats::COLD_WORK_DIR) + "/a", "x");
    manager_->ClearAppCache();
    EXPECT_FALSE(Exists(Formats::HOT_WORK_DIR));
    EXPECT_FALSE(Exists(Formats::COLD_WORK_DIR));
    manager_->ClearPackage();
    EXPECT_TRUE(ListTree(Formats::PACKAGE_DIR).empty());
    EXPECT_FALSE(manager_->IsPackageExist());
    EXPECT_FALSE(manager_->IsBackupPackageExist());

    WriteFile(Formats::RECOVER_LIST_PATH, "{}");
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    manager_->RenameRevokeFileToBak();
    EXPECT_TRUE(Exists(Formats::RECOVER_LIST_PATH));
    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    manager_->RenameRevokeFileToBak();
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));

    DelayedSingleton<TvpkPackageManager>::DestroyInstance();
    EXPECT_EQ(MakeSptr<AppPatchManager>()->PreconditionCheck(), 0);
    EXPECT_EQ(TakeCodes(), "(100|0)");
}
} // namespace
} // namespace ORVX::TavomendTest
