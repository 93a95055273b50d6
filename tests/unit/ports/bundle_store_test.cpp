#include <atomic>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <thread>

#include "ports/host/account_service.h"
#include "ports/host/bundle_store.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::AccountService;
using TavomendHost::BUNDLE_STORE_PATH;
using TavomendHost::BundleStore;
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

class BundleStoreTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::filesystem::create_directories("/data/service/bundles");
        ASSERT_TRUE(BundleStore::Create(error_)) << error_;
        store_ = BundleStore::Open(error_);
        ASSERT_NE(store_, nullptr) << error_;
    }
    static void RunSql(const char* text)
    {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(BUNDLE_STORE_PATH, &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
        sqlite3_close(database);
    }

    std::string error_;
    std::shared_ptr<BundleStore> store_;
};

TEST_F(BundleStoreTest, IsMadeOnceAndOpenedWhole)
{
    EXPECT_FALSE(BundleStore::Create(error_));
    EXPECT_EQ(error_, "there is a device here already");
    const int next = NextDescriptor();
    store_.reset();
    EXPECT_LT(NextDescriptor(), next);
    RunSql("PRAGMA user_version = 2");
    EXPECT_EQ(BundleStore::Open(error_), nullptr);
    EXPECT_EQ(error_, "the bundle store is damaged or of another version");
    WriteFile(BUNDLE_STORE_PATH, std::string(4096, 'x'));
    error_.clear();
    EXPECT_EQ(BundleStore::Open(error_), nullptr);
    EXPECT_NE(error_, "");
    std::filesystem::remove_all("/data/service");
    EXPECT_EQ(BundleStore::Open(error_), nullptr);
    EXPECT_EQ(error_, "there is no device here");
    EXPECT_FALSE(BundleStore::Create(error_));
    EXPECT_EQ(error_, "the bundle store cannot be made: unable to open database file");
    std::filesystem::create_directories("/data/service/bundles");
    const int closed = NextDescriptor();
    EXPECT_TRUE(BundleStore::Create(error_));
    EXPECT_EQ(NextDescriptor(), closed);
}

TEST_F(BundleStoreTest, GivesBackWhatWasStored)
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
    store_ = BundleStore::Open(error_);
    const auto bundles = store_->ListBundles();
    ASSERT_EQ(bundles.size(), 2U);
    const std::string factoryText =
        "com.a 1  keepAlive singleton appServiceFwk factory over 4000000001 entry=/data/app/com.a/v1/entry.vab 0";
    EXPECT_EQ(TextOf(bundles[0]), factoryText);
    EXPECT_EQ(TextOf(bundles[1]),
              "com.b 4000000000 4.0 app entry=/data/app/com.b/v4000000000/entry.vab feature=/f 100 101");
    EXPECT_EQ(TextOf(store_->FindBundle("com.none")), "none");

    ASSERT_TRUE(store_->ReplaceBundle(MakeBundle("com.b", 5, {101}))); // nothing of the former is left
    EXPECT_EQ(TextOf(store_->FindBundle("com.b")), "com.b 5  app entry=/data/app/com.b/v5/entry.vab 101");
    InstalledBundle broken = MakeBundle("com.b", 6, {100, 100});
    EXPECT_FALSE(store_->ReplaceBundle(broken)); // the same user twice
    broken = MakeBundle("com.b", 7, {100});
    RunSql("CREATE TRIGGER no BEFORE INSERT ON modules WHEN NEW.path LIKE '%v7%' BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_FALSE(store_->ReplaceBundle(broken));
    EXPECT_EQ(TextOf(store_->FindBundle("com.b")), "com.b 5  app entry=/data/app/com.b/v5/entry.vab 101");
    EXPECT_TRUE(store_->RemoveBundle("com.b"));
    EXPECT_TRUE(store_->RemoveBundle("com.b"));
    EXPECT_EQ(store_->ListBundles().size(), 1U);
    EXPECT_EQ(TextOf(store_->FindBundle("com.a")), factoryText);
}

TEST_F(BundleStoreTest, AUserComesWithTheFactoryApplicationsAndTakesHisAlong)
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
    EXPECT_TRUE(store_->HasUser(100));
    EXPECT_EQ(store_->FindBundle("com.factory")->users, (Users{100, 101}));
    EXPECT_EQ(store_->FindBundle("com.single")->users, Users{0});
    EXPECT_EQ(store_->FindBundle("com.own")->users, Users{100});

    EXPECT_TRUE(store_->RemoveUser(100));
    EXPECT_TRUE(store_->RemoveUser(100));
    EXPECT_FALSE(store_->HasUser(100));
    EXPECT_EQ(store_->ListUsers(), Users{101});
    EXPECT_EQ(store_->FindBundle("com.factory")->users, Users{101});
    EXPECT_EQ(store_->FindBundle("com.own")->users, Users{});

    // A step that fails takes back the one before.
    RunSql("CREATE TRIGGER no BEFORE INSERT ON bundle_users BEGIN SELECT RAISE(ABORT, 'no'); END;"
           "CREATE TRIGGER stays BEFORE DELETE ON accounts BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_FALSE(store_->AddUser(102));
    EXPECT_FALSE(store_->RemoveUser(101));
    EXPECT_EQ(store_->ListUsers(), Users{101});
    EXPECT_EQ(store_->FindBundle("com.factory")->users, Users{101});
}

TEST_F(BundleStoreTest, ThreadsSeeWholeChanges)
{
    ASSERT_TRUE(store_->ReplaceBundle(MakeBundle("com.a", 1, {100})));
    std::atomic<bool> isDone{false};
    std::thread reader([&] {
        while (!isDone) {
            const auto found = store_->FindBundle("com.a");
            ASSERT_TRUE(found.has_value());
            EXPECT_EQ(found->modules.size() + found->users.size(), 2U);
            EXPECT_EQ(store_->ListBundles().size(), 1U);
        }
    });
    std::thread accounts([&] {
        for (int i = 0; i < 30; ++i) {
            EXPECT_TRUE(store_->AddUser(7));
            EXPECT_TRUE(store_->RemoveUser(7));
        }
    });
    for (uint32_t i = 0; i < 30; ++i) {
        EXPECT_TRUE(store_->ReplaceBundle(MakeBundle("com.a", i, {100})));
        EXPECT_TRUE(store_->RemoveBundle("com.none"));
    }
    isDone = true;
    reader.join();
    accounts.join();
}

TEST_F(BundleStoreTest, AccountsComeFromTheServedStoreElseFromOneOpenedForTheQuery)
{
    ASSERT_TRUE(store_->AddUser(101));
    ASSERT_TRUE(store_->AddUser(100));
    const auto query = [] {
        std::vector<OsAccountInfo> accounts;
        std::string text = std::to_string(OsAccountManager::QueryAllCreatedOsAccounts(accounts));
        for (const auto& account : accounts) {
            text += " " + std::to_string(account.GetLocalId()) + account.GetLocalName();
        }
        return text;
    };
    EXPECT_EQ(query(), "0 100user100 101user101");
    AccountService::GetInstance().Serve(store_);
    std::filesystem::rename(BUNDLE_STORE_PATH, "/data/store");
    EXPECT_EQ(query(), "0 100user100 101user101"); // opened before
    WriteFile("/data/store", std::string(16384, 'x'));
    EXPECT_EQ(query(), "1"); // damaged, which is not the same as no account
    store_.reset();
    EXPECT_EQ(query(), "1");
}
} // namespace
} // namespace ORVX::TavomendTest
