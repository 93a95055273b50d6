// Malformed command lines, and malformed files of the device itself.
#include "tests/scenario/malformed.h"

namespace ORVX::TavomendTest {
namespace {
TEST(MalformedDeviceTest, CommandLines)
{
    struct Row {
        std::vector<std::string> command; // "tvpk" or the device's program, then its words
        int exitCode;
        std::string says;
    };
    const std::string more = "; --help tells more";
    const Row rows[] = {
        {{"tavomend", "--root", "", "apply"}, 2, "--root is empty" + more},
        {{"tavomend", "--root", "a", "--root", "b", "apply"}, 2, "--root: At Most 1 required but received 2" + more},
        {{"tavomend", "status\n"}, 2, "status\\n is no command; did you mean status?"},
        {{"tavomend", "\xff\xfe"}, 2, "\\xff\\xfe is no command; --help lists them"},
        {{"tavomend", "--", "status"}, 2, "-- is no option; did you mean --help?"},
        {{"tavomend", "--wait", "status", "now"}, 2, "\"now\" is more than status takes; --help shows what it takes"},
        {{"tavomend", "status", "--wait", "9999999999"},
         2,
         "--wait: Value 9999999999 not in range -1 to 1073741824" + more},
        {{"tavomend", "deliver", "", ""}, 2, "PACKAGE is empty" + more},
        {{"tavomend", "install", "a", ""}, 2, "SIGNATURE is empty" + more},
        {{"tavomend", "device", "install", "a", ""}, 2, "FILE is empty" + more},
        {{"tavomend", "device", "init", "--base-version", ""}, 2, "--base-version is empty" + more},
        {{"tavomend", "device", "init", "--base-version"}, 2, "--base-version: 1 required VERSION missing" + more},
        {{"tavomend", "device", "users", "--add", "4294967396"}, 2, "Could not convert: --add = 4294967396" + more},
        {{"tavomend", "device", "users", "--add", "1e3"}, 2, "Could not convert: --add = 1e3" + more},
        {{"tavomend", "device", "users", "--add", "-1"}, 1, "a user's number is above 0"},
        {{"tavomend", "device", "users", "--add", "102", "0"}, 1, "a user's number is above 0"},
        {{"tavomend", "device", "users", "--add", "102", "102"}, 1, "user 102 exists already"},
        {{"tavomend", "device", "users", "--remove", "100", "7"}, 1, "there is no user 7"},
        {{"tavomend", "revoke", ""}, 2, "BUNDLE is empty" + more},
        {{"tavomend", "load", "--stage", "init", "--stage", "sa"},
         2,
         "--stage: At Most 1 required but received 2" + more},
        {{"tvpk", "keygen", "--out", ""}, 2, "--out is empty" + more},
        {{"tvpk", "keygen", "--out", "k", "--bits", "2048x"},
         2,
         "--bits: Value 2048x not in range 2048 to 8192" + more},
        {{"tvpk", "pack", "", "x.vab"}, 2, "DIR is empty" + more},
        {{"tvpk", "inspect", ""}, 2, "PACKAGE is empty" + more},
        {{"tvpk", "make", "a", "--key", "", "--out", "b"}, 2, "--key is empty" + more},
        {{"tvpk", "patch", "a", "b", "c", "d"}, 2, "\"d\" is more than patch takes; --help shows what it takes"},
    };
    const DeviceWorld world;
    const auto before = StateOf(world);
    for (const auto& row : rows) {
        const bool isMaker = row.command[0] == "tvpk";
        std::vector<std::string> command = row.command;
        command[0] = isMaker ? TVPK_PROGRAM : TAVOMEND_PROGRAM;
        command.insert(command.begin() + 1, "--json");
        if (!isMaker && std::find(command.begin(), command.end(), "--root") == command.end()) {
            command.insert(command.begin() + 1, {"--root", world.At("dev")});
        }
        ExpectRefused(RunProgram(command), row.command[0],
                      {row.exitCode, row.exitCode == 2 ? "usage" : "failed", row.says},
                      testing::PrintToString(row.command));
        EXPECT_EQ(StateOf(world), before) << testing::PrintToString(row.command);
    }
}

// A patch is in force; one file is spoiled, and one command comes.
TEST(MalformedDeviceTest, FilesOfTheDevice)
{
    const std::string update = "data/update/tavomend/";
    const std::string record = update + "app/status/app";
    const std::string list = update + "app/temp/tavomend_app_recover.json";
    const std::string package = update + "package/app.tvpk.bak";
    const std::string signature = update + "package/tavomend_sign.bin.bak";
    const std::string key = "etc/certificate/zkkey_tvpk_v1.pem";
    const std::string accounts = "data/service/bundles/accounts.json";
    const std::string release = "etc/os-release";
    struct Row {
        std::string file;
        std::string content;
        const char* command;
        int exitCode;
        std::string says; // a failure: its line; else a text that is shown
    };
    const std::string inForce = "in force: patch01 since TIME: com.hot\n";
    const std::string noRecord = "nothing to do: no package is delivered\n";
    const std::string misfit = "the key does not fit the patch in force: ";
    const std::string noKey =
        misfit +
        "no usable public key in /etc/certificate/zkkey_tvpk_v1.pem: it holds no RSA public key (PEM \"PUBLIC KEY\")";
    const std::string wrongKey = misfit + "the signature does not verify";
    const std::string unread = "the patch in force cannot be read: /data/update/tavomend/package/";
    const std::string refused = "this device refuses the package: ";
    const std::string noBase = refused + "the device's base version cannot be read from /etc/os-release";
    const std::string quiet = "nothing to do: patch patch01 is in force\n";
    const Row rows[] = {
        {record, "", "status", 0, inForce},
        {record, "garbage", "status", 0, inForce},
        {record, "garbage", "boot", 0, noRecord},
        {record, std::string(5000, '\0'), "boot", 0, noRecord},
        {record, "tavomend-status 1\nversion=x\nstatus=ready\ndetail=\ncrc32=00000000\n", "boot", 0, noRecord},
        {record, "garbage", "version", 0, "patch01\n"},
        {list, "", "boot", 0, quiet},
        {list, "[", "boot", 0, quiet},
        {list, R"({"list": 1})", "boot", 0, quiet},
        {list, R"({"list": ["com.hot", 1]})", "boot", 0, quiet},
        {list, std::string(20000, '['), "info", 1, "the recover list is damaged; the next boot removes it"},
        {list + ".bak", R"({"list": null})", "boot", 0, quiet},
        {accounts, "", "device users", 0, "users: 100\n"},
        {accounts, R"({"users": [-1, "x"]})", "boot", 0, quiet},
        {accounts, "[[", "boot", 0, quiet},
        {key, "", "version", 1, noKey},
        {key, "no key", "info", 1, noKey},
        {key, SigningKey(SigningKey::Whose::NOBODYS).PublicPem(), "version", 1, wrongKey},
        {signature, "", "version", 1, unread + "tavomend_sign.bin.bak is no signature"},
        {signature, std::string(256, 's'), "info", 1, wrongKey},
        {package, "", "version", 1, unread + "app.tvpk.bak is no zip archive, or its end is missing"},
        {package, "no archive", "status", 0,
         "in force: cannot be read: /data/update/tavomend/package/app.tvpk.bak is no zip archive"},
        {release, "", "deliver @/p.tvpk @/p.sign", 1, noBase},
        {release, "VERSION_ID=\"\n", "deliver @/p.tvpk @/p.sign", 1, refused + "it is not made for base version \""},
        {release, std::string(500, '\xff'), "deliver @/p.tvpk @/p.sign", 1, noBase},
        {release, "VERSION_ID=1.0.0\x1b[2J\n", "deliver @/p.tvpk @/p.sign", 1,
         refused + "it is not made for base version 1.0.0\\x1b[2J"},
    };
    const DeviceWorld world;
    world.Deliver(OneHotApplication());
    ASSERT_EQ(world.Tavomend("apply").exitCode, 0);
    ASSERT_EQ(world.Tavomend("boot").exitCode, 0);
    const std::string good = PatchBuilder(OneHotApplication()).Package();
    WriteFile(world.At("p.tvpk"), good);
    WriteFile(world.At("p.sign"), world.Key().Sign(good));
    for (const auto& row : rows) {
        const std::string path = world.At("dev/" + row.file);
        const std::string what = row.file + " " + row.content.substr(0, 40) + " " + row.command;
        const bool wasThere = Exists(path);
        const std::string former = wasThere ? ReadFile(path) : "";
        WriteFile(path, row.content);
        const auto before = StateOf(world);
        const std::string command = InWorld(world, row.command);
        if (row.exitCode == 0) {
            const CliResult result = world.Tavomend(command);
            EXPECT_EQ(result.exitCode, 0) << what << result.err;
            EXPECT_EQ(result.err, "") << what;
            EXPECT_NE(WithoutTimes(result.out).find(row.says), std::string::npos) << what << ": " << result.out;
        } else {
            ExpectRefused(world.Tavomend("--json " + command), "tavomend",
                          {row.exitCode, "failed", InWorld(world, row.says)}, what);
            EXPECT_EQ(StateOf(world), before) << what;
        }
        EXPECT_EQ(world.InstalledVersions()["com.hot"], 2U) << what;
        if (wasThere) {
            WriteFile(path, former);
        } else {
            std::filesystem::remove(path);
        }
    }
    EXPECT_EQ(world.Tavomend(InWorld(world, "install @/p.tvpk @/p.sign")).exitCode, 0);
}
} // namespace
} // namespace ORVX::TavomendTest
