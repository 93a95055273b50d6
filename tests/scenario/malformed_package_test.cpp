// Malformed packages and signatures: what the device and the package maker say of each, and that nothing changes.
#include <algorithm>
#include <cctype>

#include "tests/scenario/malformed.h"
#include "tests/support/difference_head.h"
#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
namespace {
constexpr const char* CONFIG = "app_tavomend_config.json";
constexpr const char* REFUSED = "this device refuses the package: ";
const std::string NUL(1, '\0');

// A patch is in force and a package is pending; both must still be so after each refusal.
class MalformedPackageTest : public testing::Test {
protected:
    void SetUp() override
    {
        world_.Deliver(OneHotApplication());
        ASSERT_EQ(world_.Tavomend("apply").exitCode, 0);
        world_.Deliver(DeviceWorld::BaselinePatch(3));
        before_ = StateOf(world_);
    }
    void TearDown() override
    {
        PatchRecipe good = DeviceWorld::BaselinePatch(4);
        good.apps.resize(1);
        ExpectInstalled(PatchBuilder(good).Package(), 4);
    }
    void ExpectInstalled(const std::string& package, uint32_t version) const
    {
        Write(package);
        const CliResult installed = world_.Tavomend(InWorld(world_, "install @/p.tvpk @/p.sign"));
        EXPECT_EQ(installed.exitCode, 0) << installed.err;
        EXPECT_EQ(world_.InstalledVersions()["com.hot"], version);
    }
    void Write(const std::string& package) const
    {
        WriteFile(world_.At("p.tvpk"), package);
        WriteFile(world_.At("p.sign"), world_.Key().Sign(package));
    }
    // "@" is the world's folder. maker: what the package maker says; nothing when only the device can see it.
    void ExpectBothRefuse(const std::string& says, const std::string& maker, const std::string& what) const
    {
        const std::string files = "@/p.tvpk @/p.sign";
        ExpectRefused(world_.Tavomend(InWorld(world_, "--json deliver " + files)), "tavomend",
                      {1, "failed", InWorld(world_, REFUSED + says)}, what);
        EXPECT_EQ(StateOf(world_), before_) << what;
        const CliResult verified = RunProgram({TVPK_PROGRAM, "verify", "--json", world_.At("p.tvpk"),
                                               world_.At("p.sign"), "--public-key", world_.At("key.pem")});
        if (maker.empty()) {
            EXPECT_EQ(verified.exitCode, 0) << what << verified.err;
        } else {
            ExpectRefused(verified, "tvpk", {1, "failed", InWorld(world_, maker)}, what);
        }
    }

    const DeviceWorld world_;
    std::vector<std::string> before_;
};

TEST_F(MalformedPackageTest, Configurations)
{
    constexpr const char* NO_JSON = "the configuration is not JSON, or has a NUL in it";
    constexpr const char* NO_PRODUCT = "\"product\" is not an object";
    constexpr const char* NO_SPACE = "\"space\" is not above 0";
    constexpr const char* NO_ACTION = "\"action\" is neither 0, 1 nor 2";
    constexpr const char* NO_SIZE = "apps: \"size\" is not the number of applications";
    constexpr const char* LISTS =
        "com.hot: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number";
    struct Row {
        std::string from;
        std::string to;
        std::string says;
    };
    const std::string deep(2000, '[');
    const Row rows[] = {
        {"{", "", NO_JSON},
        {"}}}", "}}", NO_JSON},
        {"}}}", "}}}}", NO_JSON},
        {"patch01", "patch" + NUL, NO_JSON},
        {"patch01", R"(patch\u0000)", NO_JSON},
        {"patch01", R"(patch\ud800)", NO_JSON},
        {R"("space": 1)", R"("space": )" + deep, NO_JSON},
        {"patch01", "patch00", R"("version" is "patch00", which means a device without a patch)"},
        {R"("space": 1)", R"("space": +1)", NO_JSON},
        {R"("space": 1)", R"("space": 0)", NO_SPACE},
        {R"("space": 1)", R"("space": -1e99)", NO_SPACE},
        {R"("space": 1)", R"("space": 0.9)", NO_SPACE},
        {R"("space": 1)", R"("space": "1")", NO_SPACE},
        {R"("space": 1)", R"("Space": 1)", NO_SPACE},
        {R"("space": 1)", R"("space": 0, "space": 1)", NO_SPACE},
        {R"("product": {)", R"("product": 1, "x": {)", NO_PRODUCT},
        {R"("product")", R"("Product")", NO_PRODUCT},
        {R"("model": ["model"])", R"("model": "model")", "product: \"model\" is not a list"},
        {R"("model": ["model"])", R"("model": [])", "product: \"model\" is empty"},
        {R"("model": ["model"])", R"("model": [null])", "product: \"model\" holds something other than texts"},
        {R"("model": ["model"])", R"("model": ["a", "b"])", "product: \"model\" and \"version\" differ in length"},
        {R"(["1.0.0"])", R"([1])", "product: \"version\" holds something other than texts"},
        {R"("action": 0)", R"("action": 3)", NO_ACTION},
        {R"("action": 0)", R"("action": -1)", NO_ACTION},
        {R"("action": 0)", R"("action": "0")", NO_ACTION},
        {R"("action": 0)", R"("action": 4294967296)", NO_ACTION},
        {R"("action": 0)", R"("action": 2)", "a revoke package names applications"},
        {R"("apps": {)", R"("apps": [], "x": {)", "\"apps\" is not an object"},
        {R"("size": 1)", R"("size": 2)", NO_SIZE},
        {R"("size": 1)", R"("size": 1e10)", NO_SIZE},
        {R"("list": ["com.hot"])", R"("list": "com.hot")", "apps: \"list\" is not a list"},
        {R"("list": ["com.hot"])", R"("list": [1])", "apps: \"list\" holds something other than texts"},
        {R"("list": ["com.hot"])", R"("list": [""])", "apps: \"list\" holds an empty name"},
        {R"("list": ["com.hot"])", R"("list": ["com.\u001b[2Jx"])", "apps: \"com.\\x1b[2Jx\" is not an object"},
        {R"("version": 2)", R"("version": 1)", "com.hot: its version is not above its pre-version"},
        {R"("version": 2)", R"("version": "2")", "com.hot: its version is not above its pre-version"},
        {R"("file_num": 1)", R"("file_num": 0)", LISTS},
        {R"("file_num": 1)", R"("file_num": 2147483647)", LISTS},
        {R"("hot", "app_type")", R"("Hot", "app_type")", "com.hot: \"app_patch_type\" is neither \"hot\" nor \"cold\""},
        {R"("app_type": 0)", R"("app_type": 1)", "com.hot: \"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)"},
        {R"("app_type": 0)", R"("app_type": 3)", "com.hot: \"app_type\" is unknown"},
        {R"("base_path": ["/system/app/Hot/Hot.vab"])", R"("base_path": {})", "com.hot: \"base_path\" is not a list"},
        {R"("diff_path": [)", R"("diff_path": [], "x": [)", "com.hot: \"diff_path\" is empty"},
        {R"("apps_hash": [)", R"("apps_hash": [7, )", "com.hot: \"apps_hash\" holds something other than texts"},
        {R"("apps_hash": [)", R"("apps_hash": ["", )", LISTS},
    };
    PatchRecipe recipe = OneHotApplication();
    for (const auto& row : rows) {
        recipe.configText = Changed(PatchBuilder(OneHotApplication()).Config(), row.from, row.to);
        Write(PatchBuilder(recipe).Package());
        ExpectBothRefuse(row.says, row.says, row.from.substr(0, 40) + " -> " + row.to.substr(0, 40));
    }
}

// What looks odd and is none the less what the format allows.
TEST_F(MalformedPackageTest, OddConfigurationsThatPass)
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch(3);
    recipe.apps.resize(1);
    const std::string good = PatchBuilder(recipe).Config();
    std::string hash = Sha256Hex(recipe.apps[0].files[0].newBytes);
    std::string upperCase = hash;
    std::transform(hash.begin(), hash.end(), upperCase.begin(),
                   [](unsigned char digit) { return std::toupper(digit); });
    for (const auto& [from, to] : {std::pair{hash, upperCase},
                                   {R"("space": 1)", R"("space": 5.9, "space": "none")"},
                                   {R"("version": 3)", R"("version": 3.0)"},
                                   {R"("action": 0)", R"("action": 1, "data_kept": "no", "more": [{}])"},
                                   {"patch02", R"(\u001b[2Jpatch\n02)"}}) {
        recipe.configText = Changed(good, from, to);
        ExpectInstalled(PatchBuilder(recipe).Package(), 3);
    }
}

TEST_F(MalformedPackageTest, Archives)
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    recipe.apps = {recipe.apps[1]}; // cold: the device looks at its files before it takes the package
    const std::string bomb(size_t{17} << 20, ' ');
    const auto differenceOf = [&recipe](size_t i) {
        return MakeZstdDifference(recipe.apps[0].files[i].oldBytes, recipe.apps[0].files[i].newBytes);
    };
    const Members good = {{CONFIG, PatchBuilder(recipe).Config()},
                          {"com.cold/Cold.vab.diff", differenceOf(0)},
                          {"com.cold/ColdFeature.vab.diff", differenceOf(1)}};
    using M = const Members&;
    auto rows = SpoiledArchives();
    const ArchiveRow own[] = {
        {"no configuration",
         [](M m) {
             return Zip({m[1], m[2]});
         },
         "@ has no member %"},
        {"a configuration below",
         [](M m) {
             return Zip({{"x/" + m[0].first, m[0].second}, m[1], m[2]});
         },
         "@ has no member %"},
        {"upper case name",
         [](M m) {
             return Zip({{"App_tavomend_config.json", m[0].second}, m[1], m[2]});
         },
         "@ has no member %"},
        {"two configurations",
         [](M m) {
             return Zip({{m[0].first, "{}"}, m[0], m[1], m[2]});
         },
         "\"product\" is not an object"},
        {"an empty configuration",
         [](M m) {
             return Zip({{m[0].first, ""}, m[1], m[2]});
         },
         "the configuration is not JSON, or has a NUL in it"},
        {"a large configuration",
         [&bomb](M m) {
             return Zip({{m[0].first, m[0].second + bomb}, m[1], m[2]});
         },
         "@: the member % is larger than 16777216 bytes"},
        {"no difference",
         [](M m) {
             return Zip({m[0], m[1]});
         },
         "@ has no member #", "com.cold: the archive has no member /#"},
        {"an absolute name",
         [](M m) {
             return Zip({m[0], m[1], {"/" + m[2].first, m[2].second}});
         },
         "@ has no member #", "com.cold: the archive has no member /#"},
        {"a name that leads away",
         [](M m) {
             return Zip({{m[0].first, Changed(m[0].second, "/com.cold/Cold.", "/com.cold/../../../Cold.")},
                         {"com.cold/../../../Cold.vab.diff", m[1].second},
                         m[2]});
         },
         "/data/update/tavomend/app/temp/cold/internal/com.cold/../../../Cold.vab.diff is not a path below the work "
         "directory"},
        {"another whole file",
         [](M m) {
             return Zip({{m[0].first, Changed(m[0].second, "Cold.vab.diff", "Cold.vab")},
                         {"com.cold/Cold.vab", "other"},
                         m[2]});
         },
         "/com.cold/Cold.vab does not have the stated hash"},
    };
    rows.insert(rows.end(), std::begin(own), std::end(own));
    for (const auto& row : rows) {
        Write(row.spoil(good));
        ExpectBothRefuse(Named(row.says, "@/p.tvpk", good),
                         Named(row.maker.empty() ? row.says : row.maker, "@/p.tvpk", good), row.what);
    }
}

TEST_F(MalformedPackageTest, DifferencesThatTheDeviceCannotApply)
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch(); // com.hot first, then com.cold of two files
    recipe.apps.resize(2);
    const PatchRecipe good = recipe;
    constexpr const char* FUTURE = "is of version 4 of its format, and this device reads versions 1 to 3";
    constexpr const char* LARGE = "needs 32 MiB of memory, 8 MiB of it for old content, and this device may use 31 MiB";
    const auto refuse = [this](const PatchRecipe& changed, const std::string& says) {
        Write(PatchBuilder(changed).Package());
        ExpectBothRefuse(says, "", says);
    };
    WriteFile(world_.At("dev/proc/self/cgroup"), "0::/\n");
    WriteFile(world_.At("dev/sys/fs/cgroup/memory.max"), std::to_string((32 << 20) - 1));
    before_ = StateOf(world_);
    for (const auto& [version, reason] : {std::pair{'\4', FUTURE}, {'\0', nullptr}, {'\1', LARGE}, {'\2', LARGE}}) {
        const std::string says = reason != nullptr ? reason : Changed(FUTURE, "4", "0");
        recipe = good;
        recipe.apps[0].files[0].difference = DifferenceHead(version);
        refuse(recipe, "com.hot: the difference com.hot/Hot.vab.diff " + says);
        recipe = good;
        recipe.apps[1].files[1].difference = DifferenceHead(version) + std::string(200, 'x');
        refuse(recipe, "com.cold: the difference com.cold/ColdFeature.vab.diff " + says);
    }
    recipe.apps[0].files[0].difference = DifferenceHead('\4');
    recipe.apps[1].files.resize(1);
    recipe.apps[1].isMemberMissing = true; // what is missing counts before what is there
    Write(PatchBuilder(recipe).Package());
    ExpectBothRefuse("@/p.tvpk has no member com.cold/Cold.vab.diff",
                     "com.cold: the archive has no member /com.cold/Cold.vab.diff", "missing");
}

TEST_F(MalformedPackageTest, Signatures)
{
    const std::string package = PatchBuilder(OneHotApplication()).Package();
    const std::string good = world_.Key().Sign(package);
    constexpr const char* WRONG = "the signature does not verify";
    struct Row {
        const char* what;
        std::string signature;
        std::string says;
    };
    const Row rows[] = {
        {"empty", "", "@/p.sign is empty"},
        {"cut", good.substr(0, 255), WRONG},
        {"one byte more", good + "\n", WRONG},
        {"large", std::string(1 << 20, 's'), "@/p.sign is larger than a signature can be"},
        {"above the modulus", std::string(256, '\xff'), WRONG},
        {"naught", std::string(256, '\0'), WRONG},
        {"a bit", Changed(good, good.substr(100, 8), std::string(8, 'x')), WRONG},
        {"in hexadecimal", Sha256Hex(good), WRONG},
        {"of another digest", world_.Key().Sign(package, "SHA1"), WRONG},
        {"of another key", SigningKey(SigningKey::Whose::NOBODYS).Sign(package), WRONG},
        {"of another package", world_.Key().Sign(package + "x"), WRONG},
        {"the package itself", package, WRONG},
    };
    for (const auto& row : rows) {
        WriteFile(world_.At("p.tvpk"), package);
        WriteFile(world_.At("p.sign"), row.signature);
        ExpectBothRefuse(row.says, row.says, row.what);
    }
    std::filesystem::resize_file(world_.At("p.sign"), uintmax_t{15} << 40); // which no disk would take
    ExpectBothRefuse("@/p.sign is larger than a signature can be", "@/p.sign is larger than a signature can be",
                     "huge");
}

} // namespace
} // namespace ORVX::TavomendTest
