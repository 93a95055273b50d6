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
              "tavomend: `device init` wants --root DIR; this machine itself becomes a device with `device init "
              "--system`\n");
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

// The image's own links count, and not what they would lead to on the machine that builds it.
TEST(DeviceFolderTest, MakesASystemADevice)
{
    const DeviceWorld world;
    const auto inImage = [&world](const std::string& path) { return world.At("image/" + path); };
    const auto init = [&world](const std::string& options) {
        return RunProgram(
            {"sh", "-c", InWorld(world, "exec " TAVOMEND_PROGRAM " --root @/image device init --system " + options)});
    };
    const std::string passwd = "root:x:0:0:root:/root:/bin/sh\ntaken:x:1011:7::/:/bin/sh\nother:x:998:7::/:/bin/sh";
    const std::string group = "root:x:0:\nstaff:x:999:\n";
    WriteFile(inImage("etc/passwd"), passwd);
    WriteFile(inImage("etc/group"), group);
    WriteFile(inImage("etc/shadow"), "root:*:1::::::\n");
    WriteFile(inImage("etc/gshadow"), "");
    WriteFile(inImage("usr/lib/os-release"), "ID=image\n");
    WriteFile(inImage("system/app/Hot/Hot.vab"), Vab{"com.hot"}.Bytes());
    WriteFile(inImage("var/state/app/kept"), "kept");
    WriteFile(world.At("other.pem"), SigningKey(SigningKey::Whose::NOBODYS).PublicPem());
    std::filesystem::create_symlink("/usr/lib/os-release", inImage("etc/os-release"));
    std::filesystem::create_symlink("/var/state", inImage("data"));
    std::filesystem::permissions(inImage("etc/shadow"), std::filesystem::perms(0640));
    const auto all = [&inImage] { return Everything(inImage("")); };
    const auto before = all();
    struct Refusal {
        const char* options;
        int exitCode;
        const char* error;
    };
    const Refusal refusals[] = {
        {"--base-version 1", 2, "--base-version does not go with --system: the system's os-release tells it"},
        {"--factory x", 2, "--factory does not go with --system: the system has its own below /system/app"},
        {"--public-key @/Hot.vab", 1,
         "no usable public key in @/Hot.vab: it holds no RSA public key (PEM \"PUBLIC KEY\")"},
        {"", 1, "/etc/os-release tells no version of the system: IMAGE_VERSION or VERSION_ID"},
    };
    for (const auto& refusal : refusals) {
        const CliResult result = init(refusal.options);
        EXPECT_EQ(result.exitCode, refusal.exitCode) << refusal.options;
        EXPECT_EQ(result.err, InWorld(world, std::string("tavomend: ") + refusal.error + "\n"));
        EXPECT_EQ(all(), before) << refusal.options;
    }

    WriteFile(inImage("usr/lib/os-release"), "VERSION_ID=12\n");
    const CliResult made = init("");
    EXPECT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(made.out, "a device at base version 12, 1 applications\n");
    EXPECT_EQ(made.err, "note: no package can be verified until a public key is in "
                        "/etc/certificate/zkkey_tvpk_v1.pem: --public-key puts it there\n");
    EXPECT_EQ(init("--public-key @/key.pem").out, "a device at base version 12, 1 applications\n");
    EXPECT_EQ(ReadFile(inImage("etc/certificate/zkkey_tvpk_v1.pem")), world.Key().PublicPem());
    EXPECT_EQ(ReadFile(inImage("etc/passwd")), passwd + "\ntavomend:x:997:997:hot-patch engine:/:/bin/false\n");
    EXPECT_EQ(ReadFile(inImage("etc/group")), group + "tavomend:x:997:\n");
    EXPECT_EQ(ReadFile(inImage("etc/shadow")), "root:*:1::::::\ntavomend:!*:::::::\n");
    EXPECT_EQ(ReadFile(inImage("etc/gshadow")), "tavomend:!::\n");
    EXPECT_EQ(std::filesystem::status(inImage("etc/shadow")).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(ReadFile(inImage("usr/lib/os-release")), "VERSION_ID=12\n");
    EXPECT_TRUE(Exists(inImage("var/state/service/bundles/store.db")));
    EXPECT_TRUE(std::filesystem::is_symlink(inImage("data")));

    const auto complete = all();
    for (const char* options : {"", "--public-key @/key.pem", "--public-key @/other.pem"}) {
        const CliResult again = init(options);
        EXPECT_EQ(again.err, std::string(options).find("other") == std::string::npos
                                 ? ""
                                 : "tavomend: there is another public key in /etc/certificate/zkkey_tvpk_v1.pem, and "
                                   "packages for it: remove it first\n");
        EXPECT_EQ(again.out, again.exitCode != 0 ? "" : "nothing was missing: base version 12, 1 applications\n");
        EXPECT_EQ(all(), complete) << options;
    }
    std::filesystem::remove_all(inImage("var/state/app"));
    EXPECT_EQ(init("").exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_directory(inImage("var/state/app")));
}
} // namespace
} // namespace ORVX::TavomendTest
