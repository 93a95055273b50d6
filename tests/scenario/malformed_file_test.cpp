// Malformed bundle files, keys, differences and release files: what each program that reads them says.
#include "tests/scenario/malformed.h"

namespace ORVX::TavomendTest {
namespace {
const std::string NUL(1, '\0');

class MalformedFileTest : public testing::Test {
protected:
    CliResult Tvpk(const std::string& arguments) const
    {
        return RunProgram({"sh", "-c", InWorld(world_, TVPK_PROGRAM " --json " + arguments)});
    }
    // Neither can be installed, nor be a factory's.
    void ExpectNoBundle(const std::string& bytes, const std::string& says, const std::string& what) const
    {
        WriteFile(world_.At("x.vab"), bytes);
        const Refusal refusal{1, "failed", InWorld(world_, says)};
        ExpectRefused(world_.Tavomend(InWorld(world_, "--json device install @/x.vab")), "tavomend", refusal, what);
        ExpectRefused(RunProgram({TAVOMEND_PROGRAM, "--json", "--root", world_.At("made"), "device", "init",
                                  "--factory", world_.At("x.vab")}),
                      "tavomend", refusal, what);
        EXPECT_FALSE(Exists(world_.At("made"))) << what;
    }

    const DeviceWorld world_;
};

TEST_F(MalformedFileTest, Bundles)
{
    constexpr const char* NO_OBJECT = "@/x.vab: manifest.json is not a JSON object, or has a NUL in it";
    constexpr const char* NO_NAME =
        "@/x.vab: manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')";
    constexpr const char* NO_VERSION = "@/x.vab: manifest.json has no \"versionCode\" from 0 to 2147483647";
    constexpr const char* NO_MODULE =
        "@/x.vab: manifest.json has no usable \"module\" (letters, digits, '.', '_', '-')";
    struct Row {
        std::string from;
        std::string to;
        std::string says;
    };
    const Row rows[] = {
        {"{", "", NO_OBJECT},
        {"{", "[{}, ", NO_OBJECT},
        {"com.hot", "com" + NUL, NO_OBJECT},
        {R"("bundleName")", R"("BundleName")", NO_NAME},
        {"com.hot", "", NO_NAME},
        {"com.hot", "../../etc", NO_NAME},
        {"com.hot", "com/hot", NO_NAME},
        {"com.hot", R"(com.\u001b[2J)", NO_NAME},
        {"com.hot", std::string(200, 'n'), NO_NAME},
        {R"("com.hot")", "7", NO_NAME},
        {"2,", R"("2",)", NO_VERSION},
        {"2,", "-2,", NO_VERSION},
        {"2,", "2.5,", NO_VERSION},
        {"2,", "2147483648,", NO_VERSION},
        {"2,", "1e400,", NO_VERSION},
        {R"("2.0")", "2.0", "@/x.vab: manifest.json: \"versionName\" is not a text"},
        {"entry", "a/b", NO_MODULE},
        {R"("flag": 0)", R"("keepAlive": 1)", "@/x.vab: manifest.json: \"keepAlive\" is neither true nor false"},
        {R"("flag": 0)", R"("bundleType": "App")",
         "@/x.vab: manifest.json: \"bundleType\" is neither \"app\" nor \"appServiceFwk\""},
    };
    const std::string manifest =
        R"({"bundleName": "com.hot", "versionCode": 2, "versionName": "2.0", "module": "entry", "flag": 0})";
    const auto before = StateOf(world_);
    for (const auto& row : rows) {
        ExpectNoBundle(Zip({{"manifest.json", Changed(manifest, row.from, row.to)}}), row.says, row.from + row.to);
    }
    const std::string bomb = std::string(size_t{1} << 20, ' ');
    const Members good = {{"manifest.json", manifest}, {"code", std::string(1000, 'c')}};
    auto archives = SpoiledArchives();
    using M = const Members&;
    const ArchiveRow own[] = {
        {"no manifest", [](M m) { return Zip({m[1]}); }, "@ has no manifest.json at its top"},
        {"a manifest below",
         [](M m) {
             return Zip({{"x/" + m[0].first, m[0].second}});
         },
         "@ has no manifest.json at its top"},
        {"two manifests",
         [](M m) {
             return Zip({m[0], m[1], m[0]});
         },
         "@ has more than one manifest.json"},
        {"a large manifest",
         [&bomb](M m) {
             return Zip({{m[0].first, m[0].second + bomb}});
         },
         "@: the member manifest.json is larger than 65536 bytes"},
    };
    archives.insert(archives.end(), std::begin(own), std::end(own));
    for (const auto& row : archives) {
        ExpectNoBundle(row.spoil(good), Named(row.says, "@/x.vab", good), row.what);
    }
    EXPECT_EQ(StateOf(world_), before);
    WriteFile(world_.At("x.vab"), Zip(good));
    EXPECT_EQ(world_.Tavomend(InWorld(world_, "device install @/x.vab")).exitCode, 0);
}

TEST_F(MalformedFileTest, Keys)
{
    const auto openssl = [this](const std::string& arguments) {
        const CliResult made = RunProgram({"sh", "-c", InWorld(world_, "openssl " + arguments)});
        EXPECT_EQ(made.exitCode, 0) << made.err;
    };
    openssl("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out @/rsa");
    openssl("genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out @/ec");
    openssl("pkey -in @/ec -pubout -out @/ec.pub");
    openssl("pkey -in @/rsa -pubout -outform DER -out @/rsa.der");
    openssl("pkey -in @/rsa -aes128 -passout pass:secret -out @/locked");
    WriteFile(world_.At("empty"), "");
    WriteFile(world_.At("cut"), world_.Key().PublicPem().substr(0, 200));
    WriteFile(world_.At("halved"), ReadFile(world_.At("rsa")).substr(0, 800));
    WriteFile(world_.At("release.json"),
              R"({"version": "p", "action": "revoke", "products": [{"model": "m", "baseVersion": "1"}]})");
    const std::string is = " it holds no RSA ";
    const std::string isPublic = is + "public key (PEM \"PUBLIC KEY\")";
    const std::string isPrivate = is + "private key (PEM, without a pass phrase)";
    struct Row {
        std::string key;
        std::string why;
    };
    const Row publicKeys[] = {{"empty", isPublic},
                              {"cut", isPublic},
                              {"ec.pub", isPublic},
                              {"rsa.der", isPublic},
                              {"Hot.vab", isPublic},
                              {"dev", " Is a directory"},
                              {"none", " No such file or directory"}};
    const Row privateKeys[] = {{"empty", isPrivate},  {"halved", isPrivate},  {"ec", isPrivate},
                               {"locked", isPrivate}, {"key.pem", isPrivate}, {"dev", " Is a directory"}};
    for (const auto& row : publicKeys) {
        const Refusal refusal{1, "failed", "no usable public key in " + world_.At(row.key) + ":" + row.why};
        ExpectRefused(RunProgram({TAVOMEND_PROGRAM, "--json", "--root", world_.At("made"), "device", "init",
                                  "--public-key", world_.At(row.key)}),
                      "tavomend", refusal, row.key);
        EXPECT_FALSE(Exists(world_.At("made"))) << row.key;
        ExpectRefused(Tvpk("verify @/Hot.vab @/Hot.vab --public-key @/" + row.key), "tvpk", refusal, row.key);
    }
    for (const auto& row : privateKeys) {
        ExpectRefused(Tvpk("make @/release.json --out @/out --key @/" + row.key), "tvpk",
                      {1, "failed", "no usable private key in " + world_.At(row.key) + ":" + row.why}, row.key);
        EXPECT_FALSE(Exists(world_.At("out"))) << row.key;
    }
    EXPECT_EQ(Tvpk("make @/release.json --out @/out --key @/rsa").exitCode, 0);
}

TEST_F(MalformedFileTest, Differences)
{
    constexpr const char* UNKNOWN = "the difference is of an unknown kind (code 6)";
    constexpr const char* DAMAGED = "the difference is damaged (code 11)";
    constexpr const char* BEHIND = "something follows the end of the difference (code 10)";
    constexpr const char* MISMATCH = "the difference is damaged, or was made for another old file (code 12)";
    const std::string oldBytes(3000, 'o');
    const std::string newBytes = oldBytes + "new";
    WriteFile(world_.At("old"), oldBytes);
    std::string lines;
    for (int i = 0; i < 3000; ++i) {
        lines += std::to_string(i) + "\n";
    }
    WriteFile(world_.At("Hot1.vab"), Vab{"com.hot", 1, "entry", "", lines}.Bytes());
    WriteFile(world_.At("Hot2.vab"), Vab{"com.hot", 2, "entry", "", lines}.Bytes());
    ASSERT_EQ(Tvpk("diff @/Hot1.vab @/Hot2.vab @/d").exitCode, 0);
    const std::string plain = MakeZstdDifference(oldBytes, newBytes);
    const std::string magic = "TVDF\x1a\r\n";
    for (const char* flags : {"--no-check", "--no-content-size"}) {
        const CliResult made = RunProgram(
            {"sh", "-c",
             InWorld(world_, std::string("zstd -q ") + flags + " --patch-from=@/old -f @/Hot2.vab -o @/z" + flags)});
        ASSERT_EQ(made.exitCode, 0) << made.err;
    }
    struct Row {
        const char* what;
        std::string difference;
        std::string says;
    };
    const Row rows[] = {
        {"empty", "", UNKNOWN},
        {"text", "no difference", UNKNOWN},
        {"three bytes", plain.substr(0, 3), UNKNOWN},
        {"plain, magic alone", plain.substr(0, 4), DAMAGED},
        {"plain, cut", plain.substr(0, plain.size() - 5), DAMAGED},
        {"plain, one byte more", plain + "x", BEHIND},
        {"plain, checksum", plain.substr(0, plain.size() - 4) + "abcd", MISMATCH},
        {"plain, of another base", MakeZstdDifference(ReadFile(world_.At("Hot.vab")), ReadFile(world_.At("Hot.vab"))),
         MISMATCH},
        {"plain, without checksum", ReadFile(world_.At("z--no-check")), "the difference carries no checksum (code 9)"},
        {"plain, without size", ReadFile(world_.At("z--no-content-size")),
         "the difference does not say how large the new file is (code 7)"},
        {"plain, an endless size", plain.substr(0, 4) + "\xe4" + std::string(7, '\xff') + "\x7f" + plain.substr(8),
         DAMAGED},
        {"archive, magic alone", magic, DAMAGED},
        {"archive, header of zeros", magic + std::string(96, '\0'), DAMAGED},
        {"archive, cut", ReadFile(world_.At("d")).substr(0, 100), DAMAGED},
        {"archive, one byte more", ReadFile(world_.At("d")) + "x", DAMAGED},
        {"archive, another version", Changed(ReadFile(world_.At("d")), magic + "\x03", magic + "\x02"), DAMAGED},
        {"archive, of another base", ReadFile(world_.At("d")),
         "the old file is not the one that the difference was made for (code 14)"},
    };
    for (const auto& row : rows) {
        WriteFile(world_.At("x.diff"), row.difference);
        ExpectRefused(Tvpk("patch @/x.diff @/old @/fresh"), "tvpk", {1, "failed", row.says}, row.what);
        EXPECT_FALSE(Exists(world_.At("fresh"))) << row.what;
    }
    WriteFile(world_.At("x.diff"), plain);
    EXPECT_EQ(Tvpk("patch @/x.diff @/old @/fresh").exitCode, 0);
    EXPECT_EQ(ReadFile(world_.At("fresh")), newBytes);
}

TEST_F(MalformedFileTest, Releases)
{
    const std::string good =
        R"({"version": "p", "action": "revoke", "products": [{"model": "m", "baseVersion": "1"}]})";
    const std::pair<std::string, const char*> rows[] = {
        {"", "@/r.json is not JSON"},
        {good + "}", "@/r.json is not JSON"},
        {good.substr(1), "@/r.json is not JSON"},
        {"/* " + good, "@/r.json is not JSON"},
        {"null", "@/r.json: is not an object"},
        {R"({"preVersion": 1, "action": 1})",
         "@/r.json: \"version\" is missing"}, // the first one in the order of the page
        {std::string(100000, '['), "@/r.json is not JSON"},
        {Changed(good, "\"p\"", "\"\xff\""), "@/r.json is not JSON"},
        {Changed(good, "\"p\"", "\"p\\u0000\""), "\"version\" or \"preVersion\" has a control character in it"},
        {Changed(good, "\"p\"", "1e999"), "@/r.json is not JSON"},
        {Changed(good, "\"version\"", "\"\\u001b[2J\""), "@/r.json: \"version\" is missing"},
        {Changed(good, "revoke", "Revoke"), "@/r.json: \"action\" is neither \"enable\" nor \"revoke\""},
        {Changed(good, "[{", "{\"x\": {"), "@/r.json is not JSON"},
    };
    WriteFile(world_.At("key.pem"), "no key: a release is judged before");
    for (const auto& [release, says] : rows) {
        WriteFile(world_.At("r.json"), release);
        ExpectRefused(Tvpk("make @/r.json --out @/out --key @/key.pem"), "tvpk", {1, "failed", InWorld(world_, says)},
                      release.substr(0, 80));
        EXPECT_FALSE(Exists(world_.At("out")));
    }
}
} // namespace
} // namespace ORVX::TavomendTest
