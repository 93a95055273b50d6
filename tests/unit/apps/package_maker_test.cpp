#include <gtest/gtest.h>

#include "apps/tvpk/app_packer.h"
#include "apps/tvpk/package_maker.h"
#include "formats/signature.h"
#include "tests/support/device_fixture.h"
#include "tests/support/vab_builder.h"
#include "tests/unit/formats/file_size_limit.h"

namespace ORVX::Tvpk {
namespace {
using TavomendTest::Exists;
using TavomendTest::ListTree;
using TavomendTest::ReadFile;
using TavomendTest::Vab;
using TavomendTest::WriteFile;

class PackageMakerTest : public TavomendTest::DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::string error;
        ASSERT_TRUE(Formats::MakeKeyPair(2048, "/tmp/private", "/tmp/public", error)) << error;
        noise_.assign(3000, 'n');
        for (uint32_t version : {1U, 2U}) {
            const std::string number = std::to_string(version);
            WriteFile("/tmp/a" + number, Vab{"com.a", version, "entry", "", noise_}.Bytes());
            WriteFile("/tmp/f" + number, Vab{"com.a", version, "feature", "", noise_}.Bytes());
            WriteFile("/tmp/b" + number, Vab{"com.b", version, "entry", "", noise_}.Bytes());
        }
        release_.version = "patch01";
        release_.models = {"m"};
        release_.baseVersions = {"1.0.0"};
        release_.apps = {{"hot", "internal", {{"/system/app/A/A.vab", "/tmp/a1", "/tmp/a2"}}},
                         {"cold", "internal", {{"/system/app/B/B.vab", "/tmp/b1", "/tmp/b2", true}}}};
    }
    std::string Make(const std::string& outDir = "/tmp/out")
    {
        made_ = MadePackage();
        progress_.clear();
        std::string error;
        PackageMaker maker(release_, false, [this](const std::string& line) { progress_.push_back(line); });
        const bool isMade = maker.Make("/tmp/private", outDir, made_, error);
        EXPECT_EQ(isMade, error.empty());
        return error;
    }

    Release release_;
    MadePackage made_;
    std::vector<std::string> progress_;
    std::string noise_;
};

TEST_F(PackageMakerTest, TellsWhatIsInThePackage)
{
    release_.apps[0].files.push_back({"/system/app/A/F.vab", "/tmp/f1", "/tmp/f2"});
    release_.needReboot = true;
    ASSERT_EQ(Make(), "");
    EXPECT_EQ(ListTree("/tmp/out").size(), 2U); // and nothing of the work
    EXPECT_EQ(made_.packageSize, ReadFile("/tmp/out/app.tvpk").size());
    ASSERT_EQ(made_.files.size(), 3U);
    EXPECT_EQ(made_.files[0].member, "com.a/A.vab.diff");
    EXPECT_EQ(made_.files[2].member, "com.b/B.vab");
    EXPECT_EQ(made_.files[2].shippedSize, ReadFile("/tmp/b2").size());
    const auto& apps = made_.config.appsList;
    EXPECT_EQ(apps[0].diffPaths, (std::vector<std::string>{"/com.a/A.vab.diff", "/com.a/F.vab.diff"}));
    EXPECT_EQ(apps[0].appsHashs[1], TavomendTest::Sha256Hex(ReadFile("/tmp/f2")));
    EXPECT_EQ(apps[0].fileNum, 2);
    EXPECT_EQ(apps[1].preVersion, 1U);
    EXPECT_TRUE(made_.config.needReboot);
    uint64_t space = 0;
    for (const char* path : {"/tmp/a2", "/tmp/f2", "/tmp/b2"}) {
        space += (ReadFile(path).size() + 1023) / 1024;
    }
    EXPECT_EQ(made_.config.space, static_cast<int>(space));
    EXPECT_EQ(progress_, (std::vector<std::string>{"making the difference for A.vab of com.a",
                                                   "making the difference for F.vab of com.a"}));
}

TEST_F(PackageMakerTest, RefusesWhatWouldFailOnTheDevice)
{
    const Release good = release_;
    struct Case {
        std::function<void(Release&)> change;
        const char* error;
    };
    WriteFile("/tmp/keep1", Vab{"com.a", 1, "entry", R"("keepAlive": true)"}.Bytes());
    WriteFile("/tmp/keep2", Vab{"com.a", 2, "entry", R"("keepAlive": true)"}.Bytes());
    const Case cases[] = {
        {[](Release& r) { r.version = ""; },
         "\"version\" is empty or \"patch00\", which means a device without a patch"},
        {[](Release& r) { r.version = "patch00"; },
         "\"version\" is empty or \"patch00\", which means a device without a patch"},
        {[](Release& r) { r.models.clear(); }, "\"products\" names no device"},
        {[](Release& r) { r.isRevoke = true; },
         "a revoke names no applications: those of the patch in force are meant"},
        {[](Release& r) { r.apps.clear(); }, "\"apps\" names no application"},
        {[](Release& r) { r.apps[1].patch = "Cold"; }, "\"patch\" is neither \"hot\" nor \"cold\" but \"Cold\""},
        {[](Release& r) { r.apps[1].type = "app"; },
         "\"type\" is neither \"internal\" nor \"appServiceFwk\" but \"app\""},
        {[](Release& r) { r.apps[1].files.clear(); }, "an application has no files"},
        {[](Release& r) { r.apps[1] = r.apps[0]; }, "com.a is named twice"},
        {[](Release& r) { r.apps[0].type = "appServiceFwk"; }, "com.a: a service framework can be patched cold only"},
        {[](Release& r) { r.apps[0].files[0].oldPath = "/tmp/keep1"; },
         "com.a: a keep-alive application is never installed hot; patch it cold"},
        {[](Release& r) { r.apps[0].files[0].newPath = "/tmp/keep2"; },
         "com.a: a keep-alive application is never installed hot; patch it cold"},
        {[](Release& r) { r.apps[0].files[0].oldPath = "/tmp/none"; }, "there is no file /tmp/none"},
        {[](Release& r) { r.apps[0].files[0].newPath = "/tmp/none"; }, "there is no file /tmp/none"},
        {[](Release& r) { r.apps[0].files[0].newPath = "/tmp/b2"; }, "/tmp/a1 is com.a, /tmp/b2 is com.b"},
        {[](Release& r) { r.apps[0].files[0].newPath = "/tmp/a1"; }, "com.a: version 1 is not above version 1"},
        {[](Release& r) {
             r.apps[1].files.push_back({"/x/F.vab", "/tmp/f1", "/tmp/f2"});
         },
         "/tmp/f2 is com.a, not com.b"},
        {[](Release& r) {
             r.apps[0].files.push_back({"/x/F.vab", "/tmp/f2", "/tmp/f2"});
         },
         "the files of com.a have different version codes"},
        {[](Release& r) {
             r.apps[0].files.push_back({"/x/F.vab", "/tmp/f1", "/tmp/f1"});
         },
         "the files of com.a have different version codes"},
        {[](Release& r) {
             r.apps[0].files.push_back({"/x/A.vab", "/tmp/f1", "/tmp/f2"});
         },
         "com.a: two files would be rebuilt as A.vab"},
        {[](Release& r) { r.apps[0].files[0].base = "A.vab"; }, "\"A.vab\" is no absolute path of a device"},
        {[](Release& r) { r.apps[0].files[0].base = "/system.d/A"; },
         "\"/system.d/A\" has no name with a \".\" in it, which the device needs to name the rebuilt file"},
        {[](Release& r) { r.apps[0].files[0].base = "/system/.A"; },
         "\"/system/.A\" has no name with a \".\" in it, which the device needs to name the rebuilt file"},
        {[](Release& r) { r.baseVersions.emplace_back("1.0.1"); },
         "product: \"model\" and \"version\" differ in length"},
    };
    for (const auto& bad : cases) {
        release_ = good;
        bad.change(release_);
        EXPECT_EQ(Make(), bad.error);
        EXPECT_TRUE(ListTree("/tmp/out").empty()) << bad.error;
    }
}

TEST_F(PackageMakerTest, LeavesNoHalfOfAPackage)
{
    EXPECT_EQ(Make("/tmp/a1/out"), "cannot write to /tmp/a1/out");
    ASSERT_EQ(Make(), "");
    const auto before = ListTree("/tmp/out");
    WriteFile("/tmp/private", "no key");
    EXPECT_EQ(Make(), "/tmp/private holds no RSA private key (PEM, without a pass phrase)");
    EXPECT_EQ(ListTree("/tmp/out"), before);
    {
        const TavomendTest::FileSizeLimit limit(300);
        EXPECT_NE(Make(), "");
    }
    EXPECT_EQ(ListTree("/tmp/out"), before);
    // An old signature never stands beside a new package.
    std::string error;
    ASSERT_TRUE(Formats::MakeKeyPair(2048, "/tmp/private", "/tmp/public", error)) << error;
    std::filesystem::remove("/tmp/out/app.tvpk");
    std::filesystem::create_directories("/tmp/out/app.tvpk/full");
    EXPECT_EQ(Make().rfind("cannot write to /tmp/out: ", 0), 0U);
    EXPECT_FALSE(Exists("/tmp/out/tavomend_sign.bin"));
    EXPECT_TRUE(ListTree("/tmp/out").empty());
}

TEST_F(PackageMakerTest, PacksADirectoryOrNothing)
{
    WriteFile("/tmp/app/manifest.json", R"({"bundleName": "com.a", "versionCode": 1})");
    WriteFile("/tmp/app/code/x", noise_);
    std::string error;
    ASSERT_TRUE(PackApp("/tmp/app", "/tmp/out.vab", 9, error)) << error;
    const std::string packed = ReadFile("/tmp/out.vab");
    EXPECT_LT(packed.find("code/x"), packed.find("manifest.json")); // sorted
    ASSERT_TRUE(PackApp("/tmp/app", "/tmp/stored.vab", 0, error)) << error;
    EXPECT_NE(ReadFile("/tmp/stored.vab").find(noise_), std::string::npos);

    const auto whyNot = [&error](const std::string& directory, const std::string& out) {
        error.clear();
        EXPECT_FALSE(PackApp(directory, out, 9, error));
        return error;
    };
    EXPECT_EQ(whyNot("/tmp/none", "/tmp/out.vab"), "there is no directory /tmp/none");
    EXPECT_EQ(whyNot("/tmp/app/code", "/tmp/out.vab"), "/tmp/app/code has no manifest.json at its top");
    EXPECT_EQ(whyNot("/tmp/app", "/tmp/none/out.vab"), "cannot write /tmp/none/out.vab.part");
    std::filesystem::create_directories("/tmp/dir/full");
    EXPECT_EQ(whyNot("/tmp/app", "/tmp/dir"), "cannot write /tmp/dir");
    EXPECT_FALSE(Exists("/tmp/dir.part"));
    std::filesystem::create_symlink("/etc/os-release", "/tmp/app/link");
    EXPECT_EQ(whyNot("/tmp/app", "/tmp/out.vab"), "/tmp/app/link is neither a file nor a directory");
    std::filesystem::remove("/tmp/app/link");
    WriteFile("/tmp/app/manifest.json", "{}");
    EXPECT_EQ(whyNot("/tmp/app", "/tmp/out.vab"),
              "/tmp/app: manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')");
    EXPECT_EQ(ReadFile("/tmp/out.vab"), packed);
}
} // namespace
} // namespace ORVX::Tvpk
