// Load and apply: what is reported in which order, what they come to, and what is on the device afterwards.
#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "platform/utility/tavomend_status_record.h"
#include "tests/unit/hosting/hosted_device.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

const std::string DELIVERED_BOTH = "com.a 2, com.b 2";
const std::string BROKEN = "com.a: a rebuilt file does not have the stated hash (0|640)";
const std::string BROKEN_DETAIL = "1|0(0|600,611,640):48;1|1(0|811,822,810,822):35";

class PatchRunTest : public HostedDeviceTest {
protected:
    void Break() { recipe.apps[0].files[0].hash = Sha256Hex("another content"); }
    // In the order of a delivery, which may stop after the package.
    void PlaceSignedBy(const SigningKey* key) const
    {
        const std::string package = PatchBuilder(recipe).Package();
        WriteFile(Formats::PACKAGE_PATH, package);
        if (key != nullptr) {
            WriteFile(Formats::SIGN_PATH, key->Sign(package));
        }
    }
    static void SetStatus(const char* word, const char* detail)
    {
        TavomendStatusRecord record;
        record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        ASSERT_TRUE(record.SetStatus("patch01", word, detail));
    }
    void PlaceInLegacyDirectory()
    {
        AskForBoot();
        PlaceSignedBy(&Key());
        std::filesystem::create_directories("/data/vrns4");
        std::filesystem::rename(Formats::PACKAGE_DIR, Formats::LEGACY_PATCH_DIR);
    }
    [[nodiscard]] static std::string FilesInPackageDirectory()
    {
        std::string names;
        for (const auto& entry : ListTree(Formats::PACKAGE_DIR)) {
            names += std::filesystem::path(entry.substr(0, entry.find(' '))).filename().string() + " ";
        }
        return names;
    }

    const std::string backup_ = "app.tvpk.bak tavomend_sign.bin.bak ";
    const std::string inForce_ = "[activites patch01 1|0:47;1|1:34]";
    const std::string applied_ = "loaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\ndone " + inForce_;
    const std::string failed_ = "not all loaded\nprogress 1/2\nprogress 2/2\nengine 151 activites_failed\nfailed: ";
};

TEST_F(PatchRunTest, AnApplyReportsFromLoadToOutcome)
{
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string reports;
        std::string versions = "com.a 1, com.b 1";
        std::string packages;
    };
    const Case cases[] = {
        {"a patch", [this] { Place(); }, applied_, DELIVERED_BOTH, backup_},
        {"a patch that asks for a boot",
         [this] {
             AskForBoot();
             Place();
         },
         applied_ + " needs a boot", DELIVERED_BOTH, backup_},
        {"a failed application in a patch that asks for a boot",
         [this] {
             Break();
             AskForBoot();
             Place();
         },
         failed_ + BROKEN + " [activites_failed patch01 " + BROKEN_DETAIL + "]", "com.a 1, com.b 2", backup_},
        {"a refused package, over a patch in force",
         [this] {
             Place();
             EXPECT_EQ(Apply(), applied_ + "\n");
             PlaceSignedBy(std::make_unique<SigningKey>().get());
         },
         "not all loaded\nengine 151 activites_failed\nfailed: the signature does not verify (100|20) "
         "[activites_failed  1|0(100|20,20):48;1|1(100|20,20):35]",
         DELIVERED_BOTH, backup_},
        {"a legacy package, whose applications are known only after the load",
         [this] {
             Break();
             PlaceInLegacyDirectory();
         },
         failed_ + BROKEN + " [activites_failed patch01 " + BROKEN_DETAIL + "]", "com.a 1, com.b 2", backup_},
        {"a legacy package that asks for a boot", [this] { PlaceInLegacyDirectory(); }, applied_ + " needs a boot",
         DELIVERED_BOTH, backup_},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        MakeDevice();
        entry.prepare();
        EXPECT_EQ(Apply(), entry.reports + "\n");
        EXPECT_EQ(Versions(), entry.versions);
        EXPECT_EQ(FilesInPackageDirectory(), entry.packages);
    }
}

TEST_F(PatchRunTest, WithoutAPackageItSaysWhy)
{
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string reason;
        std::string record;
    };
    const Case cases[] = {
        {"nothing was ever delivered", [] {}, "no package is delivered", "[idle patch00 ]"},
        {"half delivered", [this] { PlaceSignedBy(nullptr); },
         "a package and its signature are delivered only together", "[idle patch00 ]"},
        {"in force",
         [this] {
             Place();
             EXPECT_EQ(Apply(), applied_ + "\n");
         },
         "patch patch01 is in force", inForce_},
        {"failed before",
         [this] {
             Break();
             Place();
             EXPECT_NE(Apply(), "");
         },
         "no package is delivered; the last apply failed: " + BROKEN,
         "[activites_failed patch01 " + BROKEN_DETAIL + "]"},
        {"failed before without a code",
         [] {
             WriteFile(Formats::BACKUP_PACKAGE_PATH, "package");
             WriteFile(Formats::BACKUP_SIGN_PATH, "signature");
             SetStatus("activites_failed", "1|1:35");
         },
         "no package is delivered; the last apply failed", "[activites_failed patch01 1|1:35]"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        MakeDevice();
        entry.prepare();
        for (const int32_t stage : {RUNNING_STAGE_INIT, RUNNING_STAGE_SA}) {
            EXPECT_EQ(Load(stage), "nothing: no package is delivered " + entry.record + "\n");
        }
        EXPECT_EQ(Apply(), "nothing: " + entry.reason + " " + entry.record + "\n");
    }
}

TEST_F(PatchRunTest, ALoadIsOfItsStage)
{
    recipe.apps[0].patchType = "cold";
    Break();
    Place();
    const std::string reason = "failed: " + BROKEN;
    EXPECT_EQ(Load(RUNNING_STAGE_INIT), reason + " [ready_failed  0|0(0|600,611,640):48]\n");
    EXPECT_EQ(Load(RUNNING_STAGE_SA), "done [ready  0|0(0|600,611,640):48;1|0:47]\n");
}

TEST_F(PatchRunTest, TheServicesRunWhereTheStageHasThem)
{
    Place();
    const RecordingObserver recorder(REPORTS);
    port.onStart = [&recorder](ServiceStart start) {
        recorder.Record(std::string(start == ServiceStart::SCAN ? "scan" : "attach") + " at stage " +
                        std::to_string(SysUtils::GetRunningStage()));
    };
    SysUtils::SetRunningStage(RUNNING_STAGE_INIT); // as an earlier operation may have left it
    EXPECT_EQ(Load(RUNNING_STAGE_INIT), "done [ready  0|0:47]\n");
    EXPECT_EQ(Load(RUNNING_STAGE_SA), "scan at stage 1\ndone [ready  0|0:47;1|0:47]\n");
    port.refused = ServiceStart::SCAN;
    for (const auto& reports : {Load(RUNNING_STAGE_SA), Apply()}) {
        EXPECT_EQ(reports, "scan at stage 1\nno platform: the services do not start\n");
    }
    EXPECT_EQ(FilesInPackageDirectory(), "app.tvpk tavomend_sign.bin ");
    port.refused.reset();
    EXPECT_EQ(Apply(), "scan at stage 1\nloaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\ndone [activites "
                       "patch01 0|0:47;1|0:47;1|0:47;1|1:34]\n");
}

TEST_F(PatchRunTest, WhatWasCutShortBeforeIsMendedFirst)
{
    const std::function<std::string()> operations[] = {[this] { return Load(RUNNING_STAGE_INIT); },
                                                       [this] { return Load(RUNNING_STAGE_SA); },
                                                       [this] { return Apply(); }};
    for (const auto& operation : operations) {
        MakeDevice();
        recipe.apps[1].patchType = "cold";
        Place();
        // An apply that had not recorded its outcome yet has moved the package, and not the signature.
        SetStatus("ready", "1|0:47");
        std::filesystem::rename(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH);
        std::filesystem::remove_all(Formats::COLD_WORK_DIR);
        EXPECT_EQ(operation().find("nothing"), std::string::npos);
        EXPECT_EQ(ListTree(Formats::COLD_WORK_DIR).size(), 1U);
    }
}
} // namespace
} // namespace ORVX::TavomendTest
