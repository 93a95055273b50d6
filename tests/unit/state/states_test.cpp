#include <gtest/gtest.h>

#include "state/activites_state.h"
#include "state/idle_state.h"
#include "state/ready_state.h"
#include "state/revoke_state.h"
#include "tests/unit/state/state_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

class StatesTest : public StateTest {};

TEST_F(StatesTest, EachTakesItsOwnNumberOnly)
{
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
    WriteFile(Formats::PACKAGE_PATH, "package");
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    const auto before = ListTree("/data/update");
    for (const auto& entry : cases) {
        for (const State other : {IDLE, READY, ACTIVITES, REVOKE}) {
            EXPECT_EQ(entry.state->IsTargetState(other), other == entry.own);
            if (other != entry.own) {
                EXPECT_FALSE(entry.state->SwitchState(other, {"com.a"}));
            }
        }
        EXPECT_EQ(TakeCodes(), entry.codes);
    }
    EXPECT_EQ(ListTree("/data/update"), before);
}

TEST_F(StatesTest, IdleKeepsTheWorkOfAWaitingPackageAndRevokeWritesAList)
{
    IdleState idle;
    const std::string left = std::string(Formats::HOT_WORK_DIR) + "/left";
    WriteFile(left, "x");
    WriteFile(Formats::PACKAGE_PATH, "package");
    WriteFile(Formats::SIGN_PATH, "signature");
    WriteFile(Formats::BACKUP_PACKAGE_PATH, "backup");
    WriteFile(Formats::BACKUP_SIGN_PATH, "backup");
    EXPECT_TRUE(idle.SwitchState(IDLE, {}));
    EXPECT_TRUE(Exists(left));
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_FALSE(Exists(Formats::BACKUP_SIGN_PATH));
    EXPECT_FALSE(Exists(Formats::STATUS_DIR)); // it was empty

    std::filesystem::remove(Formats::SIGN_PATH);
    WriteStatus();
    RevokeState revoke;
    EXPECT_TRUE(revoke.SwitchState(REVOKE, {"com.a", "com.b"}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");
    EXPECT_TRUE(idle.SwitchState(IDLE, {}));
    EXPECT_FALSE(Exists(left));
    EXPECT_TRUE(Exists(Formats::WORK_DIR));
    EXPECT_TRUE(Exists(Formats::STATUS_DIR + std::string("/app")));
}

TEST_F(StatesTest, ReadyPreparesEachApplicationByItself)
{
    ReadyState ready;
    EXPECT_FALSE(ready.SwitchState(READY, {"com.good"})); // no gate passed
    Deliver(Enable({"com.good"}));
    EXPECT_FALSE(ready.SwitchState(READY, {"com.none", "com.good"}));
    EXPECT_EQ(TakeCodes(), "(101|200,230,230)");
    EXPECT_EQ(ReadFile(ProductOf("com.good")), "new");
    EXPECT_TRUE(ready.SwitchState(READY, {"com.good"}));
}

TEST_F(StatesTest, ReadyWritesTheRecoverListInTheInitStageOnly)
{
    DeliverRevoke();
    ReadyState ready;
    const LogCapture log;
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    WriteStatus();
    EXPECT_TRUE(ready.SwitchState(READY, {}));
    EXPECT_TRUE(log.Contains("stage is sa, skip"));
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));

    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    std::filesystem::remove_all(Formats::STATUS_DIR);
    EXPECT_TRUE(ready.SwitchState(READY, {})); // nothing was in progress
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));

    WriteStatus();
    const std::string signature = ReadFile(Formats::BACKUP_SIGN_PATH);
    WriteFile(Formats::BACKUP_SIGN_PATH, "no signature");
    EXPECT_FALSE(ready.SwitchState(READY, {}));
    WriteFile(Formats::BACKUP_SIGN_PATH, signature);
    EXPECT_TRUE(ready.SwitchState(READY, {}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");
    std::filesystem::remove(Formats::BACKUP_SIGN_PATH); // gone since: the gate that has passed does not count
    EXPECT_FALSE(ready.SwitchState(READY, {}));

    DelayedSingleton<TvpkBakPackageManager>::DestroyInstance();
    PatchRecipe broken;
    broken.configText = "{}";
    WriteFile(Formats::BACKUP_PACKAGE_PATH, PatchBuilder(broken).Package());
    WriteFile(Formats::BACKUP_SIGN_PATH, key_.Sign(ReadFile(Formats::BACKUP_PACKAGE_PATH)));
    EXPECT_FALSE(ReadyState().SwitchState(READY, {}));
    EXPECT_TRUE(log.Contains("parse app_tavomend_config.json failed") && log.Contains("GetPackageInfo failed"));
    EXPECT_EQ(TakeCodes(), "");
}
} // namespace
} // namespace ORVX::TavomendTest
