#include <gtest/gtest.h>

#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/host_platform.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/unit/package/package_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using APatchInfo = TvpkPackageManager::APatchInfo;

// Loses the parsed configuration behind the gate, which nothing in the engine does.
template <typename Manager>
class Forgetful : public Manager {
public:
    void Forget() { this->packageInfo_ = nullptr; }
};

class TvpkPackageManagerTest : public PackageTest {
protected:
    bool Pass()
    {
        Deliver();
        return manager_.PreconditionCheck();
    }
    int32_t StateOf(const std::string& bundleName)
    {
        APatchInfo info;
        EXPECT_TRUE(manager_.GetAPatchInfo(bundleName, info));
        return info.state;
    }

    Forgetful<TvpkPackageManager> manager_;
};

TEST_F(TvpkPackageManagerTest, TheGateNamesTheStepThatFailed)
{
    struct Case {
        std::function<void()> spoil; // what Deliver has put on the device
        const char* codes;
        const char* message;
    };
    const Case cases[] = {
        {[] { std::filesystem::remove(Formats::PACKAGE_PATH); }, "(100|0)", "patchFile is not found"},
        {[] { std::filesystem::remove(Formats::SIGN_PATH); }, "(100|0)", "patchFile is not found"},
        {[] { WriteFile(Formats::SIGN_PATH, "no signature"); }, "(100|20)", "verify file integrity failed"},
        {[] { WriteFile("/etc/os-release", "VERSION_ID=1.0.0-beta\n"); }, "(100|40)", "check baseVersion failed"},
        {[] { std::filesystem::resize_file(Formats::WORK_DIR + std::string("/left"), int64_t{1} << 40); }, "(100|10)",
         "check free space insufficient storage space"},
    };
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    for (const Case& refusal : cases) {
        SetUp();
        SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
        WriteFile(Formats::WORK_DIR + std::string("/left"), "");
        Deliver();
        refusal.spoil();
        const LogCapture log;
        TvpkPackageManager manager;
        EXPECT_FALSE(manager.PreconditionCheck());
        EXPECT_EQ(TakeCodes(), refusal.codes);
        EXPECT_TRUE(log.Contains(refusal.message)) << refusal.message;
        EXPECT_FALSE(log.Contains("precondition check success"));
        bool isRevoke = false;
        EXPECT_FALSE(manager.GetAction(isRevoke)); // also where the configuration was parsed
        EXPECT_TRUE(log.Contains("condition check result is false"));
    }
    for (const char* config : {"{}", "no configuration"}) {
        SetUp();
        recipe_.configText = config;
        Deliver();
        const LogCapture log;
        TvpkPackageManager manager;
        EXPECT_FALSE(manager.CheckBaseVersion());
        EXPECT_FALSE(manager.CheckFreeSpace());
        EXPECT_EQ(log.Count("get packageInfo failed"), 2U);
        EXPECT_FALSE(manager.PreconditionCheck());
        EXPECT_EQ(TakeCodes(), "(100|30)");
        EXPECT_TRUE(log.Contains("parse app_tavomend_config.json failed"));
    }
    WriteFile(Formats::PACKAGE_PATH, "no archive");
    WriteFile(Formats::SIGN_PATH, key_.Sign("no archive"));
    const LogCapture log;
    TvpkPackageManager manager;
    EXPECT_FALSE(manager.GetPackageInfo());
    EXPECT_TRUE(log.Contains("exact app config file failed"));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH)); // no other package's configuration is left to be taken for this one's
}

TEST_F(TvpkPackageManagerTest, TheGateStaysPassedAndItsConfigurationParsed)
{
    const LogCapture log;
    WriteFile("/etc/os-release", "VERSION_ID=1.0.1\n");
    // The extraction would take a file of the member's size for the member.
    WriteFile(Formats::CONFIG_PATH, std::string(PatchBuilder(recipe_).Config().size(), ' '));
    Deliver();
    EXPECT_FALSE(manager_.PreconditionCheck());
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH)); // whoever asked decides what becomes of it
    WriteFile("/etc/os-release", "VERSION_ID=1.0.0\n");
    manager_.RemoveAppConfigFile();
    EXPECT_TRUE(manager_.PreconditionCheck());
    EXPECT_TRUE(log.Contains("get packageInfo success, packageInfo is not null"));
    EXPECT_FALSE(Exists(Formats::CONFIG_PATH));
    EXPECT_EQ(log.Count("get packageInfo success"), 1U);

    manager_.ClearPackage();
    EXPECT_TRUE(manager_.PreconditionCheck());
    EXPECT_TRUE(log.Contains("precondition check, result is true"));
    EXPECT_EQ(TakeCodes(), "(100|40)");
    bool isRevoke = true;
    EXPECT_TRUE(manager_.GetAction(isRevoke));
    EXPECT_FALSE(isRevoke);

    recipe_.apps.clear();
    recipe_.action = 2;
    Deliver();
    TvpkPackageManager revoke;
    EXPECT_TRUE(revoke.PreconditionCheck());
    EXPECT_TRUE(revoke.GetAction(isRevoke));
    EXPECT_TRUE(isRevoke);
}

TEST_F(TvpkPackageManagerTest, WithoutAConfigurationEverythingRefuses)
{
    for (const bool isPassed : {false, true}) {
        Forgetful<TvpkPackageManager> manager;
        Deliver();
        if (isPassed) {
            ASSERT_TRUE(manager.PreconditionCheck());
            manager.Forget();
        }
        const LogCapture log;
        const char* message = isPassed ? "packageInfo is null" : "condition check result is false";
        bool isRevoke = true;
        uint32_t version = 7;
        std::map<std::string, std::string> names;
        EXPECT_FALSE(manager.GetAction(isRevoke));
        EXPECT_FALSE(manager.GetAppVersion("com.a", version));
        EXPECT_FALSE(manager.GetAppPreVersion("com.a", version));
        EXPECT_FALSE(manager.GetAllBundleNameList(names));
        EXPECT_EQ(manager.GetAppSequence("com.a"), 101);
        EXPECT_EQ(log.Count(message), 5U);
        EXPECT_TRUE(isRevoke);
        EXPECT_EQ(version, 7U);
        EXPECT_FALSE(manager.InitAPatchInfo("com.a"));
        EXPECT_EQ(TakeCodes(), isPassed ? "(101|220)" : "(101|210)");
        EXPECT_FALSE(manager.ExactAPatch("com.a"));
        EXPECT_EQ(TakeCodes(), isPassed ? "(101|410,220)" : "(101|410,210)");
        EXPECT_FALSE(manager.RestoreAPatch("com.a"));
        EXPECT_EQ(TakeCodes(), isPassed ? "(101|610,220)" : "(101|610,210)");
        if (isPassed) {
            EXPECT_EQ(manager.GetTavomendVersion(), "");
        }
    }
}

TEST_F(TvpkPackageManagerTest, RecordsAreMadeFromTheConfiguration)
{
    AddSecondApp();
    recipe_.apps[1].patchType = "cold";
    recipe_.apps[1].appType = 2;
    recipe_.apps[1].files[0].base = "/system/app/appServiceFwk/Fwk.x/Fwk.vab";
    ASSERT_TRUE(Pass());
    APatchInfo info;
    ASSERT_TRUE(manager_.GetAPatchInfo("com.b", info));
    EXPECT_EQ(info.appSequence, 1);
    EXPECT_EQ(info.state, APP_MUST_PATCH);
    const std::string dir = "/data/update/tavomend/app/temp/cold/appServiceFwk/com.b/";
    EXPECT_EQ(manager_.DumpAPatchInfo(info),
              "dump: [bundleName: com.b,version:8,preVersion: 5,appType:appServiceFwk,appPatchType: cold,fileNum:1,"
              "targetFiles: {/com.b/Fwk.vab.diff,},diffPaths: {" +
                  dir + "Fwk.vab.diff,},basePaths: {/system/app/appServiceFwk/Fwk.x/Fwk.vab,},appsHashs: {" +
                  Sha256Hex(NEW) + ",},restoreProductPaths: {" + dir + "Fwk.vab,}]");
    EXPECT_EQ(manager_.GetAppSequence("com.a"), 0);
    EXPECT_EQ(manager_.GetAppSequence("com.none"), 101);
    EXPECT_EQ(TakeCodes(), "(101|230)");
    EXPECT_FALSE(manager_.ExactAPatch("com.none"));
    EXPECT_EQ(TakeCodes(), "(101|410,230,230)");

    std::map<std::string, std::string> names = {{"com.c", "kept"}};
    EXPECT_TRUE(manager_.GetAllBundleNameList(names));
    EXPECT_EQ(names, (std::map<std::string, std::string>{{"com.a", "hot"}, {"com.b", "cold"}, {"com.c", "kept"}}));
    uint32_t version = 0;
    EXPECT_TRUE(manager_.GetAppVersion("com.b", version));
    EXPECT_EQ(version, 8U);
    EXPECT_TRUE(manager_.GetAppPreVersion("com.b", version));
    EXPECT_EQ(version, 5U);
    EXPECT_FALSE(manager_.GetAppVersion("com.none", version));
    EXPECT_FALSE(manager_.GetAppPreVersion("com.none", version));
    EXPECT_EQ(version, 5U);
}

TEST_F(TvpkPackageManagerTest, AnEmptyRecordNamesNothing)
{
    const APatchInfo info;
    EXPECT_EQ(info.Dump(), "dump: [bundleName: ,version:4294967295,preVersion: 4294967295,appType:,appPatchType: ,"
                           "fileNum:0,targetFiles: {},diffPaths: {},basePaths: {},appsHashs: {},"
                           "restoreProductPaths: {}]");
    EXPECT_EQ(info.appSequence, -1);
    EXPECT_EQ(info.state, 1);
    const TvpkBakPackageManager::APatchInfo ofBackup;
    EXPECT_EQ(ofBackup.version + ofBackup.preVersion, 0U);
}

TEST_F(TvpkPackageManagerTest, StepsAreStoredUntilTheReset)
{
    ASSERT_TRUE(Pass());
    EXPECT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_EQ(StateOf("com.a"), APP_EXACTED);
    EXPECT_TRUE(manager_.RestoreAPatch("com.a"));
    EXPECT_EQ(StateOf("com.a"), APP_RESTORED);
    EXPECT_EQ(ReadFile(std::string(HOT_DIR) + "Demo.vab"), NEW);
    EXPECT_TRUE(manager_.RestoreAPatch("com.a")); // a run taken up again goes on
    EXPECT_FALSE(manager_.ExactAPatch("com.a"));
    EXPECT_EQ(TakeCodes(), "(0|420)");

    // The archive under the same name is another one by now; its difference leads elsewhere.
    manager_.Reset();
    EXPECT_EQ(StateOf("com.a"), APP_MUST_PATCH);
    manager_.CleanAppTempHotDir();
    std::filesystem::remove(Formats::PACKAGE_PATH);
    recipe_.apps[0].files[0].newBytes = "of the other package";
    Deliver();
    EXPECT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_FALSE(manager_.RestoreAPatch("com.a"));
    EXPECT_EQ(TakeCodes(), "(0|611,640)");
    const LogCapture log;
    EXPECT_TRUE(manager_.InitAPatchInfo("com.a")); // replaces the failed one
    EXPECT_EQ(StateOf("com.a"), APP_MUST_PATCH);
    EXPECT_TRUE(log.Contains("init APatchInfo, com.a, state: 2"));
    {
        TvpkPackageManager shortLived;
        EXPECT_TRUE(shortLived.PreconditionCheck());
    }
    EXPECT_TRUE(log.Contains("reset unZipDir")); // its archive is closed
}

TEST_F(TvpkPackageManagerTest, PathsFollowTheirRules)
{
    const LogCapture log;
    EXPECT_EQ(manager_.GetFileName("/system/app/Demo.x/Demo.1.vab"), "Demo.1");
    EXPECT_EQ(manager_.GetFileName("Demo.vab"), "Demo");
    EXPECT_EQ(manager_.GetFileName("/a/name"), "name");
    EXPECT_FALSE(log.Contains("get fileName failed"));
    EXPECT_EQ(manager_.GetFileName("/a/.profile"), "");
    EXPECT_EQ(manager_.GetFileName("/a.x/name"), "");
    EXPECT_EQ(log.Count("get fileName failed"), 2U);
    EXPECT_EQ(manager_.GetRestoreProductPath("/t/a/x.diff", "/s/Base.vab"), "/t/a/Base.vab");
    EXPECT_EQ(manager_.GetRestoreProductPaths({"/t/a/x.diff", "/t/b/diff", "/t/c/whole.vab"},
                                              {"/s/Base.vab", "/s/No.vab", "/s/Other.vab"}),
              (std::vector<std::string>{"/t/a/Base.vab", "/t/b/diff", "/t/c/whole.vab"}));
    ParseAppConfigTool::AppInfo app;
    app.appType = "appServiceFwk";
    app.appPatchType = "cold";
    app.diffPaths = {"/f/Fwk.vab.diff", "/f/Help.vab.diff"};
    app.basePaths = {"/system/app/appServiceFwk/F/Fwk.vab", "/system/app/H/Help.vab"};
    APatchInfo info;
    manager_.GetAbsoluteDiffPath(app, info);
    EXPECT_EQ(info.diffPaths,
              (std::vector<std::string>{"/data/update/tavomend/app/temp/cold/appServiceFwk/f/Fwk.vab.diff",
                                        "/data/update/tavomend/app/temp/cold/internal/f/Help.vab.diff"}));
    EXPECT_EQ(manager_.ParseAPatchInfo(app).state, APP_PARSED);
}

TEST_F(TvpkPackageManagerTest, TheVersionIsThatOfTheNearestPackage)
{
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch00");
    Deliver();
    WriteFile("/etc/os-release", "VERSION_ID=2\n");
    EXPECT_EQ(manager_.GetTavomendVersion(), ""); // delivered, and not for this device
    EXPECT_EQ(TakeCodes(), "(100|40)");
    manager_.RenamePackageToBak();
    EXPECT_EQ(manager_.GetTavomendVersion(), ""); // in force, and no record of its version
    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    ASSERT_TRUE(record.SetStatus("patch07", "activites", ""));
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch07");
    WriteFile("/etc/os-release", "VERSION_ID=1.0.0\n");
    Deliver();
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch01");
}

TEST_F(TvpkPackageManagerTest, AHotApplicationAtItsTargetIsFixed)
{
    std::string error;
    ASSERT_TRUE(TavomendHost::HostPlatform::InitDevice(error)) << error;
    const auto service = MakeSptr<FakeBundleMgr>();
    RegisterBundleMgr(service);
    AddSecondApp();
    recipe_.apps[1].patchType = "cold";
    ASSERT_TRUE(Pass());
    service->Add("com.a", 2);
    service->Add("com.b", 8);
    EXPECT_EQ(StateOf("com.b"), APP_MUST_PATCH); // cold files are laid out anew all the same
    EXPECT_EQ(StateOf("com.a"), APP_FIXED);
    EXPECT_TRUE(manager_.ExactAPatch("com.a"));
    EXPECT_TRUE(manager_.RestoreAPatch("com.a"));
    EXPECT_FALSE(Exists(HOT_DIR));
    EXPECT_TRUE(manager_.IsTargetAppVersion("com.a", 2));
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.a", 3));
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.none", 0)); // nobody has it
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    const LogCapture log;
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.a", 2));
    EXPECT_TRUE(log.Contains("stage is init, bms service does not exist."));
}

TEST_F(TvpkPackageManagerTest, TheBackupIsReadWithoutDeviceChecks)
{
    Forgetful<TvpkBakPackageManager> backup;
    const LogCapture log;
    EXPECT_FALSE(backup.PreconditionCheck());
    EXPECT_TRUE(log.Contains("VerifyTvpkBakFile failed"));
    EXPECT_FALSE(backup.InitAPatchInfoList());
    EXPECT_TRUE(log.Contains("packageInfo is nullptr"));
    recipe_.configText = "{}";
    Deliver();
    manager_.RenamePackageToBak();
    EXPECT_FALSE(backup.PreconditionCheck());
    EXPECT_TRUE(log.Contains("GetPackageInfo failed"));
    manager_.ClearBackupPackage();

    recipe_.configText.clear();
    recipe_.baseVersions = R"(["9.9.9"])";
    AddSecondApp();
    Deliver();
    manager_.RenamePackageToBak();
    WriteFile(Formats::CONFIG_PATH, std::string(PatchBuilder(recipe_).Config().size(), ' ')); // of another package
    Forgetful<TvpkBakPackageManager> whole;
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    ASSERT_TRUE(whole.GetPackageInfo());
    EXPECT_FALSE(whole.GetAllAPatchInfo(records)); // parsed, and not passed
    ASSERT_TRUE(whole.PreconditionCheck());
    manager_.ClearBackupPackage();
    ASSERT_TRUE(whole.PreconditionCheck()); // once passed it stays passed
    ASSERT_TRUE(whole.GetAllAPatchInfo(records));
    ASSERT_TRUE(whole.GetAllAPatchInfo(records));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1].bundleName, "com.b");
    EXPECT_EQ(records[1].version, 8U);
    EXPECT_EQ(records[1].preVersion, 5U);
    EXPECT_EQ(TakeCodes(), "");
    whole.Forget();
    EXPECT_FALSE(whole.GetAllAPatchInfo(records));
}
} // namespace
} // namespace ORVX::TavomendTest
