// From two versions of an application to a patched device, with the programs alone; and what the maker refuses.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"
#include "tests/support/device_fixture.h"
#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
namespace {
constexpr const char* RELEASE = R"({"version": "patch05", // the next one
 "preVersion": "patch04", "action": "enable", "dataKept": false, "needReboot": false,
 "products": [{"model": "demo", "baseVersion": "1.0.0"}, {"model": "m2", "baseVersion": "1.0.1"}],
 "apps": [
  {"patch": "hot", "files": [{"base": "/system/app/Hot/Hot.vab", "old": "Hot.vab", "new": "Hot2.vab"}]},
  {"patch": "cold", "type": "internal", "files": [
    {"base": "/system/app/Cold/Cold.vab", "old": "Cold.vab", "new": "Cold2.vab", "whole": true},
    {"base": "/system/app/Cold/ColdFeature.vab", "old": "ColdFeature.vab", "new": "ColdFeature2.vab"}]}]})";

class MadePackageTest : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string noise(5000, 'n');
        WriteFile(world_.At("Hot2.vab"), Vab{"com.hot", 2, "entry", "", "hot application " + noise}.Bytes());
        WriteFile(world_.At("Cold2.vab"), Vab{"com.cold", 2, "entry", "", "new cold " + noise}.Bytes());
        WriteFile(world_.At("ColdFeature2.vab"), Vab{"com.cold", 2, "feature", "", "new feature " + noise}.Bytes());
        ASSERT_EQ(RunProgram({TVPK_PROGRAM, "keygen", "--bits", "2048", "--out", world_.At("key")}).exitCode, 0);
        WriteFile(world_.At("dev/etc/certificate/zkkey_tvpk_v1.pem"), ReadFile(world_.At("key/zkkey_tvpk_v1.pem")));
    }
    CliResult Make(const std::string& release, const std::vector<std::string>& more = {}) const
    {
        WriteFile(world_.At("release.json"), release);
        std::vector<std::string> command = {TVPK_PROGRAM,
                                            "make",
                                            world_.At("release.json"),
                                            "--out",
                                            out_,
                                            "--key",
                                            world_.At("key/tavomend_private.pem")};
        command.insert(command.end(), more.begin(), more.end());
        return RunProgram(command);
    }
    // What a failure says, with the folder's name and the progress before it taken out.
    [[nodiscard]] std::string WhyNot(const CliResult& result) const
    {
        EXPECT_EQ(result.exitCode, 1) << result.out;
        std::string text = result.err.substr(std::min(result.err.find("tvpk: "), result.err.size()));
        for (size_t at = text.find(world_.At("")); at != std::string::npos; at = text.find(world_.At(""))) {
            text.erase(at, world_.At("").size());
        }
        return text;
    }
    [[nodiscard]] CliResult Verify(const std::string& package) const
    {
        WriteFile(world_.At("p.tvpk"), package);
        WriteFile(world_.At("p.sign"), world_.Key().Sign(package));
        return RunProgram(
            {TVPK_PROGRAM, "verify", world_.At("p.tvpk"), world_.At("p.sign"), "--public-key", world_.At("key.pem")});
    }

    const DeviceWorld world_;
    std::string out_ = world_.At("out");
};

TEST_F(MadePackageTest, MakesADifferenceOnceForAllReleases)
{
    const auto known = [this] {
        const CliResult made = Make(RELEASE, {"--cache", world_.At("cache"), "--json"});
        EXPECT_EQ(made.exitCode, 0) << made.err;
        std::vector<bool> cached;
        const auto last = nlohmann::json::parse(made.out.substr(made.out.rfind('\n', made.out.size() - 2) + 1));
        for (const auto& member : last["members"]) {
            cached.push_back(member.value("cached", false));
        }
        return cached;
    };
    EXPECT_EQ(known(), (std::vector<bool>{false, false, false}));
    const std::string package = ReadFile(out_ + "/app.tvpk");
    WriteFile(world_.At("ColdFeature2.vab"), Vab{"com.cold", 2, "feature", "", "another one"}.Bytes());
    EXPECT_EQ(known(), (std::vector<bool>{true, false, false})); // the second one is shipped whole
    EXPECT_NE(ReadFile(out_ + "/app.tvpk"), package);
}

TEST_F(MadePackageTest, PatchesADevice)
{
    const CliResult made = Make(RELEASE);
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::string package = out_ + "/app.tvpk";
    const std::string signature = out_ + "/tavomend_sign.bin";
    const std::string key = world_.At("key/zkkey_tvpk_v1.pem");
    EXPECT_EQ(ListTree(out_).size(), 2U); // and nothing of the work
    EXPECT_EQ(RunProgram({"openssl", "dgst", "-sha256", "-verify", key, "-signature", signature, package}).out,
              "Verified OK\n");
    EXPECT_EQ(RunProgram({"unzip", "-tq", package}).exitCode, 0);
    EXPECT_EQ(RunProgram({TVPK_PROGRAM, "verify", package, signature, "--public-key", key}).exitCode, 0);
    const auto seen = nlohmann::json::parse(RunProgram({TVPK_PROGRAM, "inspect", package, "--json"}).out);
    EXPECT_EQ(seen["preVersion"], "patch04");
    EXPECT_EQ(seen["apps"][1]["members"][0]["name"], "com.cold/Cold.vab");
    EXPECT_EQ(seen["apps"][1]["members"][1]["name"], "com.cold/ColdFeature.vab.diff");
    EXPECT_EQ(world_.Tavomend("deliver " + package + " " + signature).out,
              "delivered; a boot takes cold applications in (com.cold): `tavomend boot`\n");
    const CliResult boot = world_.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 0) << boot.out << boot.err;
    EXPECT_EQ(world_.InstalledVersions(),
              (Versions{{"com.hot", 2}, {"com.cold", 2}, {"com.single", 1}, {"com.keep", 1}}));
    EXPECT_EQ(ReadFile(world_.At("dev/data/app/com.hot/v2/entry.vab")), ReadFile(world_.At("Hot2.vab")));
    EXPECT_EQ(world_.Tavomend("test").out, "\"Vab\": \"com.cold:2:true,com.hot:2:true\"\n");

    ASSERT_EQ(Make(R"({"version": "patch06", "products": [{"model": "demo", "baseVersion": "1.0.0"}],
                       "action": "revoke"})")
                  .exitCode,
              0);
    const CliResult installed = world_.Tavomend("install " + package + " " + signature);
    EXPECT_EQ(installed.exitCode, 5);
    EXPECT_EQ(installed.out, "delivered; the package takes the patch off, which happens in a boot: `tavomend boot`\n");
    EXPECT_EQ(world_.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world_.InstalledVersions()["com.hot"], 1U);
    const std::string noted = Make(Changed(RELEASE, "/system/app/Hot/Hot.vab", "/data/app/com.hot/v1/Hot.vab")).err;
    EXPECT_EQ(noted.substr(0, noted.find('\n') + 1), // a slow machine's steps follow
              "note: com.hot is patched from /data/app/com.hot/v1/Hot.vab: a revoke takes it back to its factory "
              "version, not to version 1, and is reported as failed\n");

    ASSERT_EQ(Make(RELEASE, {"--plain"}).exitCode, 0);
    ASSERT_EQ(RunProgram({"unzip", "-q", package, "-d", world_.At("members")}).exitCode, 0);
    const CliResult decoded = RunProgram({"zstd", "-q", "-d", "--long=31", "--patch-from=" + world_.At("Hot.vab"),
                                          world_.At("members/com.hot/Hot.vab.diff"), "-o", world_.At("Hot.decoded")});
    EXPECT_EQ(decoded.exitCode, 0) << decoded.err;
    EXPECT_EQ(ReadFile(world_.At("Hot.decoded")), ReadFile(world_.At("Hot2.vab")));
}

TEST_F(MadePackageTest, WhatADeviceWouldRefuseIsNotMade)
{
    WriteFile(world_.At("Keep2.vab"), Vab{"com.keep", 2, "entry", R"("keepAlive": true)"}.Bytes());
    WriteFile(world_.At("Early1.vab"), Vab{"com.keep", 1}.Bytes());
    WriteFile(world_.At("Late2.vab"), Vab{"com.keep", 2}.Bytes());
    WriteFile(world_.At("Single2.vab"), Vab{"com.single", 2}.Bytes());
    WriteFile(world_.At("Feature2.vab"), Vab{"com.hot", 2, "feature"}.Bytes());
    WriteFile(world_.At("Fwk1.vab"), Vab{"com.hot", 1, "entry", R"("bundleType": "appServiceFwk")"}.Bytes());
    WriteFile(world_.At("Fwk2.vab"), Vab{"com.hot", 2, "entry", R"("bundleType": "appServiceFwk")"}.Bytes());
    struct Case {
        const char* from;
        const char* to;
        const char* says; // "@": the release file
    };
    constexpr const char* HOT = R"("Hot.vab", "new": "Hot2.vab")";
    constexpr const char* FEATURE = R"("ColdFeature.vab", "new": "ColdFeature2.vab")";
    constexpr const char* HOT_BASE = "/system/app/Hot/Hot.vab";
    constexpr const char* BAD_VERSION = R"("version" is empty or "patch00", which means a device without a patch)";
    constexpr const char* BAD_LETTER = R"("version" or "preVersion" has a control character in it)";
    constexpr const char* KEPT_ALIVE = "com.keep: a keep-alive application is never installed hot; patch it cold";
    const Case cases[] = {
        {R"("patch05")", "5", "@: \"version\" is not a text"},
        {R"("patch05")", R"(5, "x": 1)", "@: \"version\" is not a text"}, // the first of two
        {R"("version": "patch05",)", "", "@: \"version\" is missing"},
        {R"("patch05")", R"("")", BAD_VERSION},
        {R"("patch05")", R"("patch00")", BAD_VERSION},
        {R"("patch05")", R"("patch\n05")", BAD_LETTER},
        {R"("patch04")", R"("patch\u007f")", BAD_LETTER},
        {R"("enable")", R"("clear")", "@: \"action\" is neither \"enable\" nor \"revoke\""},
        {R"("enable")", R"("revoke")", "a revoke names no applications: those of the patch in force are meant"},
        {R"("dataKept": false)", R"("dataKept": 0)", "@: \"dataKept\" is neither true nor false"},
        {R"("needReboot")", R"("reboot")", "@: the key \"reboot\" is unknown"},
        {R"("needReboot": false)", R"("window": 257)", "@: \"window\" is no whole number from 1 to 256"},
        {R"("needReboot": false)", R"("window": 1.5)", "@: \"window\" is no whole number from 1 to 256"},
        {R"("needReboot": false)", R"("format": 0)", "@: \"format\" is no whole number from 1 to 3"},
        {R"("products")", R"("product")", "@: \"products\" is missing"},
        {R"([{"model": "demo", "baseVersion": "1.0.0"}, {"model": "m2", "baseVersion": "1.0.1"}])", "[]",
         "\"products\" names no device"},
        {R"("baseVersion": "1.0.1")", R"("base": "1.0.1")", "@, products: \"baseVersion\" is missing"},
        {R"("baseVersion": "1.0.1")", R"("baseVersion": "")", "\"products\": a \"baseVersion\" is empty"},
        {R"("model": "m2")", R"("model": "")", "\"products\": a \"model\" is empty"},
        {R"("model": "m2")", R"("model": "m\t2")", "\"products\": a \"model\" has a control character in it"},
        {R"("model": "m2")", R"("note": 1, "model": "m2")", "@, products: the key \"note\" is unknown"},
        {R"({"model": "m2", "baseVersion": "1.0.1"})", R"("m2")", "@, products: is not an object"},
        {R"("patch": "hot", )", "", "@, application 1: \"patch\" is missing"},
        {R"("hot")", R"("warm")", "\"patch\" is neither \"hot\" nor \"cold\" but \"warm\""},
        {R"("internal")", "2", "@, application 2: \"type\" is not a text"},
        {R"("internal")", R"("app")", "\"type\" is neither \"internal\" nor \"appServiceFwk\" but \"app\""},
        {R"("hot")", R"("hot", "type": "appServiceFwk")", "com.hot: a service framework can be patched cold only"},
        {R"("hot", "files")", R"("hot", "file")", "@, application 1: \"files\" is missing"},
        {R"("hot", "files")", R"("hot", "files": 1}, {"files")", "@, application 1: \"files\" is not a list"},
        {R"("hot", "files": )", R"("hot", "files": []}, {"patch": "hot", "files": )", "an application has no files"},
        {R"({"patch": "cold")", R"({"patch": "hot", "files": [{"base": "/H.vab", "old": "Hot.vab", "new": "Hot2.vab"}]},
          {"patch": "cold")",
         "com.hot is named twice"},
        {R"("base": "/system/app/Cold/ColdFeature.vab", )", "", "@, application 2, file 2: \"base\" is missing"},
        {R"("old": "ColdFeature.vab", )", "", "@, application 2, file 2: \"old\" is missing"},
        {R"("new": "Hot2.vab")", R"("neu": "Hot2.vab")", "@, application 1, file 1: \"new\" is missing"},
        {R"("new": "Hot2.vab")", R"("new": "Hot2.vab", "x": 1)", "@, application 1, file 1: the key \"x\" is unknown"},
        {R"("whole": true)", R"("whole": 1)", "@, application 2, file 1: \"whole\" is neither true nor false"},
        {HOT, R"("none", "new": "Hot2.vab")", "cannot read none: No such file or directory"},
        {HOT, R"("Hot.vab", "new": "none")", "cannot read none: No such file or directory"},
        {HOT, R"("Hot.vab", "new": "release.json")", "@ is no zip archive, or its end is missing"},
        {HOT, R"("Hot.vab", "new": "Hot.vab")", "com.hot: version 1 is not above version 1"},
        {HOT, R"("Hot.vab", "new": "Cold2.vab")", "Hot.vab is com.hot, Cold2.vab is com.cold"},
        {HOT, R"("Hot.vab", "new": "Feature2.vab")", "module entry of com.hot is missing from the files"},
        {HOT, R"("Hot.vab", "new": "Fwk2.vab")",
         "com.hot: \"bundleType\" differs between the old and the new files; an update cannot change it"},
        {HOT, R"("Fwk1.vab", "new": "Fwk2.vab")",
         "com.hot: its files are of the bundle type \"appServiceFwk\", which is not of the type \"internal\""},
        {HOT, R"("Single.vab", "new": "Single2.vab")",
         "com.single: \"singleton\" differs between the old and the new files; an update cannot change it"},
        {R"("internal")", R"("appServiceFwk")",
         "com.cold: its files are of the bundle type \"app\", which is not of the type \"appServiceFwk\""},
        {HOT, R"("Keep.vab", "new": "Late2.vab")", KEPT_ALIVE},
        {HOT, R"("Early1.vab", "new": "Keep2.vab")", KEPT_ALIVE},
        {FEATURE, R"("Hot.vab", "new": "Hot2.vab")", "Hot.vab does not belong to com.cold version 1"},
        {FEATURE, R"("ColdFeature.vab", "new": "ColdFeature.vab")",
         "ColdFeature.vab does not belong to com.cold version 2"},
        {FEATURE, R"("Cold2.vab", "new": "Cold2.vab")", "Cold2.vab does not belong to com.cold version 1"},
        {FEATURE, R"("Cold.vab", "new": "Cold2.vab")", "Cold.vab is a second file of module entry"},
        {"/system/app/Cold/ColdFeature.vab", "/x/Cold.vab", "com.cold: two files would be rebuilt as Cold.vab"},
        {HOT_BASE, "Hot.vab", "\"Hot.vab\" is no absolute path of a device"},
        {HOT_BASE, "/system/../Hot.vab", "\"/system/../Hot.vab\" is no absolute path of a device"},
        {HOT_BASE, "/system/\\u001b.vab", "\"/system/\\x1b.vab\" has a control character in it"},
        {HOT_BASE, "/system.d/A",
         "\"/system.d/A\" has no name with a \".\" in it, which the device needs to name the rebuilt file"},
        {HOT_BASE, "/system/.A",
         "\"/system/.A\" has no name with a \".\" in it, which the device needs to name the rebuilt file"},
    };
    const auto expectRefused = [this](const std::string& release, const std::string& says) {
        const std::string line = says[0] == '@' ? "release.json" + says.substr(1) : says;
        EXPECT_EQ(WhyNot(Make(release)), "tvpk: " + line + "\n");
        EXPECT_TRUE(ListTree(out_).empty()) << says;
    };
    for (const auto& bad : cases) {
        expectRefused(Changed(RELEASE, bad.from, bad.to), bad.says);
    }
    expectRefused("[", "@ is not JSON");
    expectRefused("[1]", "@: is not an object");
    expectRefused(R"({"version": "v", "products": [{"model": "m", "baseVersion": "1"}]})",
                  "\"apps\" names no application");
}

// A difference may take minutes: nothing that can be known before is found out after it.
TEST_F(MadePackageTest, RefusesBeforeTheFirstDifference)
{
    ASSERT_EQ(RunProgram({"openssl", "genrsa", "-out", world_.At("small.pem"), "1024"}).exitCode, 0);
    WriteFile(world_.At("no.pem"), "no key");
    WriteFile(world_.At("busy"), "");
    std::filesystem::create_directories(world_.At("full/tavomend_sign.bin"));
    std::filesystem::create_directories(world_.At("none.vab"));
    struct Case {
        std::string out;
        std::string key;
        std::string feature; // the new file of the last application
        std::string says;
    };
    const std::string noKey = "no usable private key in ";
    const Case cases[] = {
        {"out", "none.pem", "none", noKey + "none.pem: No such file or directory"},
        {"out", "no.pem", "none", noKey + "no.pem: it holds no RSA private key (PEM, without a pass phrase)"},
        {"out", "small.pem", "none", noKey + "small.pem: it has 1024 bits, and a patch wants 2048 or more"},
        {"busy/out", "key/tavomend_private.pem", "none", "cannot write busy/out: Not a directory"},
        {"full", "key/tavomend_private.pem", "none", "cannot write full/tavomend_sign.bin: Is a directory"},
        {"out", "key/tavomend_private.pem", "none", "cannot read none: No such file or directory"},
        {"out", "key/tavomend_private.pem", "none.vab", "cannot read none.vab: Is a directory"},
    };
    for (const auto& refused : cases) {
        WriteFile(world_.At("release.json"), Changed(RELEASE, "ColdFeature2.vab", refused.feature));
        const std::string line =
            std::string(TVPK_PROGRAM) + " make release.json --out " + refused.out + " --key " + refused.key;
        // On a terminal, where every step would be seen.
        EXPECT_EQ(
            RunProgram({"sh", "-c", "cd " + world_.At("") + " && NO_COLOR=1 script -qec '" + line + "' /dev/null"}).out,
            "tvpk: " + refused.says + "\r\n");
        EXPECT_FALSE(Exists(world_.At("out"))) << refused.says;
    }
    EXPECT_EQ(ListTree(world_.At("full")).size(), 0U); // nor any of the work
}

TEST_F(MadePackageTest, VerifyingNamesWhatIsWrong)
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    recipe.apps = {recipe.apps[0]};
    EXPECT_EQ(Verify(PatchBuilder(recipe).Package()).exitCode, 0);
    EXPECT_EQ(WhyNot(Verify("no archive")), "tvpk: p.tvpk is no zip archive, or its end is missing\n");
    EXPECT_EQ(WhyNot(Verify(ZipBuilder().Add("other", "").Build())),
              "tvpk: p.tvpk has no member app_tavomend_config.json\n");
    std::string damaged =
        ZipBuilder().Add("app_tavomend_config.json", PatchBuilder(recipe).Config()).Add("x", "neat", 0).Build();
    damaged[damaged.find("neat")] = 'm';
    EXPECT_EQ(WhyNot(Verify(damaged)), "tvpk: p.tvpk: the member x is damaged\n");
    PatchRecipe wrong = recipe;
    wrong.space = 0;
    wrong.apps[0].version = 1;
    EXPECT_EQ(WhyNot(Verify(PatchBuilder(wrong).Package())),
              "tvpk: \"space\" is not above 0\ntvpk: com.hot: its version is not above its pre-version\n");
    WriteFile(world_.At("p.sign"), "other"); // then nothing of what is inside is looked at
    EXPECT_EQ(WhyNot(RunProgram({TVPK_PROGRAM, "verify", world_.At("p.tvpk"), world_.At("p.sign"), "--public-key",
                                 world_.At("key.pem")})),
              "tvpk: the signature does not verify\n");

    // Members that are not named as the archive has them, and a text that is no UTF-8.
    recipe.configText = R"({"space": 1, "version": ")" + std::string("\xff") + R"(", "product": {"model": ["m"],
        "version": ["1.0.0"]}, "action": 1, "apps": {"size": 1, "list": ["com.a"], "com.a": {"version": 2,
        "file_num": 2, "app_patch_type": "hot", "app_type": 0, "base_path": ["", "b"],
        "diff_path": ["", "com.hot/Hot.vab.diff"], "apps_hash": ["", "AA"]}}})";
    EXPECT_EQ(WhyNot(Verify(PatchBuilder(recipe).Package())),
              "tvpk: com.a: the archive has no member \ntvpk: com.a: the archive has no member com.hot/Hot.vab.diff\n");
    const std::string text = RunProgram({TVPK_PROGRAM, "inspect", world_.At("p.tvpk")}).out;
    EXPECT_NE(text.find("action 1, needs 1 KiB\nfor m at 1.0.0\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  missing  b\n"), std::string::npos) << text;
    const auto json = nlohmann::json::parse(RunProgram({TVPK_PROGRAM, "inspect", world_.At("p.tvpk"), "--json"}).out);
    EXPECT_EQ(json["version"], "\xef\xbf\xbd"); // U+FFFD
}
} // namespace
} // namespace ORVX::TavomendTest
