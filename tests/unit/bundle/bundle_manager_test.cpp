#include <functional>
#include <gtest/gtest.h>
#include <mutex>

#include "bundle/bundle_manager.h"
#include "ports/host/host_log.h"
#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/recorded_codes.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using TavomendHost::HostPlatform;

// The real account store (user 100), a fake bundle service.
class BundleManagerTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        platform_ = HostPlatform::Start(ServiceStart::ATTACH, error);
        ASSERT_NE(platform_, nullptr) << error;
        RegisterBundleMgr(service_);
        service_->Add("com.a", 2);
        app_.bundleName = "com.a";
        app_.sequence = 4;
        app_.versionCode = 3;
        app_.appPatchType = "hot";
        app_.appType = "internal";
        app_.bundleFilePaths = {"/data/a.vab"};
    }
    std::unique_ptr<HostPlatform> platform_;
    const sptr<FakeBundleMgr> service_ = MakeSptr<FakeBundleMgr>();
    BundleManager manager_;
    BundleManager::AppInfo app_;
};

TEST_F(BundleManagerTest, InstallsAHotApplicationForTheUserWhoHasIt)
{
    EXPECT_EQ(manager_.InstallApp(app_), 0);
    ASSERT_EQ(service_->installs.size(), 1U);
    EXPECT_EQ(service_->installs[0].second, 100);
    service_->bundles[{"com.a", 100}].singleton = true;
    EXPECT_EQ(manager_.InstallApp(app_), 0);
    EXPECT_EQ(service_->installs[1].second, 0);
    EXPECT_EQ(TakeCodes(), "");

    service_->onInstall = [](int, const auto& receiver) { return FakeBundleMgr::Verdict(receiver, 1002, "broken"); };
    EXPECT_EQ(manager_.InstallApp(app_), -1);
    EXPECT_EQ(TakeCodes(), "(4|1002)");
}

TEST_F(BundleManagerTest, JudgesRequestsBeforeInstalling)
{
    struct Case {
        std::function<void(BundleManager::AppInfo&)> change;
        int32_t result;
        const char* codes;
        const char* message;
    };
    const Case cases[] = {
        {[](auto& app) { app.bundleName = ""; }, -1, "(4|805)", "bundleName is empty"},
        {[](auto& app) { app.appPatchType = "warm"; }, -1, "(4|802)", "app patch type faild, value: warm"},
        {[](auto& app) { app.appType = "appServiceFwk"; }, -1, "(4|802)", "app type faild, value: appServiceFwk"},
        {[](auto& app) { app.bundleName = "com.none"; }, -2, "",
         "the app may be to be installed or has been uninstalled"},
        {[](auto& app) { app.bundleFilePaths.clear(); }, -1, "", "bundleFilePaths is empty"},
        {[](auto& app) { app.versionCode = 2; }, 0, "", "versionCode down grade, skip install"},
        {[](auto& app) { app.bundleName = "com.keep"; }, -1, "", "the vab is keepAlive, check versionCode"},
        {[](auto& app) { app.appPatchType = "cold"; }, -1, "(4|816)", "installApp end, bundleName: com.a, result: -1"},
        {[](auto& app) { app.appPatchType = "cold", app.versionCode = 2; }, 0, "",
         "bundleName: com.a, versionCode is 2"},
        {[](auto& app) { app.appPatchType = "cold", app.bundleName = "com.none"; }, -2, "(4|815)",
         "app is currently uninstalled"},
        {[](auto& app) { app.appPatchType = "cold", app.appType = "shared_bundles"; }, -1, "(4|802)",
         "app type faild, value: shared_bundles"},
        {[](auto& app) { app.appPatchType = "cold", app.appType = "appServiceFwk", app.bundleName = "com.fwk"; }, 0, "",
         "bundleName: com.fwk, versionCode is 3"},
    };
    service_->Add("com.keep", 1);
    service_->bundles[{"com.keep", 100}].isKeepAlive = true;
    service_->dependent["com.fwk"].versionCode = 3;
    for (const auto& request : cases) {
        const LogCapture log;
        BundleManager::AppInfo app = app_;
        request.change(app);
        EXPECT_EQ(manager_.InstallApp(app), request.result) << request.message;
        EXPECT_EQ(TakeCodes(), request.codes) << request.message;
        EXPECT_TRUE(log.Contains(request.message)) << request.message;
    }
    EXPECT_TRUE(service_->installs.empty());
}

TEST_F(BundleManagerTest, AStepRefusesWhatItIsNotFor)
{
    EXPECT_EQ(manager_.InstallColdApp(app_), -1);
    EXPECT_EQ(TakeCodes(), "(4|803)");
    app_.appPatchType = "cold";
    EXPECT_EQ(manager_.InstallHotApp(app_), -1);
    EXPECT_EQ(TakeCodes(), "(4|803)");
    app_.versionCode = 2;
    EXPECT_EQ(manager_.InstallAppImpl(app_), 0);
    app_.appType = "appServiceFwk";
    EXPECT_EQ(manager_.InstallColdApp(app_), -2); // an application is no shared service
    EXPECT_EQ(TakeCodes(), "(4|815)");
    EXPECT_TRUE(service_->installs.empty());
}

TEST_F(BundleManagerTest, FindsTheFirstUserWhoHasTheApplication)
{
    std::string error;
    ASSERT_TRUE(platform_->AddUser(101, error)) << error;
    ASSERT_TRUE(platform_->AddUser(102, error)) << error;
    service_->Add("com.b", 5, 101);
    service_->Add("com.b", 6, 102);
    BundleInfo info;
    int32_t user = -1;
    EXPECT_EQ(manager_.GetBundleInfo("com.b", info, user), 0);
    EXPECT_EQ(user, 101);
    uint32_t version = 0;
    EXPECT_EQ(manager_.GetAppVersionCode("com.b", version), 0);
    EXPECT_EQ(version, 5U);
    app_.bundleName = "com.b";
    app_.versionCode = 6;
    EXPECT_EQ(manager_.InstallApp(app_), 0);
    EXPECT_EQ(service_->installs.at(0).second, 101);
    std::vector<int32_t> users = {7};
    EXPECT_TRUE(manager_.GetAllUserId(users));
    EXPECT_EQ(users, (std::vector<int32_t>{7, 100, 101, 102}));

    EXPECT_EQ(manager_.GetBundleInfo("com.none", info, user), -2);
    EXPECT_EQ(manager_.GetBundleInfo("", info, user), -1);
    EXPECT_EQ(manager_.GetAppVersionCode("", version), -1);
    EXPECT_EQ(manager_.GetServiceFwkAppVersionCode("", version), -1);
    EXPECT_EQ(version, 5U);
    EXPECT_EQ(user, 101);
}

TEST_F(BundleManagerTest, WaitsOnceForTheFirstUser)
{
    std::string error;
    ASSERT_TRUE(platform_->RemoveUser(100, error));
    std::once_flag once; // the user comes at the moment when the manager starts to wait
    TavomendHost::HostLog::SetListener([&](int32_t, const std::string& line) {
        if (line.find("eventManager is nullptr") != std::string::npos) {
            std::call_once(once, [&] { EXPECT_TRUE(platform_->AddUser(100, error)); });
        }
    });
    EXPECT_EQ(manager_.InstallApp(app_), 0);
    TavomendHost::HostLog::SetListener(nullptr);
}

TEST_F(BundleManagerTest, FailsClearlyWhenNoUserComes)
{
    std::string error;
    ASSERT_TRUE(platform_->RemoveUser(100, error));
    DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::milliseconds(0));
    const LogCapture log;
    EXPECT_FALSE(manager_.CheckUserAddedReady());
    EXPECT_EQ(manager_.InstallApp(app_), -1);
    EXPECT_TRUE(log.Contains("get system account error, errMsg: 0, userCount: 0"));
    EXPECT_TRUE(log.Contains("get allUserId failed"));
    EXPECT_TRUE(service_->installs.empty());

    platform_.reset(); // a running platform answers from the store that it has opened
    std::filesystem::remove_all("/data/service");
    EXPECT_EQ(manager_.InstallApp(app_), -1);
    EXPECT_TRUE(log.Contains("get system account error, errMsg: 1"));
    EXPECT_EQ(log.Count("eventManager is nullptr"), 1U); // taken once, and no user is waited for now
}
} // namespace
} // namespace ORVX::TavomendTest
