// How tavomend finds a device in a folder, and makes one there.
#include <filesystem>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
TEST(DeviceFolderTest, FindsItsDeviceFolder)
{
    const DeviceWorld world;
    std::filesystem::create_directory(world.At("empty"));
    const std::string hint = " is no device; `tavomend --root DIR device init` makes one in a folder\n";
    const auto run = [&world](const std::string& root, const std::string& command) {
        return RunProgram({"sh", "-c", "cd " + world.At("") + " && exec " TAVOMEND_PROGRAM " " + root + " " + command});
    };
    for (const char* root : {"--root dev", "--root ./dev//", "--root=dev/"}) {
        const CliResult result = run(root, "version");
        EXPECT_EQ(result.exitCode, 0) << root;
        EXPECT_EQ(result.out, "patch00\n") << root;
    }
    EXPECT_EQ(run("", "version --root dev").out, "patch00\n");
    for (const char* command : {"apply", "boot", "clear", "deliver a b", "device install a", "device list",
                                "device users", "info", "load --stage sa", "revoke a", "status", "test", "version"}) {
        const CliResult result = run("--root empty/", command);
        EXPECT_EQ(result.exitCode, 1) << command;
        EXPECT_EQ(result.err, "tavomend: empty" + hint) << command;
    }
    EXPECT_TRUE(ListTree(world.At("empty")).empty());
    EXPECT_EQ(run("", "status").err, "tavomend: /" + hint);
    EXPECT_EQ(run("", "device init").err,
              "tavomend: `device init` wants --root DIR: it does not turn this machine into a device\n");
}

TEST(DeviceFolderTest, LaysOutADevice)
{
    const DeviceWorld world;
    const std::string fwk = R"("keepAlive": true, "bundleType": "appServiceFwk")";
    WriteFile(world.At("Fwk.vab"), Vab{"com.fwk", 1, "entry", fwk}.Bytes());
    WriteFile(world.At("not.pem"), "BEGIN PRIVATE KEY");
    WriteFile(world.At("busy"), "");
    std::filesystem::create_directories(world.At("locked1/etc/os-release"));
    std::filesystem::create_directories(world.At("locked2/etc/certificate/zkkey_tvpk_v1.pem"));
    std::filesystem::create_directories(world.At("locked3/system/app/Hot/Hot.vab"));
    WriteFile(world.At("locked4/data"), "");
    std::filesystem::create_directories(world.At("locked5/data/service/bundles/store.db"));
    const auto init = [&world](const std::string& folder, const std::string& options) {
        const std::string line =
            InWorld(world, "exec " TAVOMEND_PROGRAM " --root @/" + folder + " device init " + options);
        return RunProgram({"sh", "-c", line});
    };
    WriteFile(world.At("locked4/etc/os-release"), "its own");
    WriteFile(world.At("locked6/system/app/Hot/Other.vab"), "damaged");
    WriteFile(world.At("more/Hot.vab"), Vab{"com.other"}.Bytes());
    WriteFile(world.At("more/Hot2.vab"), Vab{"com.hot", 2}.Bytes());
    const std::string badVersion =
        "a base version is one line of printable characters, without quotes, backslashes, \"$\" and \"`\"";
    struct Case {
        const char* folder;
        const char* options;
        std::string error;
    };
    const Case cases[] = {
        {"busy", "", "cannot make the directory @/busy: Not a directory"},
        {"made/deep", "--public-key @/none.pem", "no usable public key in @/none.pem: No such file or directory"},
        {"made", "--public-key @/not.pem",
         "no usable public key in @/not.pem: it holds no RSA public key (PEM \"PUBLIC KEY\")"},
        {"made", "--factory @/Hot.vab @/not.pem", "@/not.pem is no zip archive, or its end is missing"},
        {"made", "--factory @/Hot.vab @/more/Hot.vab",
         "@/Hot.vab and @/more/Hot.vab would both become /system/app/Hot/Hot.vab: give one of them another name"},
        {"made", "--factory @/Hot.vab @/Hot0.vab", "@/Hot0.vab is a second file of module entry"},
        {"made", "--factory @/Hot.vab @/more/Hot2.vab", "@/more/Hot2.vab does not belong to com.hot version 1"},
        {"made", "--base-version '1\n2'", badVersion},
        {"made", "--base-version '1\"'", badVersion},
        {"made", "--base-version \"1'2\"", badVersion},
        {"made", "--base-version '1\\2'", badVersion},
        {"made", "--base-version '1$2'", badVersion},
        {"made", "--base-version '1`2'", badVersion},
        {"made", "--base-version 1\x7f", badVersion},
        {"made", "--base-version 1\u00e4", badVersion},
        {"locked1", "", "cannot write @/locked1/etc/os-release: Is a directory"},
        {"locked2", "--public-key @/key.pem",
         "cannot write @/locked2/etc/certificate/zkkey_tvpk_v1.pem: Is a directory"},
        {"locked3", "--factory @/Hot.vab", "cannot write @/locked3/system/app/Hot/Hot.vab: Is a directory"},
        {"locked4", "", "cannot make the directory @/locked4: Not a directory"},
        {"locked6", "--factory @/Hot.vab", "com.hot has not been taken; -v shows why"},
        {"locked5", "", "the bundle store cannot be put in place: Is a directory"},
    };
    WriteFile(world.At("Hot0.vab"), Vab{"com.hot"}.Bytes());
    const auto before = Everything(world.At(""));
    for (const auto& entry : cases) {
        const CliResult result = init(entry.folder, entry.options);
        EXPECT_EQ(result.exitCode, 1) << entry.error;
        EXPECT_EQ(result.err, InWorld(world, "tavomend: " + entry.error + "\n"));
        EXPECT_EQ(Everything(world.At("")), before) << entry.folder << ": " << entry.error;
    }
    // What an init that was cut short may have left.
    WriteFile(world.At("made/data/service/bundles/store.db.new"), "half");
    WriteFile(world.At("made/data/service/bundles/store.db.new-journal"), "half");
    WriteFile(world.At("made/system/app/Cold/Cold.vab.new"), "half");
    WriteFile(world.At("made/etc/os-release"), "");
    const CliResult made =
        init("made", "--base-version '2.5 A' --public-key @/key.pem --factory @/Cold.vab @/ColdFeature.vab @/Fwk.vab");
    EXPECT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(made.out, "a device at base version 2.5 A with 2 factory applications, user 100\n");
    EXPECT_EQ(ReadFile(world.At("made/etc/os-release")), "NAME=\"Device\"\nVERSION_ID=\"2.5 A\"\n");
    EXPECT_EQ(ReadFile(world.At("made/etc/certificate/zkkey_tvpk_v1.pem")), world.Key().PublicPem());
    for (const auto& [path, source] : {std::pair{"Cold/Cold", "Cold"}, std::pair{"Cold/ColdFeature", "ColdFeature"},
                                       std::pair{"appServiceFwk/Fwk/Fwk", "Fwk"}}) {
        EXPECT_EQ(ReadFile(world.At(std::string("made/system/app/") + path + ".vab")),
                  ReadFile(world.At(std::string(source) + ".vab")));
    }
    EXPECT_NE(RunProgram({TAVOMEND_PROGRAM, "--root", world.At("made"), "device", "list"})
                  .out.find("com.fwk   100    1        1.0   factory  keep-alive,appServiceFwk\n"),
              std::string::npos);
    EXPECT_EQ(RunProgram({TAVOMEND_PROGRAM, "--json", "--root", world.At("other"), "device", "init"}).out,
              "{\"schema\":1,\"event\":\"init\",\"baseVersion\":\"1.0.0\",\"installed\":0}\n");
}
} // namespace
} // namespace ORVX::TavomendTest
