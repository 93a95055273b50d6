// What only the program tavomend does: what it prints for people, and its exit codes.
#include <filesystem>
#include <regex>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
// One call of a session on a device; "@" stands for the world's folder.
struct Call {
    std::string arguments;
    int exitCode;
    std::string out;
    std::string err; // a failure: the line behind "tavomend: "
};

void Play(const DeviceWorld& world, const std::vector<Call>& calls)
{
    for (const auto& call : calls) {
        const CliResult result = world.Tavomend(InWorld(world, call.arguments));
        EXPECT_EQ(result.exitCode, call.exitCode) << call.arguments;
        EXPECT_EQ(WithoutTimes(result.out), InWorld(world, call.out)) << call.arguments;
        const bool isError = call.exitCode == 1 && call.err.find('\n') == std::string::npos;
        EXPECT_EQ(result.err, isError ? "tavomend: " + InWorld(world, call.err) + "\n" : call.err) << call.arguments;
    }
}

const char* const BAD_STORE = "the bundle store is damaged: file is not a database";
const char* const NO_NEW_STORE = "the bundle store is damaged: file is not a database, and cannot be made anew: "
                                 "/data/app/com.odd/v1/entry.vab is no zip archive, or its end is missing";

TEST(ProgramTest, SpeaksToPeople)
{
    const DeviceWorld world;
    WriteFile(world.At("Hot0.vab"), Vab{"com.hot", 0}.Bytes());
    WriteFile(world.At("Single2.vab"), Vab{"com.single", 2, "entry", R"("singleton": true)"}.Bytes());
    Play(world,
         {{"status", 0, "in force: none\npending: none\nno operation has been recorded\nnext step: deliver a package\n",
           ""},
          {"version", 0, "patch00\n", ""},
          {"info", 3, "no patch is in force\n", ""},
          {"test", 0, "\"Vab\": \"null,vab patch backup package no exist\"\n", ""},
          {"apply", 3, "nothing to do: no package is delivered\n", ""},
          {"load --stage init", 3, "load: no package is delivered\n", ""},
          {"boot", 0,
           "-- init stage\nload: no package is delivered\n-- bundle scan\nscan: nothing has changed\n"
           "-- system-service stage\nnothing to do: no package is delivered\n",
           ""},
          {"status", 0,
           "in force: none\npending: none\nlast operation: none on a patch\nidle, version patch00\n"
           "next step: deliver a package\n",
           ""},
          {"clear", 0, "cleared: no patch is delivered for keeping or in force; applications stay as they are\n", ""},
          {"revoke com.hot", 3, "nothing to do: no patch is in force\n", ""},
          {"deliver none none", 1, "", "cannot read none: No such file or directory"},
          {"deliver @/Hot.vab none", 1, "", "cannot read none: No such file or directory"},
          {"deliver @ none", 1, "", "cannot read @: Is a directory"},
          {"device init", 1, "", "there is a device in @/dev already"},
          {"device install none.vab", 1, "", "cannot read none.vab: No such file or directory"},
          {"device install @/Hot.vab none.vab", 1, "", "cannot read none.vab: No such file or directory"},
          {"device install @/Hot.vab @/Cold.vab", 1, "", "@/Cold.vab does not belong to com.hot version 1"},
          {"device install @/Hot0.vab", 1, "", "com.hot version 0 is older than the installed 1"},
          {"device install @/Single2.vab --user 0", 0, "installed com.single version 2\n", ""},
          {"device users", 0, "users: 100\n", ""},
          {"device users --add 101 102 --remove 102", 0, "users: 100,101\n", ""},
          {"device users --add 101", 1, "", "user 101 exists already"},
          {"device users --add 0", 1, "", "a user's number is above 0"},
          {"device users --remove 7", 1, "", "there is no user 7"},
          {"device list", 0,
           "BUNDLE      USERS    VERSION  NAME  STATE    FLAGS\n"
           "com.cold    100,101  1        1.0   factory\n"
           "com.hot     100,101  1        1.0   factory\n"
           "com.keep    100,101  1        1.0   factory  keep-alive\n"
           "com.single  0        2        2.0   updated  singleton\n",
           ""}});
    EXPECT_EQ(ReadFile(world.At("dev/data/app/com.single/v2/entry.vab")), ReadFile(world.At("Single2.vab")));
    WriteFile(world.At("dev/data/app/incoming"), "where the files are put first");
    Play(world, {{"device install @/Hot.vab", 1, "", "cannot copy @/Hot.vab to the device: Not a directory"}});
    EXPECT_FALSE(Exists(world.At("dev/data/app/incoming")));
    EXPECT_TRUE(ListTree(world.At("dev/data/update/tavomend/package")).empty());
}

TEST(ProgramTest, TellsPeopleOfAPatch)
{
    const DeviceWorld world;
    PatchRecipe recipe = OneHotApplication();
    recipe.configText = PatchBuilder(recipe).Config().insert(1, R"("need_reboot": true, )");
    const std::string package = PatchBuilder(recipe).Package();
    WriteFile(world.At("app.tvpk"), package);
    WriteFile(world.At("good.bin"), world.Key().Sign(package));
    WriteFile(world.At("bad.bin"), SigningKey(SigningKey::Whose::NOBODYS).Sign(package));
    const char* const refused = "the key does not fit the delivered package: the signature does not verify";
    Play(world,
         {{"deliver @/app.tvpk @/bad.bin", 1, "", "this device refuses the package: the signature does not verify"},
          {"version", 0, "patch00\n", ""},
          {"deliver --force @/app.tvpk @/bad.bin", 0,
           "delivered, but this device will refuse it: the signature does not verify\n", ""},
          {"version", 1, "", refused},
          {"load --stage init", 1, "", "load failed: the signature does not verify (100|20)"},
          {"apply", 1, "load: not everything is ready\nthe engine reports: activites_failed (151)\n",
           "apply failed: the signature does not verify (100|20)"},
          {"status", 0,
           "in force: none\npending: none\nlast operation: apply failed\n"
           "activites_failed, detail 0|0(100|20,20):48;1|0(100|20,20):48;1|1(100|20,20):35\n"
           "the signature does not verify (100|20)\nnext step: deliver a package\n",
           ""},
          {"deliver @/app.tvpk @/good.bin", 0, "delivered\n", ""},
          {"version", 0, "patch01\n", ""},
          {"info", 3, "a delivered package is waiting: apply it, or boot, first\n", ""},
          {"load --stage init", 0, "load: ready\n", ""},
          {"boot", 0,
           "-- init stage\nload: ready\n-- bundle scan\nscan: nothing has changed\n-- system-service stage\n"
           "rebuilding com.hot, 1 of 1\nload: ready\ninstalled 1 of 1\nthe engine reports: activites "
           "(101)\npatch patch01 is in force\n"
           "the patch asks for a boot to be complete\n",
           ""},
          {"info", 0, "BUNDLE   PATCH\ncom.hot  fixed\n", ""},
          {"status", 0,
           "in force: patch01 since TIME: com.hot\npending: none\nlast operation: apply succeeded\n"
           "activites, version patch01, detail 0|0:47;1|0:47;1|1:34\nnext step: nothing\n",
           ""},
          {"boot", 0,
           "-- init stage\nload: no package is delivered\n-- bundle scan\nscan: nothing has changed\n"
           "-- system-service stage\nnothing to do: patch patch01 is in force\n",
           ""},
          {"clear", 1, "",
           "a patch is in force: after a clear nothing can take it off again, and applications stay as they "
           "are; `clear --yes` does it"},
          {"install @/app.tvpk @/bad.bin", 1, "", "this device refuses the package: the signature does not verify"},
          {"install @/app.tvpk @/good.bin", 5,
           "load: ready\ninstalled 1 of 1\nthe engine reports: activites (101)\npatch patch01 is in force\n"
           "the patch asks for a boot to be complete\n",
           ""}});
    std::filesystem::remove(world.At("dev/system/app/Keep/Keep.vab"));
    WriteFile(world.At("dev/system/app/Single/Single.vab"), "damaged");
    WriteFile(world.At("dev/system/app/New/New.vab"), Vab{"com.new", 3}.Bytes());
    EXPECT_EQ(world.Tavomend("boot").out,
              "-- init stage\nload: no package is delivered\n-- bundle scan\nscan:\n"
              "  skipped: /system/app/Single/Single.vab is no zip archive, or its end is missing\n  com.new factory at "
              "version 3\n"
              "  com.keep skipped: its factory files are gone\n"
              "  com.single skipped: its factory files could not be read; it stays as it is\n"
              "-- system-service stage\nnothing to do: patch patch01 is in force\n");
}

TEST(ProgramTest, ShowsABarOnATerminalAndThePlatformLogOnRequest)
{
    const DeviceWorld world;
    world.Deliver(DeviceWorld::BaselinePatch());
    for (const size_t most : {0, 1, 2, 3}) { // -v shows warnings and errors, -vv information too, -vvv everything
        const std::string log =
            world.Tavomend("--json" + (most == 0 ? "" : " -" + std::string(most, 'v')) + " load --stage init").err;
        EXPECT_EQ(log.find(" D 02E03/TavomendEngineApp: ") != std::string::npos, most > 2) << log;
        EXPECT_EQ(log.find(" I 02E03/TavomendEngineApp: ") != std::string::npos, most > 1) << log;
        EXPECT_EQ(log.find(" E 02E03/TavomendEngineApp: ") != std::string::npos, most > 0) << log;
    }
    const auto onTerminal = [&world](const std::string& arguments) {
        const std::string line = std::string(TAVOMEND_PROGRAM) + " --root " + world.At("dev") + " " + arguments;
        return RunProgram({"script", "-qec", line, "/dev/null"}).out;
    };
    const std::string third(10, '#');
    const std::string rest(10, '.');
    const std::string copied = onTerminal("deliver " + world.At("app.tvpk") + " " + world.At("sign.bin"));
    EXPECT_NE(copied.find("\r[" + third + third + third + "] copying " + world.At("app.tvpk") + ", "),
              std::string::npos)
        << copied;
    const std::string shown = onTerminal("boot");
    EXPECT_NE(shown.find("\r[" + third + rest + rest + "] installed 1 of 3\r[" + third + third + rest +
                         "] installed 2 of 3\r[" + third + third + third + "] installed 3 of 3\r\n"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\r[" + rest + rest + rest + "] rebuilding com.hot, 1 of 2, 0.0 of 0."), std::string::npos)
        << shown;
}

TEST(ProgramTest, NeedsItsDevicesBundleStore)
{
    const DeviceWorld world;
    const std::string healthy = world.Tavomend("device list").out;
    const std::string damaged = std::string(BAD_STORE);
    std::vector<Call> calls;
    for (const char* command : {"info", "test", "device list", "device users", "device install @/Hot.vab"}) {
        calls.push_back({command, 1, "", damaged + "; the next boot makes it anew from what is installed"});
    }
    DamageStore(world);
    Play(world, calls);
    EXPECT_FALSE(Exists(world.At("dev/data/app/incoming")));
    const std::string anew = damaged +
                             "; it was made anew from 0 installed applications and the factory's, and is kept "
                             "as /data/service/bundles/store.db.damaged\n";
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 0);
    EXPECT_EQ(boot.out.substr(0, boot.out.find("scan:")),
              "-- init stage\nload: no package is delivered\n-- bundle scan\n" + anew);
    Play(world, {{"device list", 0, healthy, ""}});

    BreakAnInstalledVersion(world);
    calls.clear();
    for (const char* command : {"apply", "load --stage sa"}) {
        calls.push_back({command, 1, "", NO_NEW_STORE});
    }
    calls.push_back({"boot", 1, "-- init stage\nload: no package is delivered\n-- bundle scan\n",
                     std::string("tavomend: ") + NO_NEW_STORE +
                         "\ntavomend: the boot ends here: the bundle scan did not come to its end\n"});
    Play(world, calls);
    std::filesystem::remove_all(world.At("dev/data/app/com.odd"));
    EXPECT_EQ(world.Tavomend("--json load --stage sa").out.substr(0, 44),
              R"({"schema":1,"event":"store","message":"the b)");
}

TEST(ProgramTest, TellsWrongUsageFromFailure)
{
    const std::pair<const char*, const char*> wrong[] = {
        {"", "A subcommand is required; --help tells more\n"},
        {"bogus", "bogus is no command; --help lists them\n"},
        {"aply", "aply is no command; did you mean apply?\n"},
        {"bo\x1b[2J", "bo\\x1b[2J is no command; --help lists them\n"},
        {"device", "A subcommand is required; --help tells more\n"},
        {"device lst", "lst is no command of device; did you mean list?\n"},
        {"device list all", "\"all\" is more than list takes; --help shows what it takes\n"},
        {"device init --base-versoin 1", "--base-versoin is no option of init; did you mean --base-version?\n"},
        {"status --jsno", "--jsno is no option of status; did you mean --json?\n"},
        {"load", "--stage is required"},
        {"load --stage late", "--stage: late not in {init,sa}"},
        {"deliver one", "SIGNATURE is required"},
        {"device install", "FILE is required"},
        {"revoke", "BUNDLE is required"},
    };
    const DeviceWorld world;
    for (const auto& [arguments, says] : wrong) {
        const CliResult result = world.Tavomend(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments;
        EXPECT_EQ(result.out, "") << arguments;
        EXPECT_EQ(result.err.rfind(std::string("tavomend: ") + says, 0), 0U) << result.err;
    }
    EXPECT_EQ(
        world.Tavomend("aply --json").out,
        R"({"schema":1,"event":"error","error":{"code":"usage","message":"aply is no command; did you mean apply?"}})"
        "\n");
    const CliResult help = world.Tavomend("--help");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(std::regex_search(
        help.out, std::regex("device .*\n *deliver .*\n *install .*\n *apply .*\n *load .*\n *boot .*\n *"
                             "revoke .*\n *clear .*\n *test .*\n *version .*\n *status "
                             ".*\n *info .*\n")))
        << help.out;
    EXPECT_EQ(world.Tavomend("--version").out, "1.0.0\n");
}

// A package can be anybody's, and its text must not pass for the program's, or reach the terminal as it is.
TEST(ProgramTest, ShowsWhatPackagesSayOnOneLine)
{
    const DeviceWorld world;
    PatchRecipe recipe = OneHotApplication();
    recipe.version = R"(p\u001b[2J\nin force: all)";
    recipe.apps[0].bundleName = R"(com.odd\u0007)";
    world.Deliver(recipe);
    Play(world, {{"version", 0, "p\\x1b[2J\\nin force: all\n", ""},
                 {"status", 0,
                  "in force: none\npending: p\\x1b[2J\\nin force: all: com.odd\\x07\nno operation has been recorded\n"
                  "next step: apply\n",
                  ""},
                 {"load --stage sa", 1, "",
                  "load failed: com.odd\\x07: a file is missing from the package or damaged in it (0|440)"}});
}

// A script must not take half an answer for the whole.
TEST(ProgramTest, FailsWhenItsAnswerCannotBeWritten)
{
    const DeviceWorld world;
    for (const char* command : {"--help", "--version", "status", "--json status", "device list", "boot"}) {
        const std::string line = std::string(TAVOMEND_PROGRAM) + " --root " + world.At("dev") + " " + command;
        const CliResult result = RunProgram({"sh", "-c", line + " > /dev/full"});
        EXPECT_EQ(result.exitCode, 1) << command;
        const std::string told = result.err.substr(result.err.find("tavomend: "));
        EXPECT_EQ(told, "tavomend: cannot write to standard output: No space left on device\n") << command;
    }
}

} // namespace
} // namespace ORVX::TavomendTest
