#include <gtest/gtest.h>

#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "state/activites_state.h"
#include "state/idle_state.h"
#include "state/ready_state.h"
#include "state/revoke_state.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

class StatesTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        DelayedSingleton<AppErrorCode>::DestroyInstance();
        DelayedSingleton<TvpkPackageManager>::DestroyInstance();
        DelayedSingleton<TvpkBakPackageManager>::DestroyInstance();
    }
    static std::string Codes()
    {
        const auto errors = DelayedSingleton<AppErrorCode>::GetInstance();
        errors->Init(1, 1, "");
        errors->SetStop();
        return errors->GetAppErrorCode().substr(3);
    }
    // Puts the backup of a patch of two applications and a revoke package on the device, with the gate passed.
    void DeliverRevoke()
    {
        PatchRecipe enable;
        for (const char* name : {"com.a", "com.b"}) {
            PatchApp app;
            app.bundleName = name;
            PatchFile file;
            file.base = "/system/app/X/X.vab";
            app.files = {file};
            enable.apps.push_back(app);
        }
        PatchBuilder(enable).Deliver(key_);
        const auto manager = DelayedSingleton<TvpkPackageManager>::GetInstance();
        manager->RenamePackageToBak();
        PatchRecipe revoke;
        revoke.action = 2;
        PatchBuilder(revoke).Deliver(key_);
        ASSERT_TRUE(manager->PreconditionCheck());
    }

    const SigningKey key_;
};

TEST_F(StatesTest, EachTakesItsOwnNumberOnly)
{
    WriteFile(std::string(Formats::WORK_DIR) + "/kept", "kept");
    struct Case {
        std::shared_ptr<IState> state;
        State own;
        const char* codes; // of a request for another state
    };
    const Case cases[] = {
        {std::make_shared<IdleState>(), IDLE, "(102|50,50,50)"},
        {std::make_shared<ReadyState>(), READY, "(102|60,60,60)"},
        {std::make_shared<ActivitesState>(), ACTIVITES, "(102|60,60,60)"},
        {std::make_shared<RevokeState>(), REVOKE, "(102|50,50,50)"},
    };
    for (const auto& entry : cases) {
        for (const State other : {IDLE, READY, ACTIVITES, REVOKE}) {
            EXPECT_EQ(entry.state->IsTargetState(other), other == entry.own);
            if (other != entry.own) {
                EXPECT_FALSE(entry.state->SwitchState(other, {}));
            }
        }
        EXPECT_EQ(Codes(), entry.codes);
    }
    EXPECT_TRUE(Exists(std::string(Formats::WORK_DIR) + "/kept"));
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
}

TEST_F(StatesTest, IdleKeepsTheWorkOfAWaitingPackage)
{
    IdleState idle;
    const std::string left = std::string(Formats::HOT_WORK_DIR) + "/left";
    WriteFile(left, "x");
    WriteFile(Formats::PACKAGE_PATH, "package");
    WriteFile(Formats::SIGN_PATH, "signature");
    WriteFile(Formats::BACKUP_PACKAGE_PATH, "backup");
    std::filesystem::create_directory(Formats::STATUS_DIR);
    EXPECT_TRUE(idle.SwitchState(IDLE, {}));
    EXPECT_TRUE(Exists(left));
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::STATUS_DIR));

    std::filesystem::remove(Formats::SIGN_PATH);
    EXPECT_TRUE(idle.SwitchState(IDLE, {}));
    EXPECT_FALSE(Exists(left));
    EXPECT_TRUE(Exists(Formats::WORK_DIR));
}

TEST_F(StatesTest, ReadyWritesTheRecoverListInTheInitStageOnly)
{
    DeliverRevoke();
    ReadyState ready;
    const LogCapture log;
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    EXPECT_TRUE(ready.SwitchState(READY, {}));
    EXPECT_TRUE(log.Contains("stage is sa, skip"));
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));

    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    EXPECT_TRUE(ready.SwitchState(READY, {})); // nothing was in progress
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));

    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    record.SetStatus("patch01", "activites", "1|1:34");
    EXPECT_TRUE(ready.SwitchState(READY, {}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");

    std::filesystem::remove(Formats::BACKUP_SIGN_PATH);
    EXPECT_FALSE(ready.SwitchState(READY, {}));
}

TEST_F(StatesTest, ActivitesKeepsThePackageAsBackupAlsoAfterAFailure)
{
    DeliverRevoke();
    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    record.SetStatus("patch01", "ready", "1|0:47");
    std::filesystem::remove(Formats::BACKUP_SIGN_PATH);
    const std::string delivered = ReadFile(Formats::PACKAGE_PATH);
    WriteFile(std::string(Formats::HOT_WORK_DIR) + "/left", "x");
    ActivitesState activites;
    const LogCapture log;
    EXPECT_FALSE(activites.SwitchState(ACTIVITES, {"com.a"}));
    EXPECT_TRUE(log.Contains("backup package not exist"));
    EXPECT_EQ(ReadFile(Formats::BACKUP_PACKAGE_PATH), delivered);
    EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
    EXPECT_FALSE(Exists(Formats::HOT_WORK_DIR));

    DelayedSingleton<TvpkPackageManager>::DestroyInstance();
    EXPECT_FALSE(ActivitesState().SwitchState(ACTIVITES, {"com.a"})); // no gate passed, no action to read
    EXPECT_EQ(Codes(), "(102|70)");
}
} // namespace
} // namespace ORVX::TavomendTest
