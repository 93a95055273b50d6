#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "hosting/delivery.h"
#include "platform/utility/tavomend_status_record.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using namespace TavomendHosting;

constexpr const char* COLD_FILE = "/data/update/tavomend/app/temp/cold/internal/com.a/App.vab";

class DeliveryTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        PatchFile file;
        file.base = "/system/app/A/App.vab";
        file.oldBytes = "old";
        file.newBytes = "new content";
        PatchApp app;
        app.bundleName = "com.a";
        app.patchType = "cold";
        app.files = {file};
        recipe_.apps = {app};
    }
    // As `tavomend deliver` does, with both files on the device already; gives the refusal.
    std::string Bring(const SigningKey& key)
    {
        const std::string package = PatchBuilder(recipe_).Package();
        WriteFile(INCOMING_PACKAGE, package);
        WriteFile(INCOMING_SIGNATURE, key.Sign(package));
        std::string refusal;
        std::string error;
        EXPECT_TRUE(Deliver(refusal, error)) << error;
        EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), package);
        EXPECT_TRUE(Exists(Formats::SIGN_PATH));
        EXPECT_FALSE(Exists(INCOMING_PACKAGE));
        return refusal;
    }
    static void SetStatus(const char* word)
    {
        TavomendStatusRecord record;
        record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        ASSERT_TRUE(record.SetStatus("patch01", word, "1|0:47"));
    }

    const SigningKey key_;
    PatchRecipe recipe_;
};

TEST_F(DeliveryTest, LaysColdFilesOutAndLeavesNothingStale)
{
    WriteFile(Formats::CONFIG_PATH, "stale");
    WriteFile(std::string(Formats::HOT_WORK_DIR) + "/stale", "stale");
    WriteFile(std::string(Formats::COLD_WORK_DIR) + "/stale", "stale");
    WriteFile(Formats::PACKAGE_PATH, "an earlier package");
    EXPECT_EQ(Bring(key_), "");
    const std::string difference = ReadFile(std::string(COLD_FILE) + ".diff");
    EXPECT_EQ(ListTree(Formats::WORK_DIR),
              std::vector<std::string>{std::string(COLD_FILE) + ".diff " + Sha256Hex(difference)});

    std::filesystem::remove(std::string(COLD_FILE) + ".diff");
    FinishDelivery();
    EXPECT_EQ(ReadFile(std::string(COLD_FILE) + ".diff"), difference);
}

TEST_F(DeliveryTest, TrustsNothingThatTheEngineWouldRefuse)
{
    recipe_.apps[0].files[0].isWhole = true; // which a scan would take in as it lies
    EXPECT_EQ(Bring(SigningKey()), "the signature does not verify");
    EXPECT_TRUE(ListTree(Formats::WORK_DIR).empty());
    recipe_.baseVersions = R"(["2.0.0"])";
    EXPECT_EQ(Bring(key_), "it is not made for base version 1.0.0");
    EXPECT_TRUE(ListTree(Formats::WORK_DIR).empty());
    recipe_.baseVersions = R"(["1.0.0"])";
    recipe_.apps[0].files[0].hash = Sha256Hex("another content");
    EXPECT_EQ(Bring(key_), "/com.a/App.vab does not have the stated hash");
    EXPECT_TRUE(ListTree(Formats::WORK_DIR).empty());
    recipe_.apps[0].files[0].hash = "";
    EXPECT_EQ(Bring(key_), "");
    EXPECT_EQ(ReadFile(COLD_FILE), "new content");
}

TEST_F(DeliveryTest, ANewPatchEndsAnOlderRevokeOfItsApplications)
{
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", "com.b"]})");
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, R"({"list": ["com.a"]})");
    EXPECT_EQ(Bring(key_), "");
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), R"({"list":["com.b"]})");
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a"]})"); // a delivery that was cut short before this
    FinishDelivery();
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    WriteFile(Formats::RECOVER_LIST_PATH, "damaged");
    EXPECT_TRUE(PruneRecoverLists({"com.a"}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "damaged");
}

TEST_F(DeliveryTest, MendsAPairThatIsSplitByItsStatus)
{
    SetStatus("ready");
    WriteFile(Formats::BACKUP_PACKAGE_PATH, "package");
    WriteFile(Formats::SIGN_PATH, "signature");
    RepairPackagePlaces();
    EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), "package");

    SetStatus("activites");
    RepairPackagePlaces(); // delivered whole: to be applied
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    std::filesystem::rename(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH);
    RepairPackagePlaces();
    EXPECT_EQ(ReadFile(Formats::BACKUP_PACKAGE_PATH), "package");
    EXPECT_FALSE(Exists(Formats::PACKAGE_PATH));
    RepairPackagePlaces();
    EXPECT_TRUE(Exists(Formats::BACKUP_PACKAGE_PATH));
}
} // namespace
} // namespace ORVX::TavomendTest
