#include <gtest/gtest.h>

#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "package/app_patch_manager.h"
#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

constexpr const char* BASE = "/system/app/Demo/Demo.vab";

class TvpkPackageManagerTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        WriteFile(BASE, "the old content");
        PatchFile file;
        file.base = BASE;
        file.oldBytes = "the old content";
        file.newBytes = "the new content";
        PatchApp app;
        app.bundleName = "com.a";
        app.files = {file};
        recipe_.apps = {app};
        DelayedSingleton<AppErrorCode>::DestroyInstance();
    }
    void Deliver() { PatchBuilder(recipe_).Deliver(key_); }
    bool Pass()
    {
        Deliver();
        return manager_.PreconditionCheck();
    }
    static std::string Codes()
    {
        const auto errors = DelayedSingleton<AppErrorCode>::GetInstance();
        errors->Init(1, 1, "");
        errors->SetStop();
        return errors->GetAppErrorCode().substr(3);
    }

    const SigningKey key_;
    PatchRecipe recipe_;
    TvpkPackageManager manager_;
};

TEST_F(TvpkPackageManagerTest, TheGateNamesTheStepThatFailed)
{
    const LogCapture log;
    EXPECT_FALSE(manager_.PreconditionCheck());
    EXPECT_TRUE(log.Contains("patchFile is not found"));
    EXPECT_EQ(Codes(), "(100|0)");

    Deliver();
    WriteFile(Formats::SIGN_PATH, "no signature");
    EXPECT_FALSE(manager_.PreconditionCheck());
    EXPECT_EQ(Codes(), "(100|20)");
    bool isRevoke = false;
    EXPECT_FALSE(manager_.GetAction(isRevoke));
    EXPECT_TRUE(log.Contains("condition check result is false"));

    Deliver();
    WriteFile("/etc/os-release", "VERSION_ID=1.0.0-beta\n");
    EXPECT_FALSE(manager_.PreconditionCheck());
    EXPECT_TRUE(log.Contains("base version not equal target version"));
    EXPECT_EQ(Codes(), "(100|40)");
    EXPECT_FALSE(manager_.GetAction(isRevoke)); // parsed, and not passed

    WriteFile("/etc/os-release", "VERSION_ID=1.0.0\n");
    EXPECT_TRUE(manager_.PreconditionCheck());
    EXPECT_TRUE(manager_.GetAction(isRevoke));
    EXPECT_FALSE(isRevoke);
    // Once passed it stays passed.
    manager_.ClearPackage();
    EXPECT_TRUE(manager_.PreconditionCheck());
    EXPECT_TRUE(log.Contains("precondition check, result is true"));
    EXPECT_EQ(Codes(), "");
}

TEST_F(TvpkPackageManagerTest, RoomIsCountedInKibibytesWithAMargin)
{
    struct Case {
        int space;
        size_t tempKib; // in the work directory besides the configuration's one
        int32_t stage;
        bool isEnough;
        const char* message;
    };
    const int huge = 1500000000;
    const Case cases[] = {
        {1000, 999, RUNNING_STAGE_SA, true, "precondition check success"}, // all of it is there: no more is asked
        {huge, 0, RUNNING_STAGE_SA, false, ", needSpace: 3300524285"},     // rest = space - 1, 2.2 times and the margin
        {huge, 0, RUNNING_STAGE_INIT, false, ", needSpace: 3300524287"},
    };
    for (const auto& room : cases) {
        SetUp();
        SysUtils::SetRunningStage(room.stage);
        recipe_.space = room.space;
        Deliver();
        WriteFile(std::string(Formats::WORK_DIR) + "/left", std::string(room.tempKib * 1024, 'x'));
        const LogCapture log;
        TvpkPackageManager manager;
        EXPECT_EQ(manager.PreconditionCheck(), room.isEnough) << room.message;
        EXPECT_TRUE(log.Contains(room.message)) << room.message;
    }
}

TEST_F(TvpkPackageManagerTest, AHotApplicationIsRebuiltAndChecked)
{
    ASSERT_TRUE(Pass());
    ASSERT_TRUE(manager_.InitAPatchInfo("com.a"));
    TvpkPackageManager::APatchInfo info;
    ASSERT_TRUE(manager_.GetAPatchInfo("com.a", info));
    const std::string dir = "/data/update/tavomend/app/temp/hot/internal/com.a/";
    EXPECT_EQ(manager_.DumpAPatchInfo(info),
              "dump: [bundleName: com.a,version:2,preVersion: 1,appType:internal,appPatchType: hot,fileNum:1,"
              "targetFiles: {/com.a/Demo.vab.diff,},diffPaths: {" +
                  dir + "Demo.vab.diff,},basePaths: {" + BASE + ",},appsHashs: {" + Sha256Hex("the new content") +
                  ",},restoreProductPaths: {" + dir + "Demo.vab,}]");
    EXPECT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_TRUE(Exists(dir + "Demo.vab.diff"));
    EXPECT_TRUE(manager_.ExactAPatch("com.a")); // extracted already
    EXPECT_TRUE(manager_.RestoreAPatch("com.a"));
    EXPECT_EQ(ReadFile(dir + "Demo.vab"), "the new content");
    EXPECT_FALSE(Exists(dir + "Demo.vab.diff"));
    EXPECT_TRUE(manager_.RestoreAPatch("com.a")); // rebuilt already: a run taken up again goes on
    EXPECT_FALSE(manager_.ExactAPatch("com.a"));
    EXPECT_EQ(Codes(), "(0|420)");
    EXPECT_EQ(manager_.GetAppSequence("com.none"), 101);
    EXPECT_EQ(Codes(), "(101|230)");
}

TEST_F(TvpkPackageManagerTest, AFailedRebuildRemovesItsDirectory)
{
    recipe_.apps[0].files[0].hash = "no hash";
    ASSERT_TRUE(Pass());
    ASSERT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_FALSE(manager_.RestoreAPatch("com.a"));
    EXPECT_FALSE(Exists("/data/update/tavomend/app/temp/hot/internal/com.a"));
    EXPECT_FALSE(manager_.RestoreAPatch("com.a")); // not tried again
    EXPECT_EQ(Codes(), "(0|611,640)");
}

TEST_F(TvpkPackageManagerTest, ColdFilesMustLieInPlace)
{
    recipe_.apps[0].patchType = "cold";
    recipe_.apps[0].files[0].isWhole = true;
    ASSERT_TRUE(Pass());
    EXPECT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_TRUE(manager_.RestoreAPatch("com.a"));
    EXPECT_EQ(ReadFile("/data/update/tavomend/app/temp/cold/internal/com.a/Demo.vab"), "the new content");

    manager_.CleanAppTempColdDir();
    ASSERT_TRUE(manager_.InitAPatchInfo("com.a"));
    EXPECT_FALSE(manager_.ExactAPatch("com.a"));
    EXPECT_EQ(Codes(), "(0|430,431)");
}

TEST_F(TvpkPackageManagerTest, PathsFollowTheirRules)
{
    EXPECT_EQ(manager_.GetFileName("/system/app/Demo.x/Demo.1.vab"), "Demo.1");
    EXPECT_EQ(manager_.GetFileName("Demo.vab"), "Demo");
    EXPECT_EQ(manager_.GetFileName("/a/.profile"), "");
    EXPECT_EQ(manager_.GetFileName("/a/name"), "name");
    EXPECT_EQ(manager_.GetRestoreProductPaths({"/t/a/x.diff", "/t/b/whole.vab"}, {"/s/Base.vab", "/s/Other.vab"}),
              (std::vector<std::string>{"/t/a/Base.vab", "/t/b/whole.vab"}));
    ParseAppConfigTool::AppInfo app;
    app.appType = "appServiceFwk";
    app.appPatchType = "cold";
    app.diffPaths = {"/f/Fwk.vab.diff", "/f/Help.vab.diff"};
    app.basePaths = {"/system/app/appServiceFwk/F/Fwk.vab", "/system/app/H/Help.vab"};
    TvpkPackageManager::APatchInfo info;
    manager_.GetAbsoluteDiffPath(app, info);
    EXPECT_EQ(info.diffPaths,
              (std::vector<std::string>{"/data/update/tavomend/app/temp/cold/appServiceFwk/f/Fwk.vab.diff",
                                        "/data/update/tavomend/app/temp/cold/internal/f/Help.vab.diff"}));
}

TEST_F(TvpkPackageManagerTest, HashesIgnoreTheCaseOfLetters)
{
    WriteFile("/data/abc", "abc");
    const std::string known =
        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"; // FIPS 180-4's example
    EXPECT_EQ(manager_.GetFileSHA256("/data/abc"), known);
    EXPECT_TRUE(
        manager_.CheckFileHash("/data/abc", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"));
    EXPECT_FALSE(manager_.CheckFileHash("/data/abc", ""));
    EXPECT_EQ(manager_.GetFileSHA256("/data/none"), "");
    EXPECT_EQ(manager_.GetFileSHA256("/data/../abc"), "");
}

TEST_F(TvpkPackageManagerTest, PackageAndBackupNeverReplaceEachOther)
{
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch00");
    Deliver();
    manager_.RenamePackageToBak();
    EXPECT_TRUE(manager_.IsBackupPackageExist());
    EXPECT_FALSE(manager_.IsPackageExist());
    EXPECT_EQ(manager_.GetTavomendVersion(), ""); // in force, and no record of its version

    const std::string backup = ReadFile(Formats::BACKUP_PACKAGE_PATH);
    recipe_.version = "patch02";
    Deliver();
    const std::string delivered = ReadFile(Formats::PACKAGE_PATH);
    manager_.RenamePackageToBak();
    manager_.RenameBakToPackage();
    EXPECT_EQ(ReadFile(Formats::BACKUP_PACKAGE_PATH), backup);
    EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), delivered);
    std::filesystem::remove(Formats::BACKUP_SIGN_PATH);
    EXPECT_FALSE(manager_.IsBackupPackageExist());
    manager_.ClearBackupPackage();
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch02");
}

TEST_F(TvpkPackageManagerTest, TheBackupIsReadWithoutDeviceChecks)
{
    TvpkBakPackageManager backup;
    const LogCapture log;
    EXPECT_FALSE(backup.PreconditionCheck());
    EXPECT_TRUE(log.Contains("VerifyTvpkBakFile failed"));

    recipe_.baseVersions = R"(["9.9.9"])";
    recipe_.apps.push_back(recipe_.apps[0]);
    recipe_.apps[1].bundleName = "com.b";
    recipe_.apps[1].version = 8;
    recipe_.apps[1].preVersion = 5;
    Deliver();
    manager_.RenamePackageToBak();
    // A configuration of the same size from another package must not be taken for the backup's.
    WriteFile(Formats::CONFIG_PATH, std::string(PatchBuilder(recipe_).Config().size(), ' '));
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    EXPECT_FALSE(backup.GetAllAPatchInfo(records));
    ASSERT_TRUE(backup.PreconditionCheck());
    ASSERT_TRUE(backup.GetAllAPatchInfo(records));
    ASSERT_TRUE(backup.GetAllAPatchInfo(records));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1].bundleName, "com.b");
    EXPECT_EQ(records[1].version, 8U);
    EXPECT_EQ(records[1].preVersion, 5U);
    EXPECT_EQ(Codes(), "");
}

TEST_F(TvpkPackageManagerTest, AQueryLeavesADeliveredPackageWhereItIs)
{
    DelayedSingleton<TvpkPackageManager>::DestroyInstance();
    Deliver();
    const auto before = ListTree(Formats::PACKAGE_DIR);
    AppPatchManager queries;
    std::map<std::string, PatchStatusCode> infos;
    EXPECT_EQ(queries.GetTavomendInfo(infos), 0);
    EXPECT_EQ(infos, (std::map<std::string, PatchStatusCode>{{"com.a", PATCH_NOT_FIXED}}));
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR), before);

    manager_.RenamePackageToBak();
    const auto backedUp = ListTree(Formats::PACKAGE_DIR);
    EXPECT_EQ(queries.GetTavomendInfo(infos), 0);
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR), backedUp);
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", 5]})");
    EXPECT_NE(queries.GetTavomendInfo(infos), 0);
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR), backedUp); // also after a failure
}
} // namespace
} // namespace ORVX::TavomendTest
