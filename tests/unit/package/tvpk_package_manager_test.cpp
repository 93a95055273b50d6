#include <gtest/gtest.h>
#include <sys/stat.h>

#include "package/tvpk_bak_package_manager.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/host_log.h"
#include "ports/host/host_platform.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/unit/package/package_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using APatchInfo = TvpkPackageManager::APatchInfo;

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

    TvpkPackageManager manager_;
};

TEST_F(TvpkPackageManagerTest, TheGateNamesTheStepThatFailed)
{
    struct Case {
        std::function<void()> spoil; // what Deliver has put on the device
        const char* codes;
        const char* message;
    };
    const Case cases[] = {
        {[] { std::filesystem::remove(Formats::SIGN_PATH); }, "(100|0)", "patchFile is not found"},
        {[] { WriteFile(Formats::SIGN_PATH, "no signature"); }, "(100|20)", "verify file integrity failed"},
        {[] { WriteFile("/etc/os-release", "VERSION_ID=1.0.0-beta\n"); }, "(100|40)", "check baseVersion failed"},
        {[] { std::filesystem::resize_file(Formats::WORK_DIR + std::string("/left"), int64_t{1} << 40); }, "(100|10)",
         "check free space insufficient storage space"},
    };
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
        bool isRevoke = false;
        uint32_t version = 0;
        std::map<std::string, std::string> names;
        EXPECT_FALSE(manager.GetAction(isRevoke)); // also where the configuration was parsed
        EXPECT_FALSE(manager.GetAllBundleNameList(names) || manager.GetAppVersion("com.a", version) ||
                     manager.GetAppPreVersion("com.a", version));
    }
    SetUp();
    recipe_.configText = "{}";
    Deliver();
    {
        TvpkPackageManager manager;
        EXPECT_FALSE(manager.CheckBaseVersion());
        EXPECT_FALSE(manager.CheckFreeSpace());
        EXPECT_FALSE(manager.PreconditionCheck());
        EXPECT_EQ(TakeCodes(), "(100|30)");
    }
}

TEST_F(TvpkPackageManagerTest, TheGateStaysPassedAndItsConfigurationParsed)
{
    // The extraction would take a file of the member's size for the member.
    WriteFile(Formats::CONFIG_PATH, std::string(PatchBuilder(recipe_).Config().size(), ' '));
    Deliver();
    EXPECT_FALSE(manager_.RestoreAPatch("com.a")); // not passed yet
    EXPECT_EQ(TakeCodes(), "(101|610,210)");
    EXPECT_TRUE(manager_.PreconditionCheck());
    EXPECT_EQ(ReadFile(Formats::CONFIG_PATH), PatchBuilder(recipe_).Config());
    manager_.ClearPackage();
    EXPECT_TRUE(manager_.PreconditionCheck());
    bool isRevoke = true;
    EXPECT_TRUE(manager_.GetAction(isRevoke));
    EXPECT_FALSE(isRevoke);
}

TEST_F(TvpkPackageManagerTest, WhatWasVerifiedIsWhatIsExtracted)
{
    WriteFile("/etc/passwd", "tavomend:x:1077:1078::/:\n");
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    Deliver();
    const std::string package = ReadFile(Formats::PACKAGE_PATH);
    PatchRecipe forged = recipe_;
    forged.version = "patch66";
    forged.apps[0].files[0].newBytes = "unsigned";
    const std::string other = PatchBuilder(forged).Package();
    // The package goes when its signature was found good, the configuration when it was extracted.
    TavomendHost::HostLog::SetListener([&](int32_t, const std::string& line) {
        if (line.find("verify sign result: 1") != std::string::npos) {
            std::filesystem::remove(Formats::PACKAGE_PATH);
            WriteFile(Formats::PACKAGE_PATH, other);
        } else if (line.find("unzip /data") != std::string::npos) {
            struct stat status {};
            EXPECT_EQ(stat(Formats::CONFIG_PATH, &status), 0);
            EXPECT_EQ(status.st_uid, 1077U); // the engine's, in the init stage
            WriteFile(Formats::CONFIG_PATH, PatchBuilder(forged).Config());
        }
    });
    ASSERT_TRUE(manager_.PreconditionCheck());
    TavomendHost::HostLog::SetListener(nullptr);
    EXPECT_EQ(manager_.GetTavomendVersion(), "patch01");
    manager_.Reset();
    EXPECT_FALSE(manager_.ExactAPatch("com.a"));
    EXPECT_FALSE(Exists(HOT_DIR));
    EXPECT_EQ(TakeCodes(), "(0|440)");

    manager_.Reset();
    WriteFile(Formats::PACKAGE_PATH, package);
    ASSERT_TRUE(manager_.ExactAPatch("com.a") && manager_.RestoreAPatch("com.a"));
    EXPECT_EQ(ReadFile(std::string(HOT_DIR) + "Demo.vab"), NEW);
}

TEST_F(TvpkPackageManagerTest, AConfigurationIsReadUpTo16MiB)
{
    const std::string config = PatchBuilder(recipe_).Config();
    for (const size_t size : {size_t{16} << 20U, (size_t{16} << 20U) + 1}) {
        recipe_.configText = config + std::string(size - config.size(), ' ');
        Deliver();
        EXPECT_EQ(TvpkPackageManager().PreconditionCheck(), size == size_t{16} << 20U);
        WriteFile(Formats::CONFIG_PATH, recipe_.configText);
        EXPECT_EQ(ParseAppConfigTool().ParseTavomendConfig(), size == size_t{16} << 20U);
    }
    EXPECT_EQ(TakeCodes(), "(100|30)");
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
}

TEST_F(TvpkPackageManagerTest, PathsFollowTheirRules)
{
    EXPECT_EQ(manager_.GetFileName("/system/app/Demo.x/Demo.1.vab"), "Demo.1");
    EXPECT_EQ(manager_.GetFileName("Demo.vab"), "Demo");
    EXPECT_EQ(manager_.GetFileName("/a/name"), "name");
    EXPECT_EQ(manager_.GetFileName("/a/.profile"), "");
    EXPECT_EQ(manager_.GetFileName("/a.x/name"), "");
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
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.a", 3));
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.none", 0)); // nobody has it
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT);
    EXPECT_FALSE(manager_.IsTargetAppVersion("com.a", 2));
}

TEST_F(TvpkPackageManagerTest, TheBackupIsReadWithoutDeviceChecks)
{
    TvpkBakPackageManager backup;
    EXPECT_FALSE(backup.PreconditionCheck());
    recipe_.baseVersions = R"(["9.9.9"])";
    AddSecondApp();
    Deliver();
    manager_.RenamePackageToBak();
    WriteFile(Formats::CONFIG_PATH, std::string(PatchBuilder(recipe_).Config().size(), ' ')); // of another package
    TvpkBakPackageManager whole;
    std::vector<TvpkBakPackageManager::APatchInfo> records;
    ASSERT_TRUE(whole.GetPackageInfo());
    EXPECT_FALSE(whole.GetAllAPatchInfo(records)); // parsed, and not passed
    const LogCapture log;
    ASSERT_TRUE(whole.PreconditionCheck());
    EXPECT_FALSE(log.Contains("GetPackageInfo failed"));
    manager_.ClearBackupPackage();
    ASSERT_TRUE(whole.PreconditionCheck()); // once passed it stays passed
    ASSERT_TRUE(whole.GetAllAPatchInfo(records));
    ASSERT_TRUE(whole.GetAllAPatchInfo(records));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1].bundleName, "com.b");
    EXPECT_EQ(records[1].version, 8U);
    EXPECT_EQ(records[1].preVersion, 5U);
    EXPECT_EQ(TakeCodes(), "");
}
} // namespace
} // namespace ORVX::TavomendTest
