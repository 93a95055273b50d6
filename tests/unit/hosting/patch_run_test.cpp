// Load, apply and whole boots: what is reported in which order, what they come to, and what is on the device
// afterwards.
#include "formats/device_paths.h"
#include "hosting/boot.h"
#include "hosting/event_observer.h"
#include "hosting/patch_run.h"
#include "platform/api/system_ability_manager.h"
#include "platform/utility/sys_utils.h"
#include "platform/utility/tavomend_status_record.h"
#include "ports/host/bundle_store.h"
#include "ports/host/host_platform.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"
#include "tests/unit/hosting/hosted_device.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using TavomendHosting::HostEvent;
using TavomendHosting::IHostObserver;

const std::string BROKEN = "com.a: a rebuilt file does not have the stated hash (0|640)";
const std::string BROKEN_DETAIL = "1|0(0|600,611,640):48;1|1(0|811,822,810,822):35";

class PatchRunTest : public HostedDeviceTest {
protected:
    // com.a's product is this, whatever the configuration says of it.
    void MakeOfA(const Vab& vab) { recipe.apps[0].files[0].newBytes = vab.Bytes(); }
    static void InstallA(uint32_t version)
    {
        std::string error;
        const auto platform = TavomendHost::HostPlatform::Start(ServiceStart::ATTACH, error);
        WriteFile("/tmp/a.vab", Vab{"com.a", version}.Bytes());
        const auto abilities = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
        const auto service = iface_cast<IBundleMgr>(abilities->GetSystemAbility(401));
        ASSERT_EQ(InstallAndWait(*service, {"/tmp/a.vab"}, 100).first, 0);
    }
    // The engine is done with a patch that is not what its configuration says.
    [[nodiscard]] std::string Unkept(const std::string& what) const
    {
        std::string reports = rebuilt_ + applied_;
        return reports.replace(reports.find("done"), 4, "failed: the patch is recorded as in force, but " + what);
    }
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
    const std::string rebuilt_ = "rebuilding com.a 1/2\nrebuilding com.b 2/2\n";
    const std::string failure_ = "not all loaded\nprogress 1/2\nprogress 2/2\nengine 151 activites_failed\n";
    const std::string applied_ =
        "loaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\ndone [activites patch01 1|0:47;1|1:34]";
};

TEST_F(PatchRunTest, AnApplyReportsFromLoadToOutcome)
{
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string reports;
        std::string versions;
        size_t files; // left in the package directory
    };
    const Case cases[] = {
        {"a failed application in a patch that asks for a boot",
         [this] {
             Break();
             AskForBoot();
             Place();
         },
         rebuilt_ + failure_ + "rebuilding com.a 1/2\n" + failure_ + "failed: " + BROKEN +
             " [activites_failed patch01 " + BROKEN_DETAIL + "]",
         "com.a 1, com.b 2", 2},
        {"a set of another application",
         [this] {
             MakeOfA(Vab{"com.c", 2});
             Place();
         },
         Unkept("com.a runs version 1 and not 2"), "com.a 1, com.b 2, com.c 2", 2},
        {"a set of the former version",
         [this] {
             MakeOfA(Vab{"com.a", 1, "entry", "", "others"});
             Place();
         },
         Unkept("com.a runs version 1 and not 2"), "com.a 1, com.b 2", 2},
        {"a set of a higher version",
         [this] {
             MakeOfA(Vab{"com.a", 3});
             AskForBoot();
             Place();
         },
         Unkept("com.a runs version 3 and not 2"), "com.a 3, com.b 2", 2},
        {"a higher version that is none of the patch's doing",
         [this] {
             InstallA(3);
             Place();
         },
         rebuilt_ + applied_, "com.a 3, com.b 2", 2},
        {"a platform that cannot say what runs",
         [this] {
             port.isBlind = true;
             Place();
         },
         Unkept("what is installed cannot be read"), "com.a 2, com.b 2", 2},
        {"a legacy package, whose configuration is known only after the load", [this] { PlaceInLegacyDirectory(); },
         applied_ + " needs a boot", "com.a 2, com.b 2", 2},
        {"a newer package beside a legacy one",
         [this] {
             PlaceInLegacyDirectory();
             recipe.configText.clear();
             recipe.version = "patch02";
             Place();
         },
         "rebuilding com.a 1/2\nrebuilding com.b 2/2\nloaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\n"
         "done [activites patch02 1|0:47;1|1:34]",
         "com.a 2, com.b 2", 2},
        {"a package with a cold application, which it does not touch",
         [this] {
             recipe.apps[1].patchType = "cold";
             Place();
         },
         "needs a boot: a boot takes cold applications in (com.b): `tavomend boot`", "com.a 1, com.b 1", 2},
        {"a package that takes a patch off",
         [this] {
             recipe.apps.clear();
             recipe.action = 2;
             Place();
         },
         "needs a boot: the package takes the patch off, which happens in a boot: `tavomend boot`", "com.a 1, com.b 1",
         2},
        {"half a delivery", [this] { PlaceSignedBy(nullptr); }, "nothing: no package is delivered [idle patch00 ]",
         "com.a 1, com.b 1", 0},
        {"a patch that has failed before, without a code",
         [] {
             WriteFile(Formats::BACKUP_PACKAGE_PATH, "package");
             WriteFile(Formats::BACKUP_SIGN_PATH, "signature");
             SetStatus("activites_failed", "1|1:35");
         },
         "nothing: no package is delivered; the last apply failed [activites_failed patch01 1|1:35]",
         "com.a 1, com.b 1", 2},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        MakeDevice();
        entry.prepare();
        EXPECT_EQ(Apply(), entry.reports + "\n");
        EXPECT_EQ(Versions(), entry.versions);
        EXPECT_EQ(ListTree(Formats::PACKAGE_DIR).size(), entry.files);
        EXPECT_FALSE(Exists(Formats::LEGACY_PATCH_DIR)); // or each boot would take it again
        port.isBlind = false;
    }
    MakeDevice();
    WriteFile(std::string(Formats::LEGACY_PATCH_DIR) + "/note", "no package is taken from here, so it stays");
    EXPECT_EQ(Apply(), "nothing: no package is delivered [idle patch00 ]\n");
    EXPECT_TRUE(Exists(std::string(Formats::LEGACY_PATCH_DIR) + "/note"));
    MakeDevice(); // a load's failure is of its stage
    recipe.apps[0].patchType = "cold";
    Break();
    Place();
    EXPECT_EQ(Load(RUNNING_STAGE_INIT),
              "rebuilding com.a 1/1\nfailed: " + BROKEN + " [ready_failed  0|0(0|600,611,640):48]\n");
    EXPECT_EQ(Load(RUNNING_STAGE_SA), "rebuilding com.b 1/1\ndone [ready  0|0(0|600,611,640):48;1|0:47]\n");
}

TEST_F(PatchRunTest, WhatMayPassCostsNoPackage)
{
    const auto applyWith = [this](size_t failures) {
        MakeDevice();
        recipe.space = 1000; // more than the work directory holds, so that the gate asks for room
        Place();
        FaultyFileLayer layer;
        for (size_t n = 1; n <= failures; ++n) {
            layer.FailCall("statvfs", n, EIO); // which reads as a full disk
        }
        return Apply();
    };
    const std::string refused = "not all loaded\nengine 151 activites_failed\n";
    EXPECT_EQ(applyWith(2), failure_ + rebuilt_ + applied_ + "\n");
    const std::string noRoom = applyWith(100);
    EXPECT_NE(noRoom.find(refused + refused + "failed: "), std::string::npos) << noRoom;
    EXPECT_NE(noRoom.find("(100|10); the package stays"), std::string::npos) << noRoom;
    EXPECT_EQ(Apply(), rebuilt_ + applied_ + "\n");

    MakeDevice();
    Place();
    std::filesystem::remove_all(Formats::STATUS_DIR);
    WriteFile(Formats::STATUS_DIR, "no directory");
    const std::string unrecorded = Apply();
    EXPECT_NE(unrecorded.find("failed: the outcome could not be recorded; the package stays"), std::string::npos);
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR).size(), 2U);
    std::filesystem::remove(Formats::STATUS_DIR);
    EXPECT_EQ(Apply(), applied_ + "\n");

    MakeDevice();
    Place();
    WriteFile("/data/update/tavomend/package/kept.new/x", "");
    WriteFile("/data/update/tavomend/package/kept", "in the way");
    const std::string unkept = Apply();
    EXPECT_NE(unkept.find("failed: the device cannot be written now; the package stays"), std::string::npos) << unkept;
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    EXPECT_EQ(Versions(), "com.a 1, com.b 1");
}

TEST_F(PatchRunTest, WhatWasCutShortBeforeIsMendedFirst)
{
    const std::function<std::string()> operations[] = {[this] { return Load(RUNNING_STAGE_INIT); },
                                                       [this] { return Load(RUNNING_STAGE_SA); },
                                                       [this] { return Apply(); }}; // which leaves it for a boot
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

TEST_F(PatchRunTest, TellsOfAStoreThatWasMadeAnew)
{
    for (const std::function<std::string()>& operation :
         {std::function<std::string()>([this] { return Load(RUNNING_STAGE_SA); }),
          {[this] { return Apply(); }},
          {[this] { return Boot(); }}}) {
        EXPECT_EQ(operation().find("anew"), std::string::npos);
        WriteFile(TavomendHost::BUNDLE_STORE_PATH, "no store at all");
        EXPECT_NE(operation().find("the bundle store is damaged: file is not a database; it was made anew from 0 "
                                   "installed applications and the factory's, and is kept as "),
                  std::string::npos);
        EXPECT_EQ(Versions(), "com.a 1, com.b 1");
    }
}

// Asks for a stop from the n-th safe point on.
class StoppingObserver : public RecordingObserver {
public:
    explicit StoppingObserver(int stopAt) : RecordingObserver(REPORTS), stopAt_(stopAt) {}
    [[nodiscard]] bool IsStopAsked() const override { return asked_++ >= stopAt_; }

private:
    const int stopAt_;
    mutable int asked_ = 0;
};

TEST_F(PatchRunTest, StopsOnlyWhereTheNextOperationFinishes)
{
    for (const bool isBoot : {false, true}) {
        int stops = 0;
        for (int point = 0;; ++point) {
            SCOPED_TRACE(point);
            MakeDevice();
            recipe.apps[1].patchType = isBoot ? "cold" : "hot";
            Place();
            const std::string reports = Play([&](TavomendHosting::IHostObserver&) {
                StoppingObserver observer(point);
                if (!isBoot) {
                    return LineOf(TavomendHosting::LoadAndApply(port, observer));
                }
                const auto booted = TavomendHosting::RunBoot(port, observer);
                return WordOf(booted.outcome) + ": " + booted.reason;
            });
            if (reports.find("interrupted") == std::string::npos) {
                break;
            }
            ++stops;
            EXPECT_NE(reports.find(isBoot ? "interrupted: interrupted; the next boot finishes"
                                          : "interrupted: interrupted; the package stays"),
                      std::string::npos)
                << reports;
            EXPECT_TRUE(Exists(Formats::PACKAGE_PATH) && Exists(Formats::SIGN_PATH));
            EXPECT_NE((isBoot ? Boot() : Apply()).find("done [activites patch01"), std::string::npos);
            EXPECT_EQ(Versions(), "com.a 2, com.b 2");
        }
        EXPECT_EQ(stops, isBoot ? 4 : 2); // a boot: before each stage, and before the apply
    }
}

class BootTest : public HostedDeviceTest {
protected:
    void SetUp() override
    {
        HostedDeviceTest::SetUp();
        recipe.apps[1].patchType = "cold";
        Place();
    }
    const std::string init_ = "-- init stage\nrebuilding com.b 1/1\ndone [ready  0|0:47]\nend of init stage: done\n";
    const std::string scan_ = "-- bundle scan\nscanned, com.b updated 2\ndone\nend of bundle scan: done\n";
    const std::string service_ =
        "-- system-service stage\nrebuilding com.a 1/1\nloaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\n"
        "done [activites patch01 0|0:47;1|0:47;1|1:34]\nend of system-service stage: done\n";
};

TEST_F(BootTest, PlaysItsStagesInTurn)
{
    EXPECT_EQ(Boot(), init_ + scan_ + service_ + "done\n");
    EXPECT_EQ(Boot(), "-- init stage\nnothing: no package is delivered [activites patch01 0|0:47;1|0:47;1|1:34]\n"
                      "end of init stage: nothing\n-- bundle scan\nscanned\ndone\nend of bundle scan: done\n"
                      "-- system-service stage\nnothing: patch patch01 is in force [activites patch01 "
                      "0|0:47;1|0:47;1|1:34]\nend of system-service stage: nothing\nnothing\n");
}

TEST_F(BootTest, WithoutServicesOrAStageThereIsNoBootAndTheNextOneFinishesTheWork)
{
    port.refused = ServiceStart::SCAN;
    EXPECT_EQ(Boot(), init_ +
                          "-- bundle scan\nno platform: the services do not start\nend of bundle scan: no platform\n"
                          "failed: the boot ends here: the bundle scan did not come to its end\n");
    port.refused = ServiceStart::ATTACH;
    EXPECT_EQ(Boot(), init_ + scan_ +
                          "-- system-service stage\nno platform: the services do not start\n"
                          "end of system-service stage: no platform\nno platform\n");
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    port.refused.reset();
    port.deadly = ServiceStart::ATTACH;
    const std::string after = Boot();
    EXPECT_NE(after.find("-- system-service stage\nend of system-service stage: died\n"
                         "failed: the boot ends here: the system-service stage did not come to its end\n"),
              std::string::npos)
        << after;
    port.deadly.reset();
    EXPECT_NE(Boot().find("done [activites patch01 "), std::string::npos);
}

TEST_F(PatchRunTest, EventsNameApplicationAndCode)
{
    const auto boot = [this](IHostObserver& quiet) {
        const RecordingObserver record(REPORTS);
        TavomendHosting::EventObserver observer(port, quiet, [&record](const HostEvent& event) {
            constexpr const char* KINDS[] = {"I", "W", "E"};
            record.Record("! " + std::string(KINDS[static_cast<int>(event.kind)]) + " " + event.text + " (" +
                          event.bundleName + (event.code ? "|" + std::to_string(*event.code) : "") + ")");
        });
        return WordOf(TavomendHosting::RunBoot(port, observer).outcome);
    };
    const auto eventsOf = [&boot] {
        std::istringstream reports(Play(boot));
        std::string events;
        for (std::string line; std::getline(reports, line);) {
            events += line.rfind("! ", 0) == 0 ? line.substr(2) + "\n" : "";
        }
        return events;
    };
    Place();
    EXPECT_EQ(eventsOf(), "I rebuilding com.a (com.a)\nI rebuilding com.b (com.b)\nI patch patch01 is in force ()\n"
                          "I com.a is patched to version 2 by patch01 (com.a)\n"
                          "I com.b is patched to version 2 by patch01 (com.b)\n");
    MakeDevice();
    Break();
    recipe.apps[1].patchType = "cold";
    Place();
    const std::string failed = "I rebuilding com.a (com.a)\nE apply failed: " + BROKEN +
                               " ()\nE com.a: a rebuilt file does not have the stated hash (com.a|640)\n"
                               "E com.a: its new files could not be rebuilt (com.a|611)\n"
                               "E com.a: its new files could not be rebuilt (com.a|600)\n"
                               "E com.a: its new files had not been rebuilt (com.a|822)\n"
                               "E com.a: the first attempt to install it failed (com.a|810)\n"
                               "E com.a: its new files had not been rebuilt (com.a|822)\n"
                               "E com.a: the second attempt to install it failed (com.a|811)\n";
    EXPECT_EQ(eventsOf(), "I rebuilding com.b (com.b)\nI com.b updated at version 2 (com.b)\n" + failed +
                              "I rebuilding com.b (com.b)\n" + failed);
}
} // namespace
} // namespace ORVX::TavomendTest
