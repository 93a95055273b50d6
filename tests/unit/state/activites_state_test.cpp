#include <gtest/gtest.h>

#include "ports/host/host_log.h"
#include "state/activites_state.h"
#include "tests/unit/state/state_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

class ProgressClient : public CoreEngineCallbackStub {
public:
    void OnProgressChanged(int32_t installed, int32_t total) override { reports.emplace_back(installed, total); }
    void OnStatusChanged(int32_t /*status*/, const std::string& /*message*/) override {}

    std::vector<std::pair<int32_t, int32_t>> reports;
};

class ActivitesStateTest : public StateTest {
protected:
    using Reports = std::vector<std::pair<int32_t, int32_t>>;

    void SetUp() override
    {
        StateTest::SetUp();
        DelayedSingleton<ProgressManager>::GetInstance()->progressCallback_ = sptr<ICoreEngineCallback>(client_);
        state_ = std::make_unique<ActivitesState>();
        DelayedSingleton<EventManager>::GetInstance()->SetLimitUnit(std::chrono::milliseconds(0));
    }
    void TearDown() override { TavomendHost::HostLog::SetListener(nullptr); }
    // The package of com.a and com.b, with their files rebuilt; both run version 5.
    void DeliverAndRebuild()
    {
        Deliver(Enable({"com.a", "com.b"}));
        for (const char* name : {"com.a", "com.b"}) {
            ASSERT_TRUE(Packages()->ExactAPatch(name) && Packages()->RestoreAPatch(name));
            service_->Add(name, 5);
        }
    }
    bool Switch(const std::vector<std::string>& names) { return state_->SwitchState(ACTIVITES, names); }
    // Calls at the moment when the scan is first waited for; the scan finishes then if the call says so.
    static void ScanWhenWaitedFor(std::function<bool()> change)
    {
        TavomendHost::HostLog::SetListener([change = std::move(change)](int32_t, const std::string& line) {
            if (line.find("eventManager is nullptr") != std::string::npos && change()) {
                CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
            }
        });
    }

    const sptr<ProgressClient> client_ = MakeSptr<ProgressClient>();
    std::unique_ptr<ActivitesState> state_;
};

TEST_F(ActivitesStateTest, WhatFailsIsTriedOnceMoreAfterTheScan)
{
    DeliverAndRebuild();
    service_->onInstall = [](int count, const auto& receiver) {
        return FakeBundleMgr::Verdict(receiver, count == 1 ? 1002 : 0, "");
    };
    ScanWhenWaitedFor([] { return true; });
    EXPECT_TRUE(Switch({"com.a", "com.b"}));
    ASSERT_EQ(service_->installs.size(), 3U);
    for (const size_t install : {0, 2}) {
        EXPECT_EQ(service_->installs[install].first, std::vector<std::string>{ProductOf("com.a")});
    }
    EXPECT_EQ(service_->installs[1].second, 100);
    EXPECT_EQ(TakeCodes(), "(0|810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}, {1, 2}}));
}

TEST_F(ActivitesStateTest, ASecondFailureIsFinalAndCountsForTheProgress)
{
    DeliverAndRebuild();
    WriteFile(std::string(Formats::COLD_WORK_DIR) + "/left", "x");
    service_->onInstall = [](int count, const auto& receiver) {
        return FakeBundleMgr::Verdict(receiver, count == 2 ? 0 : 1002, "");
    };
    EXPECT_FALSE(Switch({"com.a", "com.b"})); // the scan does not finish
    EXPECT_EQ(service_->installs.size(), 2U);
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
    EXPECT_FALSE(Exists(Formats::HOT_WORK_DIR));
    EXPECT_TRUE(Exists(Formats::COLD_WORK_DIR)); // the platform takes it up
    EXPECT_EQ(TakeCodes(), "(0|810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}}));

    Packages()->RenameBakToPackage(); // whatever happened, it has become the backup
    EXPECT_TRUE(Packages()->IsPackageExist());
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_EQ(TakeCodes(), "(0|811,1002,810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}, {1, 1}})); // the second that is counted in this process
    EXPECT_FALSE(Switch({"com.none"}));
    EXPECT_EQ(TakeCodes(), "(101|811,230,812,230,230,810,230,812,230,230)");
}

TEST_F(ActivitesStateTest, OnlyWhatWasPreparedIsInstalled)
{
    EXPECT_FALSE(Switch({"com.none"})); // no package has passed the gate
    EXPECT_EQ(TakeCodes(), "(102|70)");
    PatchRecipe recipe = Enable({"com.none", "com.bad", "com.done"});
    recipe.apps[0].isMemberMissing = true;
    recipe.apps[1].files[0].hash = std::string(64, '0');
    service_->Add("com.done", 8);
    Deliver(recipe);
    for (const char* name : {"com.none", "com.bad", "com.done"}) {
        static_cast<void>(Packages()->ExactAPatch(name) && Packages()->RestoreAPatch(name));
    }
    TakeCodes();
    const LogCapture log;
    EXPECT_FALSE(Switch({"com.none", "com.bad", "com.done"}));
    EXPECT_EQ(TakeCodes(), "(1|810,822)(0|810,813)");
    EXPECT_TRUE(log.Contains("app is exact failed") && log.Contains("app is restore failed"));
    EXPECT_TRUE(log.Contains("app is fix, skip"));
    EXPECT_TRUE(service_->installs.empty());
    EXPECT_EQ(client_->reports, (Reports{{0, 3}}));
}

TEST_F(ActivitesStateTest, AProductThatWasSwappedAfterItsRebuildIsNotInstalled)
{
    DeliverAndRebuild();
    Packages()->Reset(); // and asked by another process than the one that rebuilt it
    WriteFile(ProductOf("com.b"), "unsigned");
    service_->onInstall = [](int, const auto& receiver) { return FakeBundleMgr::Verdict(receiver, 0, ""); };
    EXPECT_FALSE(Switch({"com.a", "com.b"}));
    ASSERT_EQ(service_->installs.size(), 1U);
    EXPECT_EQ(service_->installs[0].first, std::vector<std::string>{ProductOf("com.a")});
    EXPECT_EQ(TakeCodes(), "(1|810,640)");
    EXPECT_TRUE(Switch({"com.b"})); // it went with the hot work directory: the service sees for itself
    EXPECT_EQ(service_->installs.size(), 2U);
}

TEST_F(ActivitesStateTest, ARevokeAsksForNothingInTheInitStageOrWithoutAStatus)
{
    DeliverRevoke();
    const LogCapture log;
    EXPECT_TRUE(Switch({}));
    EXPECT_TRUE(log.Contains("do revoke package task end, skip"));
    std::filesystem::remove(Formats::BACKUP_SIGN_PATH);
    WriteStatus();
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_TRUE(log.Contains("backup package not exist"));
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    DelayedSingleton<TvpkBakPackageManager>::DestroyInstance();
    EXPECT_TRUE(ActivitesState().SwitchState(ACTIVITES, {}));
    EXPECT_FALSE(log.Contains("VerifyTvpkBakFile failed")); // the backup was not looked at
    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    EXPECT_FALSE(ActivitesState().SwitchState(ACTIVITES, {}));
    EXPECT_TRUE(log.Contains("bundleNameList is null"));
}

TEST_F(ActivitesStateTest, ARevokeIsOverWhenAllAreBack)
{
    struct Case {
        uint32_t before; // com.b's version; 0: removed by its user
        uint32_t after;  // what waiting for the scan makes of it, which need not finish
        bool isOver;
        bool isWaitedFor;
    };
    const Case cases[] = {
        {5, 5, true, false},
        {8, 5, true, true},
        {8, 8, false, true},
        {0, 0, true, true},
    };
    for (const Case& revoke : cases) {
        SCOPED_TRACE(testing::Message() << revoke.before << " " << revoke.after);
        SetUp();
        DeliverRevoke();
        WriteStatus();
        service_->bundles.clear();
        service_->Add("com.a", 5);
        const auto put = [this](uint32_t version) {
            if (version != 0) {
                service_->Add("com.b", version);
            }
        };
        put(revoke.before);
        bool isWaitedFor = false;
        ScanWhenWaitedFor([&] {
            isWaitedFor = true;
            put(revoke.after);
            return false;
        });
        EXPECT_EQ(Switch({}), revoke.isOver);
        EXPECT_EQ(isWaitedFor, revoke.isWaitedFor);
        EXPECT_EQ(TakeCodes(), "");
    }
}
} // namespace
} // namespace ORVX::TavomendTest
