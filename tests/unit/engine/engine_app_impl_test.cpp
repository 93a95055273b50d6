// The facade in one process, with the real platform behind it.
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "engine/engine_app_impl.h"
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/host_platform.h"
#include "ports/host/system_ability_registry.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/patch_builder.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using TavomendHost::HostPlatform;
using Infos = std::map<std::string, PatchStatusCode>;

class Client : public CoreEngineCallbackStub {
public:
    void OnProgressChanged(int32_t installed, int32_t total) override { progress.emplace_back(installed, total); }
    void OnStatusChanged(int32_t status, const std::string& message) override
    {
        statuses.push_back(std::to_string(status) + " " + message);
    }
    std::vector<std::pair<int32_t, int32_t>> progress;
    std::vector<std::string> statuses;
};

// Two applications at version 1, com.a and com.b; a delivered patch takes them to version 2.
class EngineAppImplTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        PatchRecipe recipe;
        for (const char* name : {"com.a", "com.b"}) {
            const Vab vab{name, 1, "entry", "", std::string("application ") + name};
            PatchFile file;
            file.base = std::string("/system/app/") + name + "/App.vab";
            file.oldBytes = vab.Bytes();
            file.newBytes = vab.At(2).Bytes();
            WriteFile(file.base, file.oldBytes);
            PatchApp app;
            app.bundleName = name;
            app.files = {file};
            recipe.apps.push_back(app);
        }
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
        ASSERT_NE(platform_, nullptr) << error;
        PatchBuilder(recipe).Deliver(key_);
    }
    [[nodiscard]] std::string Detail() const
    {
        TavomendStatusRecord record;
        record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        return record.GetStatusFromFile();
    }
    [[nodiscard]] std::vector<uint32_t> Versions() const
    {
        std::vector<uint32_t> versions;
        for (const auto& bundle : platform_->ListBundles()) {
            versions.push_back(bundle.versionCode);
        }
        return versions;
    }

    const SigningKey key_;
    std::unique_ptr<HostPlatform> platform_;
};

TEST_F(EngineAppImplTest, LoadsAppliesAnswersAndRevokes)
{
    EngineAppImpl engine;
    const auto client = MakeSptr<Client>();
    ASSERT_EQ(engine.RegisterCallback(client), 0);
    EXPECT_EQ(engine.RevokeTavomend({}), -2);
    EXPECT_EQ(engine.RevokeTavomend({"com.a"}), -1);
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47");
    EXPECT_TRUE(client->statuses.empty());
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47;1|1:34");
    EXPECT_EQ(client->statuses, std::vector<std::string>{"101 activites"});
    EXPECT_EQ(client->progress, (std::vector<std::pair<int32_t, int32_t>>{{0, 2}, {1, 2}}));
    EXPECT_EQ(Versions(), (std::vector<uint32_t>{2, 2}));
    EXPECT_EQ(engine.GetTavomendVersion(), "patch01");
    EXPECT_EQ(engine.GetTavomendStatus(), "activites");
    EXPECT_EQ(engine.GetTavomendInfo(), (Infos{{"com.a", PATCH_FIXED}, {"com.b", PATCH_FIXED}}));
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
    EXPECT_EQ(engine.GetTavomendInfo(), (Infos{{"com.a", PATCH_FIXED}, {"com.b", PATCH_FIXED}}));

    EXPECT_EQ(engine.ClearTavomend(), 0);
    EXPECT_EQ(engine.ClearTavomend(), 0);
    EXPECT_EQ(engine.GetTavomendStatus(), "idle");
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
}

TEST_F(EngineAppImplTest, AFailedFirstAttemptIsRetriedAfterTheScan)
{
    const auto real = iface_cast<IBundleMgr>(
        TavomendHost::SystemAbilityRegistry::GetInstance().FindService(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID));
    RegisterBundleMgr(MakeSptr<ForwardingBundleMgr>(real, [](int count, const auto& receiver) {
        return count == 1 && FakeBundleMgr::Verdict(receiver, 77, "busy") == 0;
    }));
    EngineAppImpl engine;
    const auto client = MakeSptr<Client>();
    engine.RegisterCallback(client);
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    EXPECT_EQ(Detail(), "1|0:47;1|1(0|810,77):34");
    EXPECT_EQ(client->progress, (std::vector<std::pair<int32_t, int32_t>>{{0, 2}, {1, 2}}));
    EXPECT_EQ(Versions(), (std::vector<uint32_t>{2, 2}));
}

TEST_F(EngineAppImplTest, ThereIsOneCallbackSlot)
{
    EngineAppImpl engine;
    const auto first = MakeSptr<Client>();
    const auto second = MakeSptr<Client>();
    const LogCapture log;
    EXPECT_EQ(engine.RegisterCallback(first), 0);
    EXPECT_EQ(engine.RegisterCallback(nullptr), -1);
    EXPECT_EQ(engine.UnregisterCallback(nullptr), -1);
    EXPECT_EQ(log.Count("callback is null"), 2U);
    engine.ReportStatusChange(0, "m");
    EXPECT_EQ(engine.RegisterCallback(second), 0);
    EXPECT_EQ(engine.UnregisterCallback(first), -1);
    EXPECT_TRUE(log.Contains("this callback is Unregistered"));
    engine.ReportStatusChange(-1, "m");
    engine.ReportStatusChange(5, "n");
    EXPECT_EQ(engine.UnregisterCallback(second), 0);
    engine.ReportStatusChange(0, "o");
    EXPECT_EQ(first->statuses, std::vector<std::string>{"101 m"});
    EXPECT_EQ(second->statuses, (std::vector<std::string>{"151 m", "151 n"}));
}

TEST_F(EngineAppImplTest, SwitchesToStatesOnly)
{
    EngineAppImpl engine;
    for (const int number : {0, 3, 5, 7}) {
        EXPECT_EQ(engine.SwitchState(static_cast<State>(number), {}), -1) << number;
    }
    EXPECT_EQ(engine.SwitchState(REVOKE, {}), 0);
}

TEST_F(EngineAppImplTest, TheInitStageNeitherMigratesNorInforms)
{
    WriteFile(std::string(Formats::LEGACY_PATCH_DIR) + "/old", "old");
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    EngineAppImpl engine;
    EXPECT_EQ(engine.LoadTavomend(), 0); // hot applications only: an empty list
    EXPECT_EQ(Detail(), "0|0:47");
    EXPECT_TRUE(engine.GetTavomendInfo().empty());
    EXPECT_FALSE(Exists(std::string(Formats::PACKAGE_DIR) + "/old"));

    SysUtils::SetRunningStage(RUNNING_STAGE_SA);
    EXPECT_TRUE(engine.MigrateTavomend());
    EXPECT_EQ(ReadFile(std::string(Formats::PACKAGE_DIR) + "/old"), "old");
    EXPECT_FALSE(Exists(Formats::COLD_WORK_DIR));
    EXPECT_TRUE(Exists(std::string(Formats::LEGACY_PATCH_DIR) + "/old"));
    std::filesystem::create_symlink("/etc", std::string(Formats::LEGACY_PATCH_DIR) + "/link");
    const LogCapture log;
    EXPECT_EQ(engine.LoadTavomend(), 0); // a failed migration does not stop a load
    EXPECT_TRUE(log.Contains("migrate path failed: /data/vrns4/tavomend"));
}

TEST_F(EngineAppImplTest, QueriesFromOtherThreadsNeverSeeTwoStatesMixed)
{
    EngineAppImpl engine;
    std::atomic<bool> isDone{false};
    std::vector<std::thread> threads;
    const Infos before = {{"com.a", PATCH_NOT_FIXED}, {"com.b", PATCH_NOT_FIXED}};
    const Infos after = {{"com.a", PATCH_FIXED}, {"com.b", PATCH_FIXED}};
    threads.emplace_back([&] {
        bool isAfter = false;
        while (!isDone) {
            const Infos infos = engine.GetTavomendInfo();
            EXPECT_TRUE(infos == after || (infos == before && !isAfter)) << "an answer in between, or back";
            isAfter = infos == after;
        }
    });
    threads.emplace_back([&] {
        while (!isDone) {
            EXPECT_EQ(engine.GetTavomendVersion(), "patch01");
        }
    });
    threads.emplace_back([&] {
        while (!isDone) {
            const std::string status = engine.GetTavomendStatus();
            EXPECT_TRUE(status.empty() || status == "ready" || status == "activites") << status;
        }
    });
    EXPECT_EQ(engine.LoadTavomend(), 0);
    EXPECT_EQ(engine.ApplyTavomend(), 0);
    isDone = true;
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(engine.GetTavomendInfo(), after);
    EXPECT_TRUE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
}
} // namespace
} // namespace ORVX::TavomendTest
