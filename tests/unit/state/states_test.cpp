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

TEST_F(StatesTest, IdleKeepsTheWorkOfAWaitingPackage)
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
    EXPECT_TRUE(idle.SwitchState(IDLE, {}));
    EXPECT_FALSE(Exists(left));
    EXPECT_TRUE(Exists(Formats::WORK_DIR));
    EXPECT_TRUE(Exists(Formats::STATUS_DIR + std::string("/app")));
}

TEST_F(StatesTest, RevokeWritesTheRecoverList)
{
    RevokeState revoke;
    EXPECT_TRUE(revoke.SwitchState(REVOKE, {}));
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    EXPECT_TRUE(revoke.SwitchState(REVOKE, {"com.a", "com.b"}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");
    std::filesystem::remove_all(Formats::WORK_DIR);
    EXPECT_FALSE(revoke.SwitchState(REVOKE, {"com.a"}));
}

TEST_F(StatesTest, ReadyPreparesEachApplicationByItself)
{
    PatchRecipe recipe = Enable({"com.gone", "com.wrong", "com.good"});
    recipe.apps[0].isMemberMissing = true;
    recipe.apps[1].files[0].hash = Sha256Hex("other");
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    ReadyState ready;
    EXPECT_FALSE(ready.SwitchState(READY, {"com.good"})); // no gate passed
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    Deliver(recipe);
    EXPECT_TRUE(ready.SwitchState(READY, {}));
    EXPECT_EQ(TakeCodes(), "");
    for (const auto& [name, codes] : std::map<std::string, std::string>{
             {"com.none", "(101|200,230,230)"}, {"com.gone", "(0|400,440)"}, {"com.wrong", "(1|600,611,640)"}}) {
        EXPECT_FALSE(ready.SwitchState(READY, {name, "com.good"})) << name;
        EXPECT_EQ(TakeCodes(), codes) << name;
        EXPECT_EQ(ReadFile(ProductOf("com.good")), "new") << name;
        Packages()->CleanAppTempHotDir();
    }
    EXPECT_TRUE(ready.SwitchState(READY, {"com.good"}));
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
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
    EXPECT_EQ(TakeCodes(), "");
}
} // namespace
} // namespace ORVX::TavomendTest
