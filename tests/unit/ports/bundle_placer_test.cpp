// What installs, updates and restores leave on disk and in the store.
#include <algorithm>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "ports/host/bundle_placer.h"
#include "ports/host/installed_notes.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/noise.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;
using Users = std::vector<int32_t>;

InstalledBundle MakeBundle(const std::string& name, uint32_t version, Users users)
{
    InstalledBundle bundle;
    bundle.bundleName = name;
    bundle.versionCode = version;
    bundle.bundleType = "app";
    bundle.modules = {{"entry", "/data/app/" + name + "/v" + std::to_string(version) + "/entry.vab"}};
    bundle.users = std::move(users);
    return bundle;
}

// All fields of a bundle as one text.
std::string TextOf(const std::optional<InstalledBundle>& bundle)
{
    if (!bundle) {
        return "none";
    }
    std::string text = bundle->bundleName + " " + std::to_string(bundle->versionCode) + " " + bundle->versionName +
                       (bundle->keepAlive ? " keepAlive" : "") + (bundle->singleton ? " singleton" : "") + " " +
                       bundle->bundleType + (bundle->isFactory ? " factory" : "") +
                       (bundle->factoryVersion ? " over " + std::to_string(*bundle->factoryVersion) : "");
    for (const auto& [module, path] : bundle->modules) {
        text += " " + module + "=" + path;
    }
    for (const int32_t user : bundle->users) {
        text += " " + std::to_string(user);
    }
    return text;
}

class BundlePlacerTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::filesystem::create_directories("/data/service/bundles");
        std::string error;
        store_ = BundleStore::Create(BUNDLE_STORE_PATH, error);
        ASSERT_NE(store_, nullptr) << error;
        placer_ = std::make_unique<BundlePlacer>(store_);
    }
    void AddUsers()
    {
        ASSERT_TRUE(store_->AddUser(100));
        ASSERT_TRUE(store_->AddUser(101));
    }
    static BundleFileSet SetOf(const std::vector<Vab>& vabs, const std::string& directory = "/tmp")
    {
        std::vector<std::string> paths;
        for (const auto& vab : vabs) {
            paths.push_back(directory + "/" + vab.bundleName + "-" + vab.module + ".vab");
            WriteFile(paths.back(), vab.Bytes());
        }
        BundleFileSet set;
        std::string message;
        EXPECT_EQ(ReadBundleFileSet(paths, set, message), INSTALL_OK) << message;
        return set;
    }
    // As the installer does it: copied while it is read.
    InstallResult StageAndInstall(const std::vector<std::string>& paths)
    {
        BundleFileSet set;
        StagedFiles staged = placer_->Stage();
        const InstallResult result = StageBundleFileSet(paths, set, staged, message_);
        return result == INSTALL_OK ? placer_->Install(set, staged, 100, true, message_) : result;
    }
    InstallResult Install(const std::vector<Vab>& vabs, int32_t userId = 100)
    {
        return InstallSet(SetOf(vabs), userId);
    }
    // Of which nothing has been copied yet.
    InstallResult InstallSet(const BundleFileSet& set, int32_t userId)
    {
        StagedFiles staged = placer_->Stage();
        return placer_->Install(set, staged, userId, true, message_);
    }
    std::optional<InstalledBundle> Find(const std::string& name)
    {
        std::optional<InstalledBundle> bundle;
        EXPECT_TRUE(store_->FindBundle(name, bundle));
        return bundle;
    }
    static void RunSql(const char* text)
    {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(BUNDLE_STORE_PATH, &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // The bundle files under /data/app, without that prefix and their hashes; each version has its note beside them.
    static std::vector<std::string> Files()
    {
        std::vector<std::string> names;
        for (const auto& entry : ListTree("/data/app")) {
            const std::string name = entry.substr(10, entry.find(' ') - 10);
            if (name.find(VERSION_NOTE_NAME) == std::string::npos) {
                names.push_back(name);
                EXPECT_TRUE(Exists("/data/app/" + name.substr(0, name.rfind('/')) + "/" + VERSION_NOTE_NAME)) << name;
            }
        }
        return names;
    }
    using Names = std::vector<std::string>;

    const Vab entry_{"com.a", 5};
    const Vab feature_{"com.a", 5, "feature"};
    std::shared_ptr<BundleStore> store_;
    std::unique_ptr<BundlePlacer> placer_;
    std::string message_;
};

TEST_F(BundlePlacerTest, AnInstallTakesADirectoryOfItsOwnAndRemovesTheFormerAfterwards)
{
    AddUsers();
    WriteFile("/data/app/.staging/left.vab", "of a power cut");
    ASSERT_EQ(Install({entry_, feature_}), INSTALL_OK) << message_;
    EXPECT_EQ(Files(), (Names{"com.a/v5/entry.vab", "com.a/v5/feature.vab"}));
    EXPECT_EQ(ReadFile("/data/app/com.a/v5/feature.vab"), feature_.Bytes());
    EXPECT_EQ(std::filesystem::status("/data/app/com.a/v5/entry.vab").permissions(), std::filesystem::perms(0644));
    ASSERT_EQ(Install({entry_, feature_}), INSTALL_OK) << message_; // the same version: not over the files in use
    EXPECT_EQ(Files(), (Names{"com.a/v5-1/entry.vab", "com.a/v5-1/feature.vab"}));
    std::filesystem::create_directories("/data/app/com.a/v6");
    std::filesystem::create_directories("/data/app/com.a/v6-1");
    ASSERT_EQ(Install({entry_.At(6), feature_.At(6)}), INSTALL_OK) << message_;
    EXPECT_EQ(Files(), (Names{"com.a/v6-2/entry.vab", "com.a/v6-2/feature.vab"}));
    EXPECT_EQ(Find("com.a")->modules.at("entry"), "/data/app/com.a/v6-2/entry.vab");
    ASSERT_EQ(Install({entry_.At(6), feature_.At(6)}, 101), INSTALL_OK) << message_;
    ASSERT_EQ(placer_->Update(SetOf({entry_.At(7), feature_.At(7)}), message_), INSTALL_OK) << message_;
    EXPECT_EQ(Find("com.a")->users, (Users{100, 101}));
    EXPECT_EQ(placer_->Update(SetOf({entry_.At(6), feature_.At(6)}), message_), INSTALL_DOWNGRADE);
    EXPECT_EQ(placer_->Update(SetOf({Vab{"com.none"}}), message_), INSTALL_UNKNOWN_USER);
    EXPECT_TRUE(placer_->RemoveLeftovers());
    EXPECT_FALSE(Exists("/data/app/com.a/v6"));
    EXPECT_EQ(Files().size(), 2U);
}

TEST_F(BundlePlacerTest, FactoryFilesStayAndAreGoneBackTo)
{
    AddUsers();
    const auto factory = SetOf({entry_, feature_}, "/system/app/A");
    const auto single = SetOf({Vab{"com.s", 1, "entry", R"("singleton": true)"}}, "/system/app/S");
    ASSERT_TRUE(placer_->RestoreFactory(factory));
    ASSERT_TRUE(placer_->RestoreFactory(single));
    EXPECT_EQ(Find("com.a")->users, (Users{100, 101}));
    EXPECT_EQ(Find("com.s")->users, Users{0});
    EXPECT_TRUE(Find("com.a")->isFactory);
    EXPECT_EQ(Files(), Names{});

    ASSERT_EQ(Install({entry_.At(6), feature_.At(6)}), INSTALL_OK) << message_;
    auto updated = *Find("com.a");
    EXPECT_FALSE(updated.isFactory);
    EXPECT_EQ(updated.factoryVersion, 5U);
    EXPECT_EQ(ListTree("/system/app/A").size(), 2U);
    updated.users = {101}; // the other one has removed it
    ASSERT_TRUE(store_->ReplaceBundle(updated));
    ASSERT_TRUE(placer_->RestoreFactory(factory));
    EXPECT_EQ(Find("com.a")->users, Users{101});
    EXPECT_EQ(Find("com.a")->modules, factory.modules);
    EXPECT_EQ(Files(), Names{});
}

// Whether the store has taken a version that it failed on, only the store can say later: the files stay until then.
TEST_F(BundlePlacerTest, AVersionThatTheStoreFailedOnStaysForTheNextScan)
{
    AddUsers();
    ASSERT_EQ(Install({entry_}), INSTALL_OK) << message_;
    RunSql("CREATE TRIGGER no BEFORE INSERT ON bundles BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_EQ(Install({entry_.At(6)}), INSTALL_STORE_ERROR);
    EXPECT_EQ(message_, "the store has not taken com.a");
    EXPECT_FALSE(placer_->RestoreFactory(SetOf({entry_.At(4)}, "/system/app/A")));
    EXPECT_EQ(Files(), (Names{"com.a/v5/entry.vab", "com.a/v6/entry.vab"}));
    EXPECT_TRUE(placer_->RemoveLeftovers());
    EXPECT_EQ(Files(), Names{"com.a/v5/entry.vab"});
}

TEST_F(BundlePlacerTest, WhatIsPlacedIsWhatWasChecked)
{
    AddUsers();
    WriteFile("/data/app/.staging/7/left.vab", "of a power cut");
    Vab large{"com.large"};
    large.payload = Noise(800000, 5);
    WriteFile("/tmp/a.vab", entry_.Bytes());
    WriteFile("/tmp/large.vab", large.Bytes());
    BundleFileSet sets[2];
    {
        StagedFiles first = placer_->Stage();
        StagedFiles second = placer_->Stage();
        ASSERT_EQ(StageBundleFileSet({"/tmp/large.vab"}, sets[0], first, message_), INSTALL_OK) << message_;
        ASSERT_EQ(StageBundleFileSet({"/tmp/a.vab"}, sets[1], second, message_), INSTALL_OK) << message_;
        WriteFile("/tmp/large.vab", large.At(2).Bytes()); // somebody else's, now
        std::filesystem::remove("/tmp/a.vab");
        EXPECT_TRUE(placer_->RemoveLeftovers());
        EXPECT_EQ(StageAndInstall({"/tmp/large.vab", "/tmp/large.vab"}), INSTALL_MIXED_SET);
        EXPECT_EQ(placer_->Install(sets[0], first, 100, true, message_), INSTALL_OK) << message_;
        EXPECT_EQ(placer_->Install(sets[1], second, 100, true, message_), INSTALL_OK) << message_;
    }
    EXPECT_EQ(Files(), (Names{"com.a/v5/entry.vab", "com.large/v1/entry.vab"}));
    EXPECT_TRUE(ReadFile("/data/app/com.large/v1/entry.vab") == large.Bytes());
    EXPECT_EQ(ReadFile("/data/app/com.a/v5/entry.vab"), entry_.Bytes());
    EXPECT_FALSE(Exists("/data/app/.staging"));
}

TEST_F(BundlePlacerTest, ACopyThatFailsIsToldAndLeavesNothing)
{
    AddUsers();
    std::filesystem::create_directory("/data/app");
    WriteFile("/tmp/a.vab", entry_.Bytes());
    WriteFile("/tmp/b.vab", feature_.Bytes());
    for (const char* call : {"mkdir", "write", "fchmod", "fsync", "rename"}) {
        FaultyFileLayer files("/data/app");
        files.FailCall(call, 1, ENOSPC);
        EXPECT_EQ(StageAndInstall({"/tmp/a.vab", "/tmp/b.vab"}), INSTALL_IO_ERROR) << call;
        EXPECT_EQ(message_, "the files of com.a could not be copied into place: No space left on device") << call;
        EXPECT_TRUE(ListTree("/data/app").empty()) << call;
        EXPECT_FALSE(Find("com.a")) << call;
    }
    umask(S_IRWXG | S_IRWXO);
    EXPECT_EQ(StageAndInstall({"/tmp/a.vab", "/tmp/b.vab"}), INSTALL_OK) << message_;
    EXPECT_EQ(std::filesystem::status("/data/app/com.a/v5/entry.vab").permissions(), std::filesystem::perms(0644));
    WriteFile("/tmp/a.vab", entry_.At(4).Bytes());
    EXPECT_EQ(StageAndInstall({"/tmp/a.vab", "/tmp/b.vab"}), INSTALL_MIXED_SET);
    EXPECT_EQ(Files(), (Names{"com.a/v5/entry.vab", "com.a/v5/feature.vab"}));
}

// The power goes at every call in turn: what the store names is there, whole, and everything else can be cleaned up.
class BundlePlacerPowerTest : public BundlePlacerTest, public testing::WithParamInterface<bool> {};

TEST_P(BundlePlacerPowerTest, APowerCutLeavesWhatTheStoreNames)
{
    AddUsers();
    std::filesystem::create_directory("/data/app");
    uint32_t version = 1;
    size_t cuts = 0;
    size_t taken = 0;
    for (bool isWhole = false; !isWhole; ++version) {
        const std::string name = version % 2 == 0 ? "com.new" + std::to_string(version) : "com.a";
        const Vab vab{name, version};
        const auto set = SetOf({vab, Vab{name, version, "feature"}});
        {
            FaultyFileLayer files("/data/app");
            files.FailFrom(++cuts);
            static_cast<void>(GetParam() ? StageAndInstall({set.modules.at("entry"), set.modules.at("feature")})
                                         : InstallSet(set, 100));
            isWhole = files.Calls().size() < cuts;
            files.CutPower();
        }
        const auto installed = Find(name);
        taken += installed && installed->versionCode == version ? 1 : 0;
        std::vector<std::string> named;
        const auto bundles = store_->ListBundles().value();
        for (const auto& bundle : bundles) {
            for (const auto& [module, path] : bundle.modules) {
                ASSERT_TRUE(Exists(path)) << path << " after a cut at call " << cuts;
                EXPECT_EQ(ReadFile(path), (Vab{bundle.bundleName, bundle.versionCode, module}).Bytes()) << cuts;
                named.push_back(path.substr(10));
            }
        }
        EXPECT_TRUE(placer_->RemoveLeftovers());
        std::sort(named.begin(), named.end());
        ASSERT_EQ(Files(), named);
    }
    EXPECT_GT(cuts, 20U);
    EXPECT_GT(taken, 1U); // cuts behind the store's commit
}
INSTANTIATE_TEST_SUITE_P(Copies, BundlePlacerPowerTest, testing::Bool(),
                         [](const auto& copied) { return copied.param ? "WhileRead" : "Afterwards"; });

TEST_F(BundlePlacerTest, GivesBackWhatWasStored)
{
    InstalledBundle plain = MakeBundle("com.b", 4000000000, {100, 101});
    plain.versionName = "4.0";
    plain.modules["feature"] = "/f";
    InstalledBundle factory = MakeBundle("com.a", 1, {0});
    factory.bundleType = "appServiceFwk";
    factory.keepAlive = factory.singleton = factory.isFactory = true;
    factory.factoryVersion = 4000000001;
    ASSERT_TRUE(store_->ReplaceBundle(plain));
    ASSERT_TRUE(store_->ReplaceBundle(factory));
    StoreFault fault;
    store_ = BundleStore::Open(BUNDLE_STORE_PATH, fault);
    const auto bundles = store_->ListBundles().value();
    ASSERT_EQ(bundles.size(), 2U);
    const std::string factoryText =
        "com.a 1  keepAlive singleton appServiceFwk factory over 4000000001 entry=/data/app/com.a/v1/entry.vab 0";
    EXPECT_EQ(TextOf(bundles[0]), factoryText);
    EXPECT_EQ(TextOf(bundles[1]),
              "com.b 4000000000 4.0 app entry=/data/app/com.b/v4000000000/entry.vab feature=/f 100 101");
    EXPECT_EQ(TextOf(Find("com.none")), "none");

    ASSERT_TRUE(store_->ReplaceBundle(MakeBundle("com.b", 5, {101}))); // nothing of the former is left
    EXPECT_EQ(TextOf(Find("com.b")), "com.b 5  app entry=/data/app/com.b/v5/entry.vab 101");
    InstalledBundle broken = MakeBundle("com.b", 6, {100, 100});
    EXPECT_FALSE(store_->ReplaceBundle(broken)); // the same user twice
    broken = MakeBundle("com.b", 7, {100});
    RunSql("CREATE TRIGGER no BEFORE INSERT ON modules WHEN NEW.path LIKE '%v7%' BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_FALSE(store_->ReplaceBundle(broken));
    EXPECT_EQ(TextOf(Find("com.b")), "com.b 5  app entry=/data/app/com.b/v5/entry.vab 101");
    EXPECT_TRUE(store_->RemoveBundle("com.b"));
    EXPECT_EQ(store_->ListBundles()->size(), 1U);
    EXPECT_EQ(TextOf(Find("com.a")), factoryText);
}

TEST_F(BundlePlacerTest, AUserComesWithTheFactoryApplicationsAndTakesHisAlong)
{
    InstalledBundle factory = MakeBundle("com.factory", 2, {});
    factory.factoryVersion = 1; // updated since
    InstalledBundle single = MakeBundle("com.single", 1, {0});
    single.singleton = true;
    single.factoryVersion = 1;
    for (const auto& bundle : {factory, single, MakeBundle("com.own", 1, {100})}) {
        ASSERT_TRUE(store_->ReplaceBundle(bundle));
    }
    EXPECT_EQ(store_->ListUsers(), Users{});
    EXPECT_TRUE(store_->AddUser(101));
    EXPECT_TRUE(store_->AddUser(100));
    EXPECT_FALSE(store_->AddUser(100));
    EXPECT_EQ(store_->ListUsers(), (Users{100, 101}));
    EXPECT_EQ(Find("com.factory")->users, (Users{100, 101}));
    EXPECT_EQ(Find("com.single")->users, Users{0});
    EXPECT_EQ(Find("com.own")->users, Users{100});

    EXPECT_TRUE(store_->RemoveUser(100));
    EXPECT_EQ(store_->ListUsers(), Users{101});
    EXPECT_EQ(Find("com.factory")->users, Users{101});
    EXPECT_EQ(Find("com.own")->users, Users{});

    // A step that fails takes back the one before.
    RunSql("CREATE TRIGGER no BEFORE INSERT ON bundle_users BEGIN SELECT RAISE(ABORT, 'no'); END;"
           "CREATE TRIGGER stays BEFORE DELETE ON accounts BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_FALSE(store_->AddUser(102));
    EXPECT_FALSE(store_->RemoveUser(101));
    EXPECT_EQ(store_->ListUsers(), Users{101});
    EXPECT_EQ(Find("com.factory")->users, Users{101});
}

} // namespace
} // namespace ORVX::TavomendTest
