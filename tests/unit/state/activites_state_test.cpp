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

TEST_F(ActivitesStateTest, InstallsWhatIsRebuilt)
{
    DeliverAndRebuild();
    const LogCapture log;
    EXPECT_TRUE(Switch({"com.a", "com.b"}));
    ASSERT_EQ(service_->installs.size(), 2U);
    EXPECT_EQ(service_->installs[0].first, std::vector<std::string>{ProductOf("com.a")});
    EXPECT_EQ(service_->installs[1].second, 100);
    EXPECT_EQ(client_->reports, (Reports{{0, 2}, {1, 2}}));
    EXPECT_EQ(TakeCodes(), "");
    EXPECT_FALSE(log.Contains("eventManager is nullptr")); // no scan was waited for
}

TEST_F(ActivitesStateTest, WhatFailsIsTriedOnceMoreAfterTheScan)
{
    DeliverAndRebuild();
    service_->onInstall = [](int count, const auto& receiver) {
        return FakeBundleMgr::Verdict(receiver, count == 1 ? 1002 : 0, "");
    };
    ScanWhenWaitedFor([] { return true; });
    EXPECT_TRUE(Switch({"com.a", "com.b"}));
    ASSERT_EQ(service_->installs.size(), 3U);
    EXPECT_EQ(service_->installs[2].first, std::vector<std::string>{ProductOf("com.a")});
    EXPECT_EQ(TakeCodes(), "(0|810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}, {1, 2}}));
}

TEST_F(ActivitesStateTest, ASecondFailureIsFinalAndCountsForTheProgress)
{
    DeliverAndRebuild();
    service_->onInstall = [](int count, const auto& receiver) {
        return FakeBundleMgr::Verdict(receiver, count == 2 ? 0 : 1002, "");
    };
    {
        const LogCapture log;
        EXPECT_FALSE(Switch({"com.a", "com.b"})); // the scan does not finish
        EXPECT_TRUE(log.Contains("checkBundleScanReady failed"));
    }
    EXPECT_EQ(service_->installs.size(), 2U);
    EXPECT_EQ(TakeCodes(), "(0|810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}}));

    Packages()->RenameBakToPackage();
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    const LogCapture log;
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_FALSE(log.Contains("eventManager is nullptr")); // taken once
    EXPECT_TRUE(log.Contains("retry install app end, errAppCount: 1"));
    EXPECT_EQ(TakeCodes(), "(0|811,1002,810,1002)");
    EXPECT_EQ(client_->reports, (Reports{{0, 2}, {1, 1}})); // the second that is counted in this process
    DelayedSingleton<ProgressManager>::GetInstance()->progressCallback_ = nullptr;
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_TRUE(log.Contains("AddInstalledVabNum, progressCallback_ is null"));
}

TEST_F(ActivitesStateTest, RecordsThatFailedAreNotInstalled)
{
    PatchRecipe recipe = Enable({"com.gone", "com.wrong", "com.fixed"});
    recipe.apps[0].isMemberMissing = true;
    recipe.apps[1].files[0].hash = Sha256Hex("other");
    Deliver(recipe);
    service_->Add("com.gone", 5);
    service_->Add("com.wrong", 5);
    service_->Add("com.fixed", 8);
    EXPECT_FALSE(Packages()->ExactAPatch("com.gone"));
    EXPECT_TRUE(Packages()->ExactAPatch("com.wrong"));
    EXPECT_FALSE(Packages()->RestoreAPatch("com.wrong"));
    static_cast<void>(TakeCodes());
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    for (const auto& [name, codes] :
         std::map<std::string, std::string>{{"com.none", "(101|811,230,812,230,230,810,230,812,230,230)"},
                                            {"com.gone", "(0|811,813,810,813)"},
                                            {"com.wrong", "(1|811,822,810,822)"},
                                            {"com.fixed", ""}}) {
        EXPECT_EQ(Switch({name}), name == "com.fixed") << name;
        EXPECT_EQ(TakeCodes(), codes) << name;
    }
    EXPECT_TRUE(service_->installs.empty());
}

TEST_F(ActivitesStateTest, ThePackageBecomesTheBackupWhateverHappened)
{
    DeliverAndRebuild();
    WriteFile(Formats::BACKUP_PACKAGE_PATH, "of the patch before");
    WriteFile(Formats::BACKUP_SIGN_PATH, "of the patch before");
    const std::string delivered = ReadFile(Formats::PACKAGE_PATH);
    WriteFile(std::string(Formats::COLD_WORK_DIR) + "/left", "x");
    std::vector<std::string> order;
    TavomendHost::HostLog::SetListener([&](int32_t, const std::string& line) {
        for (const char* step :
             {"clear hot dir", "remove app_tavomend_config.json file", "ClearPackage Backup success"}) {
            if (line.find(step) != std::string::npos) {
                order.emplace_back(step);
            }
        }
    });
    service_->bundles.clear();
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_EQ(order, (std::vector<std::string>{"clear hot dir", "remove app_tavomend_config.json file",
                                               "ClearPackage Backup success"}));
    EXPECT_EQ(ReadFile(Formats::BACKUP_PACKAGE_PATH), delivered);
    EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
    EXPECT_FALSE(Exists(Formats::HOT_WORK_DIR));
    EXPECT_TRUE(Exists(Formats::COLD_WORK_DIR)); // the platform takes these up

    static_cast<void>(TakeCodes());
    DelayedSingleton<TvpkPackageManager>::DestroyInstance();
    EXPECT_FALSE(ActivitesState().SwitchState(ACTIVITES, {"com.a"})); // no gate passed, no action to read
    EXPECT_EQ(TakeCodes(), "(102|70)");
}

TEST_F(ActivitesStateTest, ARevokeAsksForNothingInTheInitStageOrWithoutAStatus)
{
    DeliverRevoke();
    const LogCapture log;
    EXPECT_TRUE(Switch({}));
    EXPECT_TRUE(log.Contains("do revoke package task end, skip"));

    for (const char* place : {Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH}) {
        std::filesystem::remove(place);
    }
    WriteStatus();
    EXPECT_FALSE(Switch({"com.a"}));
    EXPECT_TRUE(log.Contains("backup package not exist"));
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    DelayedSingleton<TvpkBakPackageManager>::DestroyInstance();
    const size_t checks = log.Count("VerifyTvpkBakFile failed");
    EXPECT_TRUE(ActivitesState().SwitchState(ACTIVITES, {}));
    EXPECT_TRUE(log.Contains("stage is init, skip"));
    EXPECT_EQ(log.Count("VerifyTvpkBakFile failed"), checks); // the backup was not looked at
    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    EXPECT_FALSE(ActivitesState().SwitchState(ACTIVITES, {}));
    EXPECT_TRUE(log.Contains("bundleNameList is null"));
}

TEST_F(ActivitesStateTest, ARevokeIsOverWhenAllAreBack)
{
    struct Case {
        uint32_t before; // com.b's version; 0: removed by its user
        uint32_t after;  // what the scan, or waiting for it, makes of it
        bool isFinished; // the scan; its end is waited for and not insisted on
        bool isOver;
        bool isWaitedFor;
    };
    const Case cases[] = {
        {5, 5, false, true, false}, {8, 5, true, true, true}, {8, 5, false, true, true},
        {8, 8, true, false, true},  {0, 0, true, true, true}, {8, 0, true, true, true},
    };
    for (const Case& revoke : cases) {
        SCOPED_TRACE(testing::Message() << revoke.before << " " << revoke.after << " " << revoke.isFinished);
        SetUp();
        DeliverRevoke();
        WriteStatus();
        service_->bundles.clear();
        service_->Add("com.a", 5);
        if (revoke.before != 0) {
            service_->Add("com.b", revoke.before);
        }
        bool isWaitedFor = false;
        ScanWhenWaitedFor([&] {
            isWaitedFor = true;
            service_->bundles.erase({"com.b", 100});
            if (revoke.after != 0) {
                service_->Add("com.b", revoke.after);
            }
            return revoke.isFinished;
        });
        EXPECT_EQ(Switch({}), revoke.isOver);
        EXPECT_EQ(isWaitedFor, revoke.isWaitedFor);
        EXPECT_EQ(TakeCodes(), "");
    }
}
} // namespace
} // namespace ORVX::TavomendTest
