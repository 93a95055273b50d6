// The facade in one process, with the real platform behind it.
#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "bundle/progress_manager.h"
#include "engine/engine_app_impl.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "platform/utility/tavomend_kalog_wrapper.h"
#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/patch_builder.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using TavomendHost::HostPlatform;
using Infos = std::map<std::string, PatchStatusCode>;

class Client : public CoreEngineCallbackStub {
public:
    void OnProgressChanged(int32_t installed, int32_t total) override
    {
        progress.emplace_back(installed, total);
        onProgress();
    }
    void OnStatusChanged(int32_t status, const std::string& message) override
    {
        statuses.push_back(std::to_string(status) + " " + message);
        onStatus();
    }
    std::vector<std::pair<int32_t, int32_t>> progress;
    std::vector<std::string> statuses;
    std::function<void()> onProgress = [] {};
    std::function<void()> onStatus = [] {};
};

// Two applications at version 1, com.a and com.b; a delivered patch takes them to version 2.
class EngineAppImplTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        recipe_.apps.clear();
        for (const char* name : {"com.a", "com.b"}) {
            const Vab vab{name, 1, "entry", "", std::string("application ") + name};
            recipe_.apps.push_back(HotApp(vab, 2, std::string("/system/app/") + name + "/App.vab"));
            WriteFile(recipe_.apps.back().files[0].base, vab.Bytes());
        }
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
        ASSERT_NE(platform_, nullptr) << error;
        Deliver();
    }
    void Deliver() { PatchBuilder(recipe_).Deliver(key_); }
    // A package that the gate refuses.
    void DeliverUnsigned()
    {
        Deliver();
        WriteFile(Formats::SIGN_PATH, "no signature");
    }
    static void RemovePackage()
    {
        std::filesystem::remove_all(Formats::PACKAGE_DIR);
        std::filesystem::create_directory(Formats::PACKAGE_DIR);
    }
    static std::unique_ptr<TavomendStatusRecord> OpenRecord()
    {
        auto record = std::make_unique<TavomendStatusRecord>();
        record->InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        return record;
    }
    static void WriteRecord(const std::string& version, const std::string& status)
    {
        ASSERT_TRUE(OpenRecord()->SetStatus(version, status, "1|1:34"));
    }
    // The record on disk: "VERSION STATUS".
    [[nodiscard]] static std::string OnDisk()
    {
        std::string version;
        const std::string status = OpenRecord()->GetStatus(version);
        return version + " " + status;
    }
    [[nodiscard]] static std::string Detail() { return OpenRecord()->GetStatusFromFile(); }
    [[nodiscard]] std::vector<uint32_t> Versions() const
    {
        std::vector<uint32_t> versions;
        const auto bundles = platform_->ListBundles().value();
        for (const auto& bundle : bundles) {
            versions.push_back(bundle.versionCode);
        }
        return versions;
    }

    const SigningKey key_;
    PatchRecipe recipe_;
    std::unique_ptr<HostPlatform> platform_;
    const Infos fixed_ = {{"com.a", PATCH_FIXED}, {"com.b", PATCH_FIXED}};
};

TEST_F(EngineAppImplTest, LoadsAppliesAnswersAndRevokes)
{
    EngineAppImpl engine;
    const auto client = MakeSptr<Client>();
    ASSERT_EQ(engine.RegisterCallback(client), 0);
    EXPECT_EQ(engine.RevokeTavomend({}), -2);
    EXPECT_EQ(engine.RevokeTavomend({"com.a"}), -1);
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47;1|0:47");
    EXPECT_TRUE(client->statuses.empty());
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47;1|0:47;1|1:34");
    EXPECT_EQ(client->statuses, std::vector<std::string>{"101 activites"});
    EXPECT_EQ(client->progress, (std::vector<std::pair<int32_t, int32_t>>{{0, 2}, {1, 2}}));
    EXPECT_EQ(Versions(), (std::vector<uint32_t>{2, 2}));
    EXPECT_EQ(engine.GetTavomendVersion(), "patch01");
    EXPECT_EQ(engine.GetTavomendStatus(), "activites");
    EXPECT_EQ(engine.GetTavomendInfo(), fixed_);
    EXPECT_EQ(engine.TestTavomend(), "\"Vab\": \"com.a:2:true,com.b:2:true\"");

    EXPECT_EQ(engine.ApplyTavomend(), 0); // in force already: only reported
    EXPECT_EQ(client->statuses.size(), 2U);
    EXPECT_EQ(engine.RevokeTavomend({"com.a", "com.none"}), -1);
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    EXPECT_EQ(engine.RevokeTavomend({"com.a"}), 0);
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\"]\n}");

    // The next boot's scan brings it back, and it counts as fixed at its version before the patch.
    std::string error;
    platform_.reset();
    platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
    EXPECT_EQ(Versions(), (std::vector<uint32_t>{1, 2}));
    engine.Reset();
    EXPECT_EQ(engine.GetTavomendInfo(), fixed_);

    EXPECT_EQ(engine.ClearTavomend(), 0);
    EXPECT_EQ(engine.GetTavomendStatus(), "idle");
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
}

// Told from another thread, so that a lock that is still held would never be got.
TEST_F(EngineAppImplTest, WhatTheClientIsToldIsDoneAndOnDiskBefore)
{
    EngineAppImpl engine;
    const auto client = MakeSptr<Client>();
    engine.RegisterCallback(client);
    client->onStatus = [&] {
        std::thread([&] {
            EXPECT_EQ(OnDisk(), "patch01 activites");
            EXPECT_EQ(Detail(), "1|0:47;1|1:34");
            EXPECT_TRUE(Exists(Formats::BACKUP_PACKAGE_PATH));
            EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
            EXPECT_EQ(engine.GetTavomendStatus() + engine.GetTavomendVersion(), "activitespatch01");
            EXPECT_EQ(engine.GetTavomendInfo(), fixed_);
        }).join();
    };
    client->onProgress = [&] { EXPECT_EQ(engine.GetTavomendVersion(), "patch01"); };
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    EXPECT_EQ(client->statuses, (std::vector<std::string>{"101 activites", "101 activites"}));
    EXPECT_EQ(EngineAppImpl().GetTavomendStatus(), "activites"); // a new process reads the record
    Deliver();
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47"); // what came before the apply is over
}

TEST_F(EngineAppImplTest, ARefusedPackageIsRemovedByAnApplyAndTheFailureReported)
{
    DeliverUnsigned();
    EngineAppImpl engine;
    const auto client = MakeSptr<Client>();
    engine.RegisterCallback(client);
    const LogCapture log;
    EXPECT_EQ(engine.ApplyTavomend(), -1);
    EXPECT_TRUE(log.Contains("precondition check failed"));
    EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
    EXPECT_EQ(OnDisk(), " activites_failed");
    EXPECT_EQ(Detail(), "1|1(100|20,20):35");
    EXPECT_EQ(client->statuses, std::vector<std::string>{"151 activites_failed"});
    EXPECT_TRUE(client->progress.empty());

    std::filesystem::remove_all(Formats::STATUS_DIR);
    EXPECT_EQ(engine.ApplyTavomend(), -2); // neither package nor backup: nothing is written or told
    EXPECT_EQ(client->statuses.size(), 1U);
    EXPECT_FALSE(Exists(Formats::STATUS_DIR));
}

TEST_F(EngineAppImplTest, WithABackupAloneTheLastOutcomeCounts)
{
    struct Case {
        const char* status;
        int32_t apply;
        int32_t load;
        const char* told;
        const char* statusAfterLoad;
    };
    const Case cases[] = {
        {"activites", 0, 0, "101 activites", "activites"},
        {"activites_failed", -1, -1, "151 activites_failed", "activites_failed"},
        {"ready", -1, -1, "151 activites_failed", "ready_failed"}, // no outcome: tried, and there is no package
    };
    RemovePackage();
    WriteFile(Formats::BACKUP_PACKAGE_PATH, "backup");
    WriteFile(Formats::BACKUP_SIGN_PATH, "signature");
    for (const auto& entry : cases) {
        WriteRecord("patch07", entry.status);
        EngineAppImpl engine;
        const auto client = MakeSptr<Client>();
        engine.RegisterCallback(client);
        EXPECT_EQ(engine.GetTavomendVersion(), "patch07");
        EXPECT_EQ(engine.ApplyTavomend(), entry.apply) << entry.status;
        EXPECT_EQ(client->statuses, std::vector<std::string>{entry.told});

        WriteRecord("patch07", entry.status);
        EngineAppImpl next;
        next.RegisterCallback(client);
        const std::string left = std::string(Formats::COLD_WORK_DIR) + "/left";
        WriteFile(left, "x");
        EXPECT_EQ(next.LoadTavomend(), entry.load) << entry.status;
        EXPECT_EQ(OnDisk(), std::string("patch07 ") + entry.statusAfterLoad);
        EXPECT_FALSE(Exists(left));
        EXPECT_EQ(client->statuses.size(), 1U); // a load tells nobody
    }
}

TEST_F(EngineAppImplTest, ALoadThatFailsOrHasNothingToDoClearsTheWorkDirectories)
{
    EngineAppImpl engine;
    const std::string hot = std::string(Formats::HOT_WORK_DIR) + "/left";
    const std::string cold = std::string(Formats::COLD_WORK_DIR) + "/left";
    const auto leave = [&] {
        WriteFile(hot, "x");
        WriteFile(cold, "x");
    };
    DeliverUnsigned();
    leave();
    EXPECT_EQ(engine.DoLoadTavomend(), -1);
    EXPECT_FALSE(Exists(hot) || Exists(cold));
    EXPECT_FALSE(Exists(Formats::STATUS_DIR) && OnDisk() != " ");
    EXPECT_EQ(engine.LoadTavomend(), -1);
    EXPECT_EQ(OnDisk(), " ready_failed");
    EXPECT_EQ(Detail().substr(Detail().size() - 3), ":48");
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH)); // an apply removes it
    RemovePackage();
    leave();
    WriteRecord("patch07", "ready");
    EXPECT_EQ(engine.LoadTavomend(), -2);
    EXPECT_EQ(OnDisk(), "patch00 idle");
    EXPECT_EQ(Detail(), "");
    EXPECT_FALSE(Exists(hot) || Exists(cold));
}

TEST_F(EngineAppImplTest, CachesLastUntilTheyAreReset)
{
    EngineAppImpl engine;
    const LogCapture log;
    const Infos notFixed = {{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_NOT_FIXED}};
    EXPECT_EQ(engine.GetTavomendInfo(), notFixed); // without a bundle list nothing fits
    EXPECT_TRUE(engine.GetAllBundleNameList());
    EXPECT_EQ(engine.GetTavomendInfo(), notFixed);
    EXPECT_EQ(engine.GetTavomendInfo(), notFixed);
    EXPECT_EQ(log.Count("get TavomendInfo success"), 1U);
    EXPECT_EQ(log.Count("get tavomendInfo success"), 2U); // kept answers
    EXPECT_EQ(engine.LoadTavomend(), 0);                  // resets
    EXPECT_EQ(engine.GetTavomendVersion(), "patch01");
    EXPECT_EQ(engine.GetTavomendVersion(), "patch01");
    EXPECT_EQ(log.Count("patchVersion: patch01"), 2U);
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    RegisterBundleMgr(MakeSptr<FakeBundleMgr>()); // where nothing is installed: an apply's answer is not asked for
    EXPECT_EQ(engine.GetTavomendInfo(), fixed_);
    engine.Reset();
    EXPECT_EQ(engine.GetTavomendInfo(), notFixed);
    DelayedSingletons::DestroyAll();
    RemovePackage(); // an answer that fails is none, and is not kept
    EXPECT_EQ(EngineAppImpl().GetTavomendInfo(), Infos{});
}

TEST_F(EngineAppImplTest, EachStagePreparesItsKindAndTheInitStageNeitherMigratesNorInforms)
{
    recipe_.apps[1].patchType = "cold";
    Deliver();
    const std::string hot = "/data/update/tavomend/app/temp/hot/internal/com.a/App.vab";
    const std::string cold = "/data/update/tavomend/app/temp/cold/internal/com.b/App.vab";
    const std::string legacy = std::string(Formats::LEGACY_PATCH_DIR) + "/old";
    const std::string migrated = std::string(Formats::PACKAGE_DIR) + "/old";
    const auto hears = [](int32_t event) {
        CommonEventManager::PublishCommonEvent(event);
        return DelayedSingleton<EventManager>::GetInstance()->CheckEventListenRes(event, 0);
    };
    WriteFile(legacy, "old");
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    EngineAppImpl early;
    EXPECT_EQ(early.LoadTavomend(), 0);
    EXPECT_EQ(Detail(), "0|0:47");
    EXPECT_TRUE(early.GetTavomendInfo().empty());
    EXPECT_EQ(ReadFile(cold), recipe_.apps[1].files[0].newBytes);
    EXPECT_FALSE(Exists(hot) || Exists(migrated));
    EXPECT_FALSE(hears(COMMON_EVENT_BUNDLE_SCAN_FINISHED) || hears(COMMON_EVENT_USER_ADDED));

    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    std::filesystem::remove(cold); // whatever the scan makes of it
    EngineAppImpl engine;
    EXPECT_TRUE(engine.DoMigrate("/data/none", "/data/copy"));
    EXPECT_FALSE(Exists("/data/copy"));
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(ReadFile(hot), recipe_.apps[0].files[0].newBytes);
    EXPECT_FALSE(Exists(cold) || Exists(std::string(Formats::COLD_WORK_DIR) + "/old"));
    EXPECT_EQ(ReadFile(migrated), "old");
    EXPECT_TRUE(Exists(legacy));
    EXPECT_TRUE(hears(COMMON_EVENT_BUNDLE_SCAN_FINISHED) && hears(COMMON_EVENT_USER_ADDED));
    EXPECT_EQ(Detail(), "0|0:47;1|0:47");
    std::filesystem::create_symlink("/etc", std::string(Formats::LEGACY_PATCH_DIR) + "/link");
    const LogCapture log;
    EXPECT_EQ(engine.LoadTavomend(), 0); // a failed migration does not stop a load
    EXPECT_TRUE(log.Contains("migrate path failed: /data/vrns4/tavomend"));
    EXPECT_TRUE(log.Contains("migrate tavomend failed"));
}

TEST_F(EngineAppImplTest, ALoadReadsThePackageOnce)
{
    EngineAppImpl engine;
    const FaultyFileLayer layer;
    EXPECT_EQ(engine.LoadTavomend(), 0);
    const std::string opened = std::string("open ") + Formats::PACKAGE_PATH;
    EXPECT_EQ(std::count(layer.Calls().begin(), layer.Calls().end(), opened), 1);
    for (const auto& app : recipe_.apps) {
        EXPECT_EQ(ReadFile(std::string(Formats::HOT_WORK_DIR) + "/internal/" + app.bundleName + "/App.vab"),
                  app.files[0].newBytes);
    }
}

TEST_F(EngineAppImplTest, ClientsComeAndGoBesideReports)
{
    EngineAppImpl engine;
    const auto progress = DelayedSingleton<ProgressManager>::GetInstance();
    progress->SetTotal(INT32_MAX);
    TavomendKalogWrapper::SetLevel(TAVOMEND_LOG_ERROR);
    constexpr int ROUNDS = 500;
    std::atomic<int> clients{0};
    const auto comeAndGo = [&] {
        for (int i = 0; i < ROUNDS; ++i) {
            const auto client = MakeSptr<Client>();
            EXPECT_EQ(engine.RegisterCallback(client), 0);
            engine.UnregisterCallback(client); // the other thread's may have taken its place
        }
        ++clients;
    };
    std::thread one(comeAndGo);
    std::thread other(comeAndGo);
    while (clients != 2) {
        engine.ReportStatusChange(0, "m");
        progress->AddInstalled();
    }
    one.join();
    other.join();
    const auto last = MakeSptr<Client>();
    EXPECT_EQ(engine.RegisterCallback(last), 0);
    EXPECT_TRUE(progress->progressCallback_ == last);
    EXPECT_EQ(engine.UnregisterCallback(last), 0);
    EXPECT_TRUE(progress->progressCallback_ == nullptr);
}

TEST_F(EngineAppImplTest, ThereIsOneCallbackSlotAndOnlyStatesAreSwitchedTo)
{
    const auto made = CreateEngineApp();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetTavomendVersion(), "patch01");
    EngineAppImpl engine;
    for (const int number : {0, 3, 5, 7}) {
        EXPECT_EQ(engine.SwitchState(static_cast<State>(number), {}), -1) << number;
    }
    EXPECT_EQ(engine.SwitchState(REVOKE, {}), 0);
    const auto first = MakeSptr<Client>();
    const auto second = MakeSptr<Client>();
    const LogCapture log;
    EXPECT_EQ(engine.RegisterCallback(first), 0);
    EXPECT_EQ(engine.RegisterCallback(nullptr), -1);
    EXPECT_EQ(engine.UnregisterCallback(nullptr), -1);
    EXPECT_EQ(log.Count("callback is null"), 2U);
    engine.ReportStatusChange(0, "m");
    EXPECT_EQ(engine.RegisterCallback(second), 0);
    const auto progress = DelayedSingleton<ProgressManager>::GetInstance();
    progress->SetTotal(9);
    progress->AddInstalled();
    EXPECT_EQ(engine.UnregisterCallback(first), -1);
    progress->AddInstalled();
    EXPECT_TRUE(log.Contains("this callback is Unregistered"));
    engine.ReportStatusChange(-1, "m");
    engine.ReportStatusChange(5, "n");
    EXPECT_EQ(engine.UnregisterCallback(second), 0);
    engine.ReportStatusChange(0, "o");
    progress->AddInstalled();
    EXPECT_TRUE(first->progress.empty());
    EXPECT_EQ(second->progress, (std::vector<std::pair<int32_t, int32_t>>{{0, 9}, {1, 9}}));
    EXPECT_EQ(first->statuses, std::vector<std::string>{"101 m"});
    EXPECT_EQ(second->statuses, (std::vector<std::string>{"151 m", "151 n"}));
}

// Whoever queries or revokes beside a load and an apply disturbs neither, and gets no half of anything. A clear among
// them leaves the patch with its record, or no patch.
TEST_F(EngineAppImplTest, OperationsOfEightThreadsGoBesideEachOther)
{
    using testing::AnyOf;
    using Operations = std::vector<std::function<void()>>;
    std::unique_ptr<EngineAppImpl> engine;
    const Infos notFixed = {{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_NOT_FIXED}};
    const Operations harmless = {
        [&] { EXPECT_EQ(engine->LoadTavomend(), 0); },
        [&] { EXPECT_EQ(engine->ApplyTavomend(), 0); },
        [&] {
            EXPECT_THAT(engine->RevokeTavomend({"com.a", "com.b"}), AnyOf(0, -1));
        },
        [&] { EXPECT_THAT(engine->TestTavomend(), testing::HasSubstr("com.a:")); },
        [&] { EXPECT_THAT(engine->GetTavomendInfo(), AnyOf(fixed_, notFixed)); },
        [&] { EXPECT_EQ(engine->GetTavomendVersion(), "patch01"); },
        [&] { EXPECT_THAT(engine->GetTavomendStatus(), AnyOf("", "ready", "activites")); },
        [&] {
            const auto client = MakeSptr<Client>();
            EXPECT_EQ(engine->RegisterCallback(client), 0);
            engine->UnregisterCallback(client); // another thread's may have taken its place
        },
    };
    const Operations withClear = {
        [&] { EXPECT_EQ(engine->ClearTavomend(), 0); },
        [&] { engine->ApplyTavomend(); },
        [&] { engine->LoadTavomend(); },
        [&] { engine->RevokeTavomend({"com.a"}); },
        [&] { engine->TestTavomend(); },
        [&] { engine->GetTavomendInfo(); },
    };
    const auto run = [](const Operations& operations) {
        std::vector<std::thread> threads;
        for (size_t first = 0; first < 8; ++first) {
            threads.emplace_back([&operations, first] {
                for (size_t i = 0; i < operations.size(); ++i) {
                    operations[(first + i) % operations.size()]();
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    };
    const auto hasPackage = [] { return Exists(Formats::PACKAGE_PATH) || Exists(Formats::SIGN_PATH); };
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        engine.reset();
        platform_.reset();
        SetUp();
        TavomendKalogWrapper::SetLevel(TAVOMEND_LOG_ERROR);
        engine = std::make_unique<EngineAppImpl>();
        EXPECT_EQ(engine->LoadTavomend(), 0); // an apply installs what this process has loaded
        run(harmless);
        EXPECT_EQ(Versions(), (std::vector<uint32_t>{2, 2}));
        EXPECT_EQ(OnDisk(), "patch01 activites");
        EXPECT_EQ(engine->GetTavomendStatus(), "activites");
        EXPECT_EQ(ReadFile(Formats::BACKUP_PACKAGE_PATH), PatchBuilder(recipe_).Package());
        EXPECT_TRUE(Exists(Formats::BACKUP_SIGN_PATH));
        EXPECT_FALSE(hasPackage());

        engine->ClearTavomend();
        Deliver();
        EXPECT_EQ(engine->LoadTavomend(), 0);
        run(withClear);
        EXPECT_EQ(Versions(), (std::vector<uint32_t>{2, 2}));
        const bool isKept = Exists(Formats::BACKUP_PACKAGE_PATH);
        EXPECT_EQ(isKept, Exists(Formats::BACKUP_SIGN_PATH));
        EXPECT_FALSE(hasPackage());
        EXPECT_EQ(OnDisk().substr(8), engine->GetTavomendStatus());
        EXPECT_TRUE(!isKept || OnDisk() == "patch01 activites") << OnDisk();
    }
}

} // namespace
} // namespace ORVX::TavomendTest
