// From two versions of an application to a patched device, with the programs alone.
#include <nlohmann/json.hpp>

#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
constexpr const char* RELEASE = R"({"version": "patch05",
 "products": [{"model": "demo", "baseVersion": "1.0.0"}],
 "apps": [
  {"patch": "hot", "files": [{"base": "/system/app/Hot/Hot.vab", "old": "Hot.vab", "new": "Hot2.vab"}]},
  {"patch": "cold", "files": [
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
                                            world_.At("out"),
                                            "--key",
                                            world_.At("key/tavomend_private.pem")};
        command.insert(command.end(), more.begin(), more.end());
        return RunProgram(command);
    }

    const DeviceWorld world_;
};

// The text with one place of it changed, which must be there.
std::string Changed(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST_F(MadePackageTest, PatchesADevice)
{
    const CliResult made = Make(RELEASE);
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::string package = world_.At("out/app.tvpk");
    const std::string signature = world_.At("out/tavomend_sign.bin");
    EXPECT_EQ(RunProgram({"openssl", "dgst", "-sha256", "-verify", world_.At("key/zkkey_tvpk_v1.pem"), "-signature",
                          signature, package})
                  .out,
              "Verified OK\n");
    EXPECT_EQ(RunProgram({"unzip", "-tq", package}).exitCode, 0);
    EXPECT_EQ(
        RunProgram({TVPK_PROGRAM, "verify", package, signature, "--public-key", world_.At("key/zkkey_tvpk_v1.pem")})
            .exitCode,
        0);
    const auto seen = nlohmann::json::parse(RunProgram({TVPK_PROGRAM, "inspect", package, "--json"}).out);
    EXPECT_EQ(seen["configuration"]["apps"]["com.cold"]["diff_path"][0], "/com.cold/Cold.vab");
    const std::string hash = RunProgram({"sha256sum", world_.At("Hot2.vab")}).out.substr(0, 64);
    EXPECT_EQ(seen["configuration"]["apps"]["com.hot"]["apps_hash"][0], hash);

    EXPECT_EQ(world_.Tavomend("deliver " + package + " " + signature).out, "delivered\n");
    const CliResult boot = world_.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 0) << boot.out << boot.err;
    EXPECT_EQ(world_.InstalledVersions(),
              (Versions{{"com.hot", 2}, {"com.cold", 2}, {"com.single", 1}, {"com.keep", 1}}));
    EXPECT_EQ(RunProgram({"sha256sum", world_.At("dev/data/app/com.hot/v2/entry.vab")}).out.substr(0, 64), hash);
    EXPECT_EQ(world_.Tavomend("test").out, "\"Vab\": \"com.cold:2:true,com.hot:2:true\"\n");

    ASSERT_EQ(Make(R"({"version": "patch06", "products": [{"model": "demo", "baseVersion": "1.0.0"}],
                       "action": "revoke"})")
                  .exitCode,
              0);
    world_.Tavomend("deliver " + package + " " + signature);
    EXPECT_EQ(world_.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world_.InstalledVersions()["com.hot"], 1U);
}

TEST_F(MadePackageTest, PlainDifferencesDecodeWithZstd)
{
    ASSERT_EQ(Make(RELEASE, {"--plain"}).exitCode, 0);
    ASSERT_EQ(RunProgram({"unzip", "-q", world_.At("out/app.tvpk"), "-d", world_.At("members")}).exitCode, 0);
    const CliResult decoded = RunProgram({"zstd", "-q", "-d", "--long=31", "--patch-from=" + world_.At("Hot.vab"),
                                          world_.At("members/com.hot/Hot.vab.diff"), "-o", world_.At("Hot.decoded")});
    EXPECT_EQ(decoded.exitCode, 0) << decoded.err;
    EXPECT_EQ(ReadFile(world_.At("Hot.decoded")), ReadFile(world_.At("Hot2.vab")));
}

TEST_F(MadePackageTest, WhatADeviceWouldRefuseIsNotMade)
{
    WriteFile(world_.At("Keep2.vab"), Vab{"com.keep", 2, "entry", R"("keepAlive": true)"}.Bytes());
    struct Case {
        const char* from;
        const char* to;
        const char* says;
    };
    const Case cases[] = {
        {R"("new": "Hot2.vab")", R"("new": "Hot.vab")", "com.hot: version 1 is not above version 1"},
        {R"("new": "Hot2.vab")", R"("new": "Cold2.vab")", "Cold2.vab is com.cold"},
        {R"("new": "Hot2.vab")", R"("new": "release.json")", "is no zip archive"},
        {R"("new": "Hot2.vab")", R"("neu": "Hot2.vab")", "application 1, file 1: \"new\" is missing"},
        {R"("products")", R"("product")", "\"products\" is missing"},
        {R"("patch05")", R"("patch00")", "a device without a patch"},
        {R"("patch": "hot")", R"("patch": "warm")", "neither \"hot\" nor \"cold\""},
        {R"("patch": "hot")", R"("patch": "hot", "type": "appServiceFwk")", "can be patched cold only"},
        {"/system/app/Hot/Hot.vab", "/system/app/Hot/Hot", "no name with a \".\""},
        {"/system/app/Hot/Hot.vab", "system/app/Hot/Hot.vab", "no absolute path"},
        {"/system/app/Hot/Hot.vab", "/system/../Hot.vab", "no absolute path"},
        {"/system/app/Cold/ColdFeature.vab", "/system/other/Cold.vab", "two files would be rebuilt as Cold.vab"},
        {R"("version": "patch05")", R"("version": "patch05", "action": "revoke")", "a revoke names no applications"},
        {R"("Hot.vab", "new": "Hot2.vab")", R"("Keep.vab", "new": "Keep2.vab")", "never installed hot"},
        {R"("new": "ColdFeature2.vab")", R"("new": "ColdFeature.vab")", "different version codes"},
    };
    for (const auto& bad : cases) {
        const CliResult refused = Make(Changed(RELEASE, bad.from, bad.to));
        EXPECT_EQ(refused.exitCode, 1) << bad.says;
        EXPECT_NE(refused.err.find(bad.says), std::string::npos) << bad.says << " in " << refused.err;
        EXPECT_TRUE(ListTree(world_.At("out")).empty()) << bad.says;
    }
}

TEST_F(MadePackageTest, TamperingIsSeen)
{
    ASSERT_EQ(Make(RELEASE).exitCode, 0);
    const std::string package = ReadFile(world_.At("out/app.tvpk"));
    const auto verify = [this](const std::string& signature) {
        return RunProgram({TVPK_PROGRAM, "verify", world_.At("out/app.tvpk"), signature, "--public-key",
                           world_.At("key/zkkey_tvpk_v1.pem")});
    };
    EXPECT_NE(verify(world_.At("none")).err.find("none is missing or empty"), std::string::npos);
    std::string changed = package;
    changed[changed.size() / 3] = static_cast<char>(changed[changed.size() / 3] ^ 1);
    WriteFile(world_.At("out/app.tvpk"), changed);
    const CliResult tampered = verify(world_.At("out/tavomend_sign.bin"));
    EXPECT_EQ(tampered.exitCode, 1);
    EXPECT_EQ(tampered.err, "tvpk: the signature does not verify\n");
}
} // namespace
} // namespace ORVX::TavomendTest
