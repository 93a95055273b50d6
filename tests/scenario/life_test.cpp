// Lives of a device with patches: which commands are given, and what has become of it afterwards.
#include <filesystem>
#include <functional>

#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
const std::string BOOT_DETAIL = "0|0:47;1|0:47;1|1:34";

// What differs from the baseline: the baseline patch is delivered, one boot takes it in, everything is at version 2.
struct Life {
    const char* name;
    std::vector<std::string> commands = {"boot"}; // the last one's exit code counts
    int exitCode = 0;
    Versions versions = {}; // that differ
    std::string status = "activites patch01 " + BOOT_DETAIL;
    std::function<void(PatchRecipe&)> change = nullptr;
    std::string says = ""; // by the last command
};

class LifeTest : public testing::TestWithParam<Life> {};

TEST_P(LifeTest, EndsAsItShould)
{
    const Life& life = GetParam();
    const DeviceWorld world;
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    if (life.change) {
        life.change(recipe);
    }
    world.Deliver(recipe);
    CliResult last;
    for (const auto& command : life.commands) {
        last = world.Tavomend(command);
    }
    EXPECT_EQ(last.exitCode, life.exitCode) << last.out << last.err;
    EXPECT_NE((last.out + last.err).find(life.says), std::string::npos) << last.out << last.err;
    Versions expected = {{"com.hot", 2}, {"com.cold", 2}, {"com.single", 2}, {"com.keep", 1}};
    for (const auto& [bundle, version] : life.versions) {
        expected[bundle] = version;
    }
    EXPECT_EQ(world.InstalledVersions(), expected);
    EXPECT_EQ(world.Status(), life.status);
    // Whatever happened, nothing is left waiting and nothing half done.
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/package/app.tvpk")));
    EXPECT_TRUE(Exists(world.At("dev/data/update/tavomend/package/app.tvpk.bak")));
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/app/temp/hot")));
    EXPECT_FALSE(Exists(world.At("dev/data/app/.staging")));
}

std::string Failed(const std::string& loadCodes, const std::string& applyCodes)
{
    return "activites_failed patch01 0|0:47;1|0" + loadCodes + ":48;1|1" + applyCodes + ":35";
}

// Breaks com.hot, the first of the baseline's three, in some way.
std::function<void(PatchRecipe&)> WithBroken(const std::function<void(PatchApp&)>& breakIt)
{
    return [breakIt](PatchRecipe& recipe) { breakIt(recipe.apps[0]); };
}

INSTANTIATE_TEST_SUITE_P(
    Lives, LifeTest,
    testing::Values(Life{"oneBoot"},
                    Life{"aSecondBootHasNothingToDo",
                         {"boot", "boot"},
                         3,
                         {},
                         "activites patch01 " + BOOT_DETAIL,
                         nullptr,
                         "patch patch01 is in force"},
                    Life{"twoUsers", {"device users --add 101", "boot"}},
                    Life{"cutShortAfterInitLoad", {"load --stage init", "boot"}},
                    Life{"cutShortAfterInitLoadTwice",
                         {"load --stage init", "load --stage init", "boot"},
                         0,
                         {},
                         "activites patch01 0|0:47;1|0:47;1|1:34"},
                    Life{"cutShortAfterTheScan", {"load --stage init", "load --stage sa", "boot"}},
                    Life{"aKeepAliveApplicationIsRefused",
                         {"boot"},
                         1,
                         {},
                         "activites_failed patch01 0|0:47;1|0:47;1|1(3|811,810):35",
                         [](PatchRecipe& recipe) {
                             const Vab keep{"com.keep", 1, "entry", R"("keepAlive": true)", "never ends "};
                             recipe.apps.push_back(DeviceWorld::HotApp(keep, 2, "/system/app/Keep/Keep.vab"));
                         },
                         "com.keep: the first attempt to install it failed (3|810)"},
                    Life{"aHashThatDoesNotMatch",
                         {"boot"},
                         1,
                         {{"com.hot", 1}},
                         Failed("(0|600,611,640)", "(0|811,822,810,822)"),
                         WithBroken([](PatchApp& app) { app.files[0].hash = Sha256Hex("something else"); }),
                         "com.hot: a rebuilt file does not have the stated hash (0|640)"},
                    Life{"aBaseThatDiffersFromTheMakers",
                         {"boot"},
                         1,
                         {{"com.hot", 1}},
                         Failed("(0|600,611,612)", "(0|811,822,810,822)"),
                         WithBroken([](PatchApp& app) {
                             app.files[0].difference =
                                 MakeZstdDifference(std::string(300, 'x') + "unknown to the device",
                                                    std::string(300, 'x') + "unknown to the world");
                         }),
                         "the installed file is not the one"},
                    Life{"aMemberThatIsMissing",
                         {"boot"},
                         1,
                         {{"com.hot", 1}},
                         Failed("(0|400,440)", "(0|811,813,810,813)"),
                         WithBroken([](PatchApp& app) { app.isMemberMissing = true; }),
                         "(0|440)"},
                    Life{"aBundleThatIsNotInstalled",
                         {"boot"},
                         1,
                         {{"com.hot", 1}},
                         "activites_failed patch01 0|0:47;1|0:47;1|1(0|811,810):35",
                         WithBroken([](PatchApp& app) { app.bundleName = "com.unknown"; }),
                         "com.unknown: the first attempt"},
                    Life{"anInstallerThatRefuses",
                         {"boot"},
                         1,
                         {{"com.hot", 1}},
                         "activites_failed patch01 0|0:47;1|0:47;1|1(0|811,1002,810,1002):35",
                         WithBroken([](PatchApp& app) { app.files[0].newBytes = "no package at all"; }),
                         "com.hot: a package file is broken (0|1002)"},
                    Life{"aColdFileShippedWhole",
                         {"boot"},
                         0,
                         {},
                         "activites patch01 " + BOOT_DETAIL,
                         [](PatchRecipe& recipe) { recipe.apps[1].files[0].isWhole = true; }},
                    Life{"aColdFileThatIsBroken",
                         {"boot"},
                         1,
                         {{"com.cold", 1}},
                         "activites_failed patch01 0|0(1|600,611,640):48;1|0:47;1|1(1|811,816,810,816):35",
                         [](PatchRecipe& recipe) { recipe.apps[1].files[1].hash = "00"; },
                         "com.cold: "}),
    [](const auto& test) { return test.param.name; });

TEST(LifeSequenceTest, APatchOverAPatchIsMadeFromTheFactoryFiles)
{
    const DeviceWorld world;
    world.Deliver(DeviceWorld::BaselinePatch(2));
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_NE(world.Tavomend("info").out.find("com.hot     fixed"), std::string::npos);
    world.Deliver(DeviceWorld::BaselinePatch(3));
    EXPECT_EQ(world.Tavomend("info").exitCode, 3);
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions(),
              (Versions{{"com.hot", 3}, {"com.cold", 3}, {"com.single", 3}, {"com.keep", 1}}));
    EXPECT_EQ(world.Tavomend("version").out, "patch02\n");
    EXPECT_EQ(world.Tavomend("--json info").out,
              "{\"schema\":1,\"pending\":false,\"applications\":{\"com.cold\":\"fixed\",\"com.hot\":\"fixed\","
              "\"com.single\":\"fixed\"}}\n");
}

TEST(LifeSequenceTest, ARevokePackageBringsTheFactoryVersionsBack)
{
    const DeviceWorld world;
    world.Deliver(DeviceWorld::BaselinePatch());
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    const CliResult refused = world.Tavomend("revoke com.hot");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("make a revoke package"), std::string::npos);

    world.Deliver(DeviceWorld::RevokePatch());
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 0) << boot.out << boot.err;
    EXPECT_NE(boot.out.find("com.cold restored at version 1"), std::string::npos) << boot.out;
    EXPECT_EQ(world.InstalledVersions(),
              (Versions{{"com.hot", 1}, {"com.cold", 1}, {"com.single", 1}, {"com.keep", 1}}));
    EXPECT_EQ(world.Status(), "activites patch09 " + BOOT_DETAIL);

    // A later patch is not taken back by the old revoke, neither at its own boot nor at the next.
    world.Deliver(DeviceWorld::BaselinePatch());
    EXPECT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.Tavomend("boot").exitCode, 3);
    EXPECT_EQ(world.InstalledVersions()["com.hot"], 2U);
}

TEST(LifeSequenceTest, ARevokeFailsWhenAnApplicationDoesNotComeBack)
{
    const DeviceWorld world;
    world.Deliver(DeviceWorld::BaselinePatch());
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    // The device's maker has put another factory version there meanwhile.
    WriteFile(world.At("dev/system/app/Hot/Hot.vab"), Vab{"com.hot", 5}.Bytes());
    world.Deliver(DeviceWorld::RevokePatch());
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 1) << boot.out;
    EXPECT_EQ(world.Status(), "activites_failed patch09 0|0:47;1|0:47;1|1:35");
}

TEST(LifeSequenceTest, AServiceFrameworkIsPatchedColdWithItsCompanion)
{
    const DeviceWorld world;
    const Vab framework{"com.fwk", 1, "entry", R"("bundleType": "appServiceFwk")", "framework "};
    const Vab companion{"com.fwk", 1, "help", R"("bundleType": "appServiceFwk")", "companion "};
    PatchRecipe recipe;
    PatchApp app = DeviceWorld::HotApp(framework, 2, "/system/app/appServiceFwk/Fwk/Fwk.vab");
    app.patchType = "cold";
    app.appType = 2;
    app.files.push_back(DeviceWorld::HotApp(companion, 2, "/system/app/Help/Help.vab").files[0]);
    recipe.apps = {app};
    for (const auto& file : app.files) {
        WriteFile(world.At("dev" + file.base), file.oldBytes);
    }
    world.Deliver(recipe);
    const std::string cold = world.At("dev/data/update/tavomend/app/temp/cold/");
    EXPECT_TRUE(Exists(cold + "appServiceFwk/com.fwk/Fwk.vab.diff"));
    EXPECT_TRUE(Exists(cold + "internal/com.fwk/Help.vab.diff"));
    EXPECT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions()["com.fwk"], 2U);
    EXPECT_EQ(world.Status(), "activites patch01 " + BOOT_DETAIL);
}

TEST(LifeSequenceTest, ALegacyPatchIsMigratedAtTheServiceStage)
{
    const DeviceWorld world;
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    recipe.apps.erase(recipe.apps.begin() + 1); // cold files are nobody's to lay out here
    const std::string package = PatchBuilder(recipe).Package();
    WriteFile(world.At("dev/data/vrns4/tavomend/app.tvpk"), package);
    WriteFile(world.At("dev/data/vrns4/tavomend/tavomend_sign.bin"), world.Key().Sign(package));
    EXPECT_EQ(world.Tavomend("load --stage init").exitCode, 3);
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/package/app.tvpk")));
    EXPECT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions()["com.hot"], 2U);
    EXPECT_FALSE(Exists(world.At("dev/data/update/tavomend/app/temp/cold")));
    EXPECT_TRUE(Exists(world.At("dev/data/vrns4/tavomend/app.tvpk")));
}

TEST(LifeSequenceTest, OneOfFiftyIsBrokenInEachWayAndTheOthersArrive)
{
    const DeviceWorld world;
    PatchRecipe recipe;
    for (int i = 0; i < 50; ++i) {
        const std::string name = "com.batch" + std::to_string(10 + i);
        const Vab vab{name, 1, "entry", "", "application " + name};
        const std::string base = "/system/app/" + name + "/B.vab";
        WriteFile(world.At("dev" + base), vab.Bytes());
        recipe.apps.push_back(DeviceWorld::HotApp(vab, 2, base));
    }
    recipe.apps[3].files[0].hash = "11";
    recipe.apps[14].isMemberMissing = true;
    recipe.apps[25].files[0].base = "/system/app/none/B.vab";
    recipe.apps[36].files[0].newBytes = "broken";
    recipe.apps[47].patchType = "cold"; // its version is never reached: nothing to take in
    recipe.apps[47].files[0].hash = "22";
    world.Deliver(recipe);
    EXPECT_EQ(world.Tavomend("boot").exitCode, 1);
    Versions versions = world.InstalledVersions();
    for (int i = 0; i < 50; ++i) {
        const bool isBroken = i == 3 || i == 14 || i == 25 || i == 36 || i == 47;
        EXPECT_EQ(versions["com.batch" + std::to_string(10 + i)], isBroken ? 1U : 2U) << i;
    }
    const std::string status = world.Status();
    for (const char* codes : {"(3|811,822,810,822)", "(14|811,813,810,813)", "(25|811,822,810,822)",
                              "(36|811,1002,810,1002)", "(47|811,816,810,816)"}) {
        EXPECT_NE(status.find(codes), std::string::npos) << codes << " in " << status;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
