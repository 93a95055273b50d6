#include <gtest/gtest.h>
#include <thread>

#include "bundle/bundle_death_recipient.h"
#include "bundle/bundle_mgr_proxy.h"
#include "bundle/installer_callback.h"
#include "bundle/progress_manager.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

class BundleMgrProxyTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        RegisterBundleMgr(service_);
    }
    bool Install(const std::vector<std::string>& paths = {"/data/a.vab"}, int32_t userId = 100)
    {
        return proxy_.InstallApp(paths, userId, error_);
    }

    const sptr<FakeBundleMgr> service_ = MakeSptr<FakeBundleMgr>();
    BundleMgrProxy proxy_;
    int32_t error_ = 0;
};

TEST_F(BundleMgrProxyTest, RefusesBadInputAndHasNobodyToAskWithoutAService)
{
    const LogCapture log;
    EXPECT_FALSE(Install({}));
    EXPECT_EQ(error_, 805);
    EXPECT_TRUE(log.Contains("bundleFilePaths is empty"));
    EXPECT_FALSE(Install({"/data/a.vab"}, -1));
    EXPECT_EQ(error_, 818);
    EXPECT_TRUE(log.Contains("userId is failed"));
    EXPECT_TRUE(service_->installs.empty());
    BundleInfo info;
    EXPECT_EQ(proxy_.GetBundleInfo("", 0, info, 100), -1);
    EXPECT_EQ(proxy_.GetBundleInfo("com.a", 0, info, -1), -1);
    EXPECT_EQ(proxy_.GetDependentBundleInfo("", info), -1);

    RegisterBundleMgr(nullptr);
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 819);
    EXPECT_TRUE(log.Contains("get systemAbility is null"));
    EXPECT_EQ(proxy_.GetBundleInfo("com.a", 0, info, 100), -1);
    RegisterBundleMgr(MakeSptr<InstallerCallback>(0)); // a service of another kind
    EXPECT_EQ(proxy_.GetDependentBundleInfo("com.a", info), -1);
    EXPECT_TRUE(log.Contains("iface_cast get null"));
}

TEST_F(BundleMgrProxyTest, IsLookedUpOnceAndReachesTheServicesNextLife)
{
    const auto found = GetBundleMgr();
    ASSERT_NE(found, nullptr);
    const LogCapture log;
    service_->NotifyDeath();
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 820);
    const auto next = MakeSptr<FakeBundleMgr>();
    next->Add("com.a", 8);
    RegisterBundleMgr(next);
    BundleInfo info;
    EXPECT_EQ(proxy_.GetBundleInfo("com.a", 0, info, 100), 0);
    EXPECT_EQ(info.versionCode, 8U);
    EXPECT_TRUE(Install());
    RegisterBundleMgr(nullptr);
    EXPECT_EQ(GetBundleMgr(), found);
    EXPECT_FALSE(log.Contains("get systemAbility is null"));
}

TEST_F(BundleMgrProxyTest, PassesVerdictsAndAnswersOn)
{
    service_->Add("com.a", 3);
    service_->dependent["com.fwk"].versionCode = 4;
    BundleInfo info;
    EXPECT_EQ(proxy_.GetBundleInfo("com.a", 0, info, 100), 0);
    EXPECT_EQ(info.versionCode, 3U);
    EXPECT_EQ(proxy_.GetBundleInfo("com.a", 0, info, 101), -2);
    EXPECT_EQ(proxy_.GetDependentBundleInfo("com.fwk", info), 0);
    EXPECT_EQ(info.versionCode, 4U);
    EXPECT_EQ(proxy_.GetDependentBundleInfo("com.a", info), -2);

    error_ = 7;
    EXPECT_TRUE(Install({"/data/a.vab", "/data/b.vab"}, 0));
    EXPECT_EQ(error_, 7); // untouched
    EXPECT_TRUE(Install({"/data/a.vab", "/data/b.vab"}, 7));
    EXPECT_EQ(service_->installs.back(),
              (std::pair<std::vector<std::string>, int32_t>{{"/data/a.vab", "/data/b.vab"}, 7}));

    const LogCapture log;
    service_->onInstall = [](int, const auto& receiver) { return FakeBundleMgr::Verdict(receiver, 55, "no room"); };
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 55);
    EXPECT_TRUE(log.Contains("install failed, result: 55, msg: no room"));
    EXPECT_TRUE(log.Contains("inner install app is failed"));

    service_->onInstall = [](int, const auto&) { return 66; };
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 66);
    EXPECT_TRUE(log.Contains("invoke install failed"));

    service_->installer = nullptr;
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 820);
}

TEST_F(BundleMgrProxyTest, AServiceThatDiesEndsTheWait)
{
    service_->onInstall = [this](int, const auto&) {
        std::thread([installer = service_->installer] { installer->NotifyDeath(); }).detach();
        return 0;
    };
    const LogCapture log;
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 9568391);
    EXPECT_TRUE(log.Contains("BundleManagerService is died"));
    EXPECT_TRUE(log.Contains("install failed, result: 9568391, msg: [BUNDLER_MANAGER_SERVICE_UNAVAILABLE]"));

    // Dead before the install was asked for, and accepting it all the same: no wait for a verdict that never comes.
    service_->onInstall = [](int, const auto&) { return 0; };
    error_ = 0;
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 9568391);
}

TEST(InstallerCallbackTest, OnlyTheFirstVerdictCounts)
{
    const LogCapture log;
    const auto callback = MakeSptr<InstallerCallback>(600);
    callback->OnStatusNotify(40);
    callback->OnFinished(3, "first");
    EXPECT_TRUE(log.Contains("on OnStatusNotify is 40"));
    EXPECT_TRUE(log.Contains("on finished result is 3, first"));
    BundleDeathRecipient(callback).OnRemoteDied(nullptr);
    EXPECT_TRUE(log.Contains("resultCodeSignal_ is set"));
    EXPECT_EQ(callback->GetResultCode(), 3);
    EXPECT_EQ(callback->GetResultMsg(), "first");
    BundleDeathRecipient(nullptr).OnRemoteDied(nullptr);
    EXPECT_TRUE(log.Contains("statusReceiver_ is nullptr"));
    InstallerCallback none(0); // no verdict in time has a code of its own
    EXPECT_EQ(none.GetResultCode(), 9568392);
    EXPECT_EQ(none.GetResultMsg(), "");
}

class ProgressClient : public CoreEngineCallbackStub {
public:
    void OnProgressChanged(int32_t installed, int32_t total) override { reports.emplace_back(installed, total); }
    void OnStatusChanged(int32_t /*status*/, const std::string& /*message*/) override {}
    std::vector<std::pair<int32_t, int32_t>> reports;
};
using Reports = std::vector<std::pair<int32_t, int32_t>>;

TEST(ProgressManagerTest, CountsFromZeroUpToTheTotal)
{
    const LogCapture log;
    const auto client = MakeSptr<ProgressClient>();
    ProgressManager progress;
    progress.progressCallback_ = client;
    progress.AddInstalled(); // no total yet: -1 is not below -1
    EXPECT_TRUE(client->reports.empty());
    EXPECT_TRUE(log.Contains("installed: 0, total: -1"));

    ProgressManager fresh;
    fresh.SetTotal(3);
    fresh.AddInstalled(); // counted without anybody to tell
    fresh.progressCallback_ = client;
    for (int i = 0; i < 4; ++i) {
        fresh.AddInstalled();
    }
    EXPECT_EQ(client->reports, (Reports{{1, 3}, {2, 3}, {3, 3}}));
    EXPECT_TRUE(log.Contains("installed: 4, total: 3"));
    fresh.SetTotal(6); // a second run counts on
    fresh.AddInstalled();
    EXPECT_EQ(client->reports.back(), (std::pair{5, 6}));
}

} // namespace
} // namespace ORVX::TavomendTest
