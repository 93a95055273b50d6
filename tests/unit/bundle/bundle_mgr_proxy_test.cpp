#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
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

TEST_F(BundleMgrProxyTest, RefusesBadInputWithoutAskingTheService)
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
}

TEST_F(BundleMgrProxyTest, WithoutAServiceThereIsNothingToAsk)
{
    const LogCapture log;
    RegisterBundleMgr(nullptr);
    EXPECT_FALSE(Install());
    EXPECT_EQ(error_, 819);
    EXPECT_TRUE(log.Contains("get systemAbility is null"));
    BundleInfo info;
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

TEST_F(BundleMgrProxyTest, PassesVerdictsOn)
{
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

TEST_F(BundleMgrProxyTest, QueriesTellNoServiceFromNo)
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
}

TEST(InstallerCallbackTest, OnlyTheFirstVerdictCounts)
{
    const LogCapture log;
    const auto callback = MakeSptr<InstallerCallback>(600);
    std::thread service([callback] {
        callback->OnStatusNotify(40);
        callback->SetStreamInstallId(1);
        callback->OnFinished(3, "first");
    });
    service.join();
    EXPECT_TRUE(log.Contains("on OnStatusNotify is 40"));
    EXPECT_TRUE(log.Contains("on finished result is 3, first"));
    BundleDeathRecipient(callback).OnRemoteDied(nullptr);
    EXPECT_TRUE(log.Contains("resultCodeSignal_ is set"));
    EXPECT_EQ(callback->GetResultCode(), 3);
    EXPECT_EQ(callback->GetResultMsg(), "first");
    BundleDeathRecipient(nullptr).OnRemoteDied(nullptr);
    EXPECT_TRUE(log.Contains("statusReceiver_ is nullptr"));
}

TEST(InstallerCallbackTest, NoVerdictInTimeHasACodeOfItsOwn)
{
    InstallerCallback callback(0);
    EXPECT_EQ(callback.GetResultCode(), 9568392);
    EXPECT_EQ(callback.GetResultMsg(), "");
}

// Verdict and death notice at one moment: a promise is never set twice, and code and message belong together.
TEST(InstallerCallbackTest, AVerdictMayRaceWithADeath)
{
    for (int round = 0; round < 500; ++round) {
        const auto callback = MakeSptr<InstallerCallback>(600);
        std::thread death([callback] { BundleDeathRecipient(callback).OnRemoteDied(nullptr); });
        callback->OnFinished(3, "verdict");
        death.join();
        const int32_t code = callback->GetResultCode();
        EXPECT_EQ(callback->GetResultMsg(), code == 3 ? "verdict" : "[BUNDLER_MANAGER_SERVICE_UNAVAILABLE]");
    }
}

class ProgressClient : public CoreEngineCallbackStub {
public:
    void OnProgressChanged(int32_t installed, int32_t total) override
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            reports.emplace_back(installed, total);
        }
        if (onProgress) {
            onProgress();
        }
    }
    void OnStatusChanged(int32_t /*status*/, const std::string& /*message*/) override {}
    std::vector<std::pair<int32_t, int32_t>> reports;
    std::function<void()> onProgress;

private:
    std::mutex mutex_;
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

TEST(ProgressManagerTest, TheClientMayComeBackAndThreadsLoseNoCount)
{
    constexpr int32_t EACH = 200;
    const auto client = MakeSptr<ProgressClient>();
    ProgressManager progress;
    client->onProgress = [&progress] { progress.SetTotal(2 * EACH); };
    progress.progressCallback_ = client;
    progress.SetTotal(2 * EACH);
    const auto count = [&progress] {
        for (int32_t i = 0; i < EACH; ++i) {
            progress.AddInstalled();
        }
    };
    std::thread other(count);
    count();
    other.join();
    std::sort(client->reports.begin(), client->reports.end());
    ASSERT_EQ(client->reports.size(), size_t{2 * EACH});
    for (int32_t i = 0; i < 2 * EACH; ++i) {
        EXPECT_EQ(client->reports[static_cast<size_t>(i)], (std::pair{i, 2 * EACH}));
    }
}

// Looks into the slot when it goes, as a client may that asks the engine then.
class LastLook : public ProgressClient {
public:
    explicit LastLook(CallbackSlot& slot) : slot_(slot) {}
    ~LastLook() override { isGone = slot_ == nullptr; }
    static bool isGone;

private:
    CallbackSlot& slot_;
};
bool LastLook::isGone = false;

TEST(CallbackSlotTest, ComparesAndClearsInOneStep)
{
    CallbackSlot slot;
    EXPECT_TRUE(slot == nullptr);
    EXPECT_FALSE(slot != nullptr);
    const auto first = MakeSptr<ProgressClient>();
    const auto second = MakeSptr<ProgressClient>();
    slot = first;
    EXPECT_TRUE(slot == first && slot != second && slot != nullptr);
    EXPECT_FALSE(slot == second || slot != first || slot == nullptr);
    EXPECT_FALSE(slot.ClearIf(second));
    EXPECT_EQ(slot.Get(), sptr<ICoreEngineCallback>(first));
    EXPECT_TRUE(slot.ClearIf(first));
    EXPECT_FALSE(slot.ClearIf(first));
    EXPECT_EQ(slot.Get(), nullptr);

    slot = MakeSptr<LastLook>(slot);
    slot = nullptr;
    EXPECT_TRUE(LastLook::isGone);
    LastLook::isGone = false;
    slot = MakeSptr<LastLook>(slot);
    EXPECT_FALSE(LastLook::isGone);
    // The argument is the last reference but the slot's own, and goes when the slot is clear.
    EXPECT_TRUE(slot.ClearIf(slot.Get()));
    EXPECT_TRUE(LastLook::isGone);
}

TEST(CallbackSlotTest, ThreadsMayChangeItBesideReports)
{
    CallbackSlot slot;
    std::atomic<int> changers{0};
    const auto keeps = MakeSptr<ProgressClient>();
    const auto change = [&] {
        for (int i = 0; i < 20000; ++i) {
            slot = MakeSptr<ProgressClient>();
            static_cast<void>(slot.ClearIf(keeps));
            slot = nullptr;
        }
        ++changers;
    };
    std::thread changer(change);
    std::thread otherChanger(change);
    while (changers != 2) {
        if (const auto client = slot.Get()) {
            client->OnProgressChanged(1, 2);
        }
    }
    changer.join();
    otherChanger.join();
    EXPECT_TRUE(slot == nullptr);
}
} // namespace
} // namespace ORVX::TavomendTest
