// Lives of a device with patches: which commands are given, and what has become of it afterwards.
#include <functional>

#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
const std::string BOOT_DETAIL = "0|0:47;1|0:47;1|1:34";
const Versions FACTORY = {{"com.hot", 1}, {"com.cold", 1}, {"com.single", 1}, {"com.keep", 1}};

TEST(LifeTest, BrokenApplicationsAreNamedAndTheOthersArrive)
{
    const DeviceWorld world;
    PatchRecipe recipe;
    struct Broken {
        std::function<void(PatchApp&)> breakIt;
        const char* says;
    };
    const Broken ways[] = {
        {[](PatchApp&) {}, nullptr},
        {[](PatchApp& app) { app.files[0].hash = "11"; }, "a rebuilt file does not have the stated hash (1|640)"},
        {[](PatchApp& app) { app.isMemberMissing = true; },
         "a file is missing from the package or damaged in it (2|440)"},
        {[](PatchApp& app) { app.files[0].base = "/system/app/none/B.vab"; },
         "a file could not be rebuilt: the installed file is not the one that the difference was made for, or the "
         "difference is damaged (3|612)"},
        {[](PatchApp& app) {
             app.files[0].difference = MakeZstdDifference(std::string(300, 'x') + "unknown to the device",
                                                          std::string(300, 'x') + "unknown to the world");
         },
         "a file could not be rebuilt: the installed file is not the one that the difference was made for, or the "
         "difference is damaged (4|612)"},
        {[](PatchApp& app) { app.files[0].newBytes = "broken"; }, "a bundle file is broken (5|1002)"},
        {[](PatchApp& app) { // its version is never reached: nothing to take in
             app.patchType = "cold";
             app.files[0].hash = "22";
         },
         "a rebuilt file does not have the stated hash (6|640), its installed version is below the patch's (6|816)"},
        {[](PatchApp& app) { app.bundleName = "com.none"; },
         "the first attempt to install it failed (7|810), the second attempt to install it failed (7|811)"},
        {[](PatchApp& app) { // never ends, so it is never installed hot
             app.files[0].newBytes = Vab{app.bundleName, 2, "entry", R"("keepAlive": true)"}.Bytes();
         },
         nullptr},
        {[](PatchApp&) {}, nullptr},
    };
    std::string expected;
    Versions versions = FACTORY;
    for (const Broken& way : ways) {
        const std::string name = "com.batch" + std::to_string(recipe.apps.size());
        const Vab vab{name, 1, "entry", "", "application " + name};
        const std::string base = "/system/app/" + name + "/B.vab";
        WriteFile(world.At("dev" + base), vab.Bytes());
        recipe.apps.push_back(HotApp(vab, 2, base));
        way.breakIt(recipe.apps.back());
        versions[name] = way.says == nullptr ? 2 : 1;
        if (way.says != nullptr) {
            expected += (expected.empty() ? "" : "; ") + recipe.apps.back().bundleName + ": " + way.says;
        }
    }
    world.Deliver(recipe);
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 1);
    EXPECT_NE(boot.err.find("tavomend: apply failed: " + expected + "\n"), std::string::npos) << boot.err;
    EXPECT_EQ(world.InstalledVersions(), versions);
    const std::string status = world.Status();
    for (const char* codes : {"(1|600,611,640)", "(2|400,440)", "(3|600,611,612)", "(1|811,822,810,822)",
                              "(2|811,813,810,813)", "(5|811,1002,810,1002)", "(6|811,816,810,816)", "(7|811,810)"}) {
        EXPECT_NE(status.find(codes), std::string::npos) << codes << " in " << status;
    }
    EXPECT_NE(world.Tavomend("info").out.find("com.batch1  not fixed\n"), std::string::npos);
    EXPECT_NE(world.Tavomend("apply").out.find("nothing to do: no package is delivered; the last apply failed: com."),
              std::string::npos);
}

TEST(LifeTest, ARevokeBringsTheFactoryVersionsBackUnlessTheyAreGone)
{
    const DeviceWorld world;
    world.Deliver(DeviceWorld::BaselinePatch(2));
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    world.Deliver(DeviceWorld::BaselinePatch(3)); // made from the factory files all the same
    EXPECT_EQ(world.Tavomend("info").exitCode, 3);
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions(),
              (Versions{{"com.hot", 3}, {"com.cold", 3}, {"com.single", 3}, {"com.keep", 1}}));
    world.Deliver(DeviceWorld::RevokePatch());
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 0) << boot.out << boot.err;
    EXPECT_NE(boot.out.find("com.cold restored at version 1"), std::string::npos) << boot.out;
    EXPECT_EQ(world.InstalledVersions(), FACTORY);
    EXPECT_EQ(world.Status(), "activites patch09 " + BOOT_DETAIL);
    EXPECT_EQ(world.Tavomend("apply").out, "nothing to do: patch patch09 has taken the patch back\n");
    EXPECT_EQ(world.Tavomend("info").out, "no patch is in force: patch09 has taken it back\n");

    // A later patch is not taken back by the old revoke, neither at its own boot nor at the next.
    world.Deliver(DeviceWorld::BaselinePatch());
    for (const char* end : {"patch patch01 is in force\n", "nothing to do: patch patch01 is in force\n"}) {
        const CliResult next = world.Tavomend("boot");
        EXPECT_EQ(next.exitCode, 0);
        EXPECT_NE(next.out.find(end), std::string::npos) << next.out;
    }
    EXPECT_EQ(world.InstalledVersions()["com.hot"], 2U);

    // The device's maker has put another factory version there meanwhile.
    WriteFile(world.At("dev/system/app/Hot/Hot.vab"), Vab{"com.hot", 5}.Bytes());
    world.Deliver(DeviceWorld::RevokePatch());
    EXPECT_EQ(world.Tavomend("boot").exitCode, 1);
    EXPECT_EQ(world.Status(), "activites_failed patch09 0|0:47;1|0:47;1|1:35");
    // The patch stays in force, and can be taken off once its factory version is back.
    EXPECT_NE(world.Tavomend("info").out.find("com.cold    fixed\n"), std::string::npos) << world.Tavomend("info").out;
    WriteFile(world.At("dev/system/app/Hot/Hot.vab"), Vab{"com.hot"}.Bytes());
    world.Deliver(DeviceWorld::RevokePatch());
    EXPECT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions(), FACTORY);
}

TEST(LifeTest, SingleApplicationsAreTakenBackByTheNextBoot)
{
    const DeviceWorld world;
    const auto says = [&world](const char* arguments, int exitCode, const std::string& line) {
        const CliResult result = world.Tavomend(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << arguments;
        EXPECT_NE((result.out + result.err).find(line + "\n"), std::string::npos)
            << arguments << ": " << result.out << result.err;
    };
    world.Deliver(DeviceWorld::BaselinePatch());
    says("revoke com.hot", 1, "tavomend: a delivered package is waiting: apply it, or boot, first");
    says("boot", 0, "patch patch01 is in force");
    says("revoke com.hot com.keep", 1, "tavomend: com.keep is none of the applications of patch01");
    says("boot", 0, "scan: nothing has changed"); // a refused request asks for nothing
    says("revoke com.hot com.hot", 0, "asked for; the next boot does it: `tavomend boot`");
    says("revoke com.single", 0, "asked for; the next boot does it: `tavomend boot`");
    says("status", 0, "next step: boot");
    says("load --stage init", 3, "load: no package is delivered"); // without a platform nothing can be checked
    const CliResult boot = world.Tavomend("boot");
    EXPECT_NE(boot.out.find("to be taken back by the next scan: com.hot\n"
                            "to be taken back by the next scan: com.single\n"
                            "nothing to do: patch patch01 is in force\n-- bundle scan\nscan:\n"
                            "  com.hot restored at version 1\n  com.single restored at version 1\n"),
              std::string::npos)
        << boot.out << boot.err;
    EXPECT_EQ(boot.exitCode, 0);
    const Versions some = {{"com.hot", 1}, {"com.cold", 2}, {"com.single", 1}, {"com.keep", 1}};
    EXPECT_EQ(world.InstalledVersions(), some);
    EXPECT_EQ(world.Status(), "activites patch01 " + BOOT_DETAIL);
    says("info", 0, "com.single  fixed");
    says("revoke com.hot", 3, "nothing to do: what was named has been taken back already");
    says("boot", 0, "scan: nothing has changed");

    // The third one beside the earlier two; only what no newer package brings.
    says("revoke com.cold", 0, "asked for; the next boot does it: `tavomend boot`");
    says("load --stage sa", 3, "to be taken back by the next scan: com.cold");
    says("boot", 0, "  com.cold restored at version 1");
    EXPECT_EQ(world.InstalledVersions(), FACTORY);
    says("info", 0, "com.hot     fixed");
    says("boot", 0, "scan: nothing has changed");
    world.Deliver(DeviceWorld::BaselinePatch(3));
    says("boot", 0, "patch patch02 is in force");
    WriteFile(world.At("dev/system/app/Hot/Hot.vab"), Vab{"com.hot", 2}.Bytes());
    says("boot", 0, "nothing to do: patch patch02 is in force");
    says("revoke com.hot com.cold", 0,
         "com.hot goes back to its factory version 2, not to version 1 that it was patched from");
    PatchRecipe newer = DeviceWorld::BaselinePatch(4);
    newer.apps.erase(newer.apps.begin()); // com.hot is none of this patch's
    newer.version = "patch03";
    world.Deliver(newer);
    says("boot", 0, "patch patch03 is in force");
    says("boot", 0, "not taken back: com.hot is none of the patch in force");
    says("revoke com.single", 0, "asked for; the next boot does it: `tavomend boot`");
    world.Deliver(DeviceWorld::RevokePatch());
    says("status", 0, "next step: boot");
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/app/revoke_request.json")));
}

// As the machine's own boot calls for its stages: what a patch comes to is told, and fails none of them.
TEST(LifeTest, AMachineBootsStageByStage)
{
    const DeviceWorld world;
    const auto boot = [&world](const char* name) {
        const char* const stages[] = {"init", "scan", "service"};
        for (const char* stage : stages) {
            const CliResult result = world.Tavomend(std::string("boot --stage ") + stage);
            EXPECT_EQ(result.exitCode, 0) << name << ", " << stage << ": " << result.err;
        }
        return world.InstalledVersions();
    };
    const Versions patched = {{"com.hot", 2}, {"com.cold", 2}, {"com.single", 2}, {"com.keep", 1}};
    EXPECT_EQ(boot("nothing to do"), FACTORY);
    world.Deliver(DeviceWorld::BaselinePatch());
    EXPECT_EQ(boot("a patch"), patched);
    EXPECT_EQ(world.Status(), "activites patch01 " + BOOT_DETAIL);
    EXPECT_EQ(world.Tavomend("revoke com.cold").exitCode, 0);
    EXPECT_EQ(boot("one application"), (Versions{{"com.hot", 2}, {"com.cold", 1}, {"com.single", 2}, {"com.keep", 1}}));
    world.Deliver(DeviceWorld::RevokePatch());
    EXPECT_EQ(boot("a revoke"), FACTORY);

    PatchRecipe broken = DeviceWorld::BaselinePatch();
    broken.apps[1].files[0].hash = "11";
    world.Deliver(broken);
    EXPECT_EQ(boot("a broken patch"), (Versions{{"com.hot", 2}, {"com.cold", 1}, {"com.single", 2}, {"com.keep", 1}}));
    EXPECT_EQ(world.Status().rfind("activites_failed patch01 ", 0), 0U) << world.Status();
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/package/app.tvpk"))); // no boot tries it for ever

    // No stage without its work: the scan needs the store.
    WriteFile(world.At("dev/data/service/bundles/store.db"), std::string(4096, 'x'));
    WriteFile(world.At("dev/data/app/com.odd/v1/entry.vab"), "broken");
    EXPECT_EQ(world.Tavomend("boot --stage scan").exitCode, 1);
    EXPECT_EQ(world.Tavomend("boot --stage service").exitCode, 1);
}
} // namespace
} // namespace ORVX::TavomendTest
