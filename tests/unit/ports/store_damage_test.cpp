// A damaged store, files that cannot be read, too few descriptors: nothing that is installed is lost or forgotten.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include "platform/api/bundle_mgr.h"
#include "platform/api/os_account_manager.h"
#include "platform/api/system_ability_manager.h"
#include "ports/host/boot_scan.h"
#include "ports/host/installed_notes.h"
#include "ports/host/store_rebuild.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;
using testing::HasSubstr;
namespace fs = std::filesystem;

const std::string STORE = BUNDLE_STORE_PATH;
const std::string DAMAGED = "the bundle store is damaged: ";

// com.f runs its factory files; com.u is updated from its factory version; com.own is user 101's alone.
const std::string INSTALLED =
    "com.f 1 1.0 app over 1 factory: 100 101; com.fwk 2 2.0 appServiceFwk singleton keepAlive: 0;"
    " com.own 3 3.0 app: 101; com.u 2 2.0 app over 1: 100 101; users 100 101";

std::string TextOf(const IDevicePlatform& platform)
{
    const auto bundles = platform.ListBundles();
    const auto users = platform.ListUsers();
    if (!bundles || !users) {
        return "unreadable";
    }
    std::string text;
    const auto add = [&text](const std::vector<int32_t>& ids) {
        for (const int32_t id : ids) {
            text += " " + std::to_string(id);
        }
    };
    for (const auto& bundle : *bundles) {
        text += bundle.bundleName + " " + std::to_string(bundle.versionCode) + " " + bundle.versionName + " " +
                bundle.bundleType + (bundle.singleton ? " singleton" : "") + (bundle.keepAlive ? " keepAlive" : "") +
                (bundle.factoryVersion ? " over " + std::to_string(*bundle.factoryVersion) : "") +
                (bundle.isFactory ? " factory:" : ":");
        add(bundle.users);
        text += "; ";
        for (const auto& [module, path] : bundle.modules) {
            EXPECT_TRUE(Exists(path)) << module << " of " << bundle.bundleName;
        }
    }
    text += "users";
    add(*users);
    return text;
}

class StoreDamageTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile("/system/app/F/F.vab", Vab{"com.f"}.Bytes());
        WriteFile("/system/app/U/U.vab", Vab{"com.u"}.Bytes());
        WriteFile("/system/app/U/V.vab", Vab{"com.u", 1, "more"}.Bytes());
        ASSERT_TRUE(HostPlatform::InitDevice(error_)) << error_;
        ASSERT_TRUE(Start(ServiceStart::ATTACH));
        ASSERT_TRUE(platform_->AddUser(101, error_)) << error_;
        Install({Vab{"com.u", 2}, Vab{"com.u", 2, "more"}}, 100);
        Install({Vab{"com.own", 3}}, 101);
        Install({Vab{"com.fwk", 2, "entry", R"("bundleType": "appServiceFwk", "singleton": true, "keepAlive": true)"}},
                0);
        ASSERT_EQ(TextOf(*platform_), INSTALLED);
        platform_.reset();
        whole_ = ReadFile(STORE);
        files_ = ListTree("/data/app");
        fs::copy("/data", "/backup", fs::copy_options::recursive);
    }
    static void Restore()
    {
        fs::remove_all("/data");
        fs::copy("/backup", "/data", fs::copy_options::recursive);
    }
    static std::pair<int32_t, std::string> Install(const std::vector<Vab>& vabs, int32_t user)
    {
        std::vector<std::string> paths;
        for (const auto& vab : vabs) {
            paths.push_back("/tmp/" + std::to_string(paths.size()) + ".vab");
            WriteFile(paths.back(), vab.Bytes());
        }
        return InstallAndWait(*FindBundleMgr(), paths, user);
    }
    static sptr<IBundleMgr> FindBundleMgr()
    {
        return iface_cast<IBundleMgr>(
            SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
    }
    [[nodiscard]] bool Start(ServiceStart start)
    {
        error_.clear();
        platform_.reset();
        platform_ = HostPlatform::Start(start, error_);
        return platform_ != nullptr;
    }
    // A boot gives the applications as they were, and says so when the store had to be made anew.
    void ExpectRebuilt(const std::string& installed = INSTALLED)
    {
        ASSERT_TRUE(Start(ServiceStart::SCAN)) << error_;
        EXPECT_EQ(TextOf(*platform_), installed);
        EXPECT_THAT(platform_->GetScanReport().storeRebuilt,
                    testing::AllOf(HasSubstr(DAMAGED), HasSubstr("; it was made anew from 3 installed applications and "
                                                                 "the factory's, and is kept as " +
                                                                 STORE + ".damaged")));
        ASSERT_TRUE(Start(ServiceStart::SCAN)) << error_;
        EXPECT_EQ(platform_->GetScanReport().storeRebuilt, "");
    }

    std::string error_;
    std::unique_ptr<HostPlatform> platform_;
    std::string whole_;
    std::vector<std::string> files_;
};

// Overwrites every page of a table and of its indexes, past those who have the store open.
void DamageTable(const std::string& table)
{
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(STORE.c_str(), &database), SQLITE_OK);
    std::string bytes = ReadFile(STORE);
    const auto damage = [](void* store, int /*count*/, char** values, char** /*names*/) {
        static_cast<std::string*>(store)->replace((std::stoul(values[0]) - 1) * 4096, 4096, std::string(4096, '\xff'));
        return 0;
    };
    const std::string pages = "SELECT rootpage FROM sqlite_master WHERE tbl_name = '" + table + "'";
    EXPECT_EQ(sqlite3_exec(database, pages.c_str(), damage, &bytes, nullptr), SQLITE_OK);
    sqlite3_close(database);
    bytes[27] = static_cast<char>(bytes[27] + 1); // the change counter: what others have in memory is out of date
    bytes[95] = static_cast<char>(bytes[95] + 1);
    WriteFile(STORE, bytes);
}

TEST_F(StoreDamageTest, AReadThatFailsIsNoEmptyList)
{
    std::vector<OsAccountInfo> accounts;
    BundleInfo info;
    for (const std::string table : {"bundles", "modules", "accounts", "bundle_users"}) {
        SCOPED_TRACE(table);
        StoreFault fault;
        WriteFile(STORE, whole_);
        ASSERT_TRUE(Start(ServiceStart::ATTACH)) << error_;
        const auto store = BundleStore::Open(STORE, fault);
        ASSERT_NE(store, nullptr) << fault.text;
        DamageTable(table);
        WriteFile("/data/app/com.x/v1/left.vab", "of a power cut");
        WriteFile("/system/app/N/N.vab", Vab{"com.n"}.Bytes());
        const bool isOfUsers = table == "accounts";
        const auto report = BootScan(store, std::make_shared<BundlePlacer>(store)).Run();
        std::string skipped;
        for (const auto& entry : report.entries) {
            EXPECT_EQ(entry.action, "skipped") << entry.bundleName;
            skipped += entry.bundleName + ": " + entry.reason + "; ";
        }
        EXPECT_EQ(Exists("/data/app/com.x/v1/left.vab"), !isOfUsers);
        EXPECT_THAT(skipped, HasSubstr(isOfUsers ? "com.n: the store cannot be written"
                                                 : ": the bundle store cannot be read: nothing is cleaned up; "));
        EXPECT_EQ(skipped.find("gone"), std::string::npos) << skipped;

        std::optional<InstalledBundle> found;
        EXPECT_EQ(store->FindBundle("com.own", found), isOfUsers);
        EXPECT_EQ(platform_->ListBundles().has_value(), isOfUsers);
        EXPECT_EQ(platform_->ListUsers().has_value(), !isOfUsers);
        EXPECT_EQ(OsAccountManager::QueryAllCreatedOsAccounts(accounts), isOfUsers ? 1 : 0);
        EXPECT_FALSE(FindBundleMgr()->GetBundleInfo("com.own", 0, info, 101));
        EXPECT_EQ(FindBundleMgr()->GetDependentBundleInfo("com.fwk", info, 1), isOfUsers ? 0 : 1);
        EXPECT_EQ(Install({Vab{"com.own", 4}}, 101).first, INSTALL_STORE_ERROR);
        for (const bool isAdded : {false, true}) {
            EXPECT_FALSE(isOfUsers && (isAdded ? platform_->AddUser(102, error_) : platform_->RemoveUser(101, error_)));
            EXPECT_EQ(error_, isOfUsers ? "the bundle store cannot be read" : "");
        }
        platform_.reset();
        fs::remove_all("/data/app/com.x");
        fs::remove_all("/system/app/N");
        WriteFile(STORE, whole_);
        EXPECT_TRUE(Start(ServiceStart::SCAN)) << error_; // whatever the attempts have left goes
        EXPECT_EQ(TextOf(*platform_), INSTALLED);
        EXPECT_EQ(ListTree("/data/app"), files_);
    }
}

// Wherever the damage is, the boot has every application as it was.
TEST_F(StoreDamageTest, NoDamagedByteLosesAnything)
{
    size_t rebuilt = 0;
    for (size_t at = 0; at < whole_.size(); at += at < 100 ? 5 : 397) {
        std::string bytes = whole_;
        bytes[at] = static_cast<char>(~bytes[at]);
        fs::remove(STORE + ".damaged");
        WriteFile(STORE, bytes);
        const bool isAttached = Start(ServiceStart::ATTACH);
        EXPECT_TRUE(isAttached ? TextOf(*platform_) == INSTALLED : error_.rfind(DAMAGED, 0) == 0) << at << error_;
        ASSERT_TRUE(Start(ServiceStart::SCAN)) << at << ": " << error_;
        ASSERT_EQ(TextOf(*platform_), INSTALLED) << at;
        const bool isRebuilt = !platform_->GetScanReport().storeRebuilt.empty();
        EXPECT_EQ(Exists(STORE + ".damaged"), isRebuilt);
        EXPECT_EQ(isRebuilt, !isAttached);
        rebuilt += isRebuilt ? 1 : 0;
    }
    EXPECT_GT(rebuilt, 10U);
    EXPECT_EQ(ListTree("/data/app"), files_);
}

TEST_F(StoreDamageTest, AStoreIsMadeAnewFromFilesAndNotes)
{
    const std::string note = std::string("/") + VERSION_NOTE_NAME;
    const auto whole = [](const char* path, uint32_t version) { WriteFile(path, Vab{"com.own", version}.Bytes()); };
    std::string changed = INSTALLED; // an application without its note is everybody's
    changed.replace(changed.find("app: 101"), 8, "app: 100 101");
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] { WriteFile(STORE, ""); }, ""},
        {[this] { WriteFile(STORE, whole_.substr(0, 4096)); }, INSTALLED},
        {[this] { WriteFile(STORE, std::string(whole_).replace(4096, 4096, std::string(4096, '\0'))); }, INSTALLED},
        {[] { WriteFile(STORE + "-journal", std::string(2048, 'j')); }, INSTALLED}, // not the new store's
        {[&] { fs::remove("/data/app/com.own/v3" + note); }, changed},
        {[&] { WriteFile("/data/app/com.own/v3" + note, "{"); }, changed},
        {[] { fs::remove(ACCOUNT_NOTE_PATH); }, INSTALLED},
        {[] { WriteFile("/data/app/com.own/v3/entry.vab", "damaged"); }, INSTALLED}, // but for the note
        {[&] { whole("/data/app/com.own/v2/entry.vab", 2); }, INSTALLED},            // on its way out
        {[&] { whole("/data/app/.removed/entry.vab", 9); }, INSTALLED},
        {[&] { whole("/data/app/.staging/entry.vab", 9); }, INSTALLED},
    };
    for (const auto& [prepare, installed] : cases) {
        SCOPED_TRACE(&prepare - &cases[0].first);
        Restore();
        WriteFile(STORE, "no store at all");
        prepare();
        const std::string damaged = ReadFile(STORE);
        if (damaged.empty()) { // like one that cannot be read
            EXPECT_FALSE(Start(ServiceStart::SCAN));
            continue;
        }
        ExpectRebuilt(installed);
        EXPECT_EQ(ReadFile(STORE + ".damaged"), damaged);
        EXPECT_EQ(ReadFile(ACCOUNT_NOTE_PATH), "{\n\t\"users\":\t[100, 101]\n}");
        EXPECT_FALSE(Exists(STORE + "-journal"));
        platform_.reset();
        WriteFile(STORE, "damaged again");
        ExpectRebuilt(installed);
        EXPECT_EQ(ReadFile(STORE + ".damaged-1"), "damaged again");
    }
}

TEST_F(StoreDamageTest, AUserWhoCannotBeNotedIsNotAdded)
{
    ASSERT_TRUE(Start(ServiceStart::ATTACH)) << error_;
    fs::remove(ACCOUNT_NOTE_PATH);
    fs::create_directories(std::string(ACCOUNT_NOTE_PATH) + "/in the way");
    EXPECT_FALSE(platform_->AddUser(102, error_));
    EXPECT_EQ(error_, "the bundle store cannot be written");
    EXPECT_EQ(TextOf(*platform_), INSTALLED);
}

TEST_F(StoreDamageTest, WhatCannotBeReadStopsTheRebuild)
{
    const std::string broken = "/data/app/com.own/v3/entry.vab";
    WriteFile(broken, "broken");
    fs::remove(std::string("/data/app/com.own/v3/") + VERSION_NOTE_NAME);
    WriteFile(STORE, "no store at all");
    const auto files = ListTree("/data");
    EXPECT_FALSE(Start(ServiceStart::SCAN));
    EXPECT_EQ(error_, DAMAGED + "file is not a database, and cannot be made anew: " + broken +
                          " is no zip archive, or its end is missing");
    EXPECT_FALSE(Start(ServiceStart::ATTACH));
    EXPECT_EQ(error_, DAMAGED + "file is not a database; the next boot makes it anew from what is installed");
    EXPECT_EQ(ListTree("/data"), files);
}

TEST_F(StoreDamageTest, AnInitOfADeviceThatLostItsStoreFindsWhatIsInstalled)
{
    fs::remove(STORE);
    EXPECT_FALSE(Start(ServiceStart::SCAN));
    EXPECT_EQ(error_, "there is no device here");
    WriteFile("/data/app/com.odd/v1/entry.vab", "damaged");
    EXPECT_FALSE(HostPlatform::InitDevice(error_));
    EXPECT_EQ(error_, "/data/app/com.odd/v1/entry.vab is no zip archive, or its end is missing");
    EXPECT_FALSE(Exists(STORE));
    fs::remove_all("/data/app/com.odd");
    WriteFile("/system/app/N/N.vab", "damaged"); // not ours to judge
    EXPECT_TRUE(HostPlatform::InitDevice(error_)) << error_;
    EXPECT_TRUE(Start(ServiceStart::ATTACH)) << error_;
    EXPECT_EQ(TextOf(*platform_), INSTALLED);
    EXPECT_EQ(ListTree("/data/app"), files_);
}

// Each call of a rebuild fails once: the next boot has everything.
TEST_F(StoreDamageTest, AFaultInARebuildCostsNothing)
{
    size_t failed = 0;
    bool isOver = false;
    for (size_t call = 1; !isOver; ++call) {
        WriteFile(STORE, "no store at all");
        {
            FaultyFileLayer layer("/data/service");
            layer.FailCall(call, EIO);
            StoreFault fault;
            std::string notice;
            failed += RebuildStore(fault, notice) == nullptr ? 1 : 0;
            isOver = layer.Calls().size() < call;
        }
        ASSERT_TRUE(Start(ServiceStart::SCAN)) << call << error_;
        ASSERT_EQ(TextOf(*platform_), INSTALLED) << call;
        platform_.reset();
        ASSERT_EQ(ListTree("/data/app"), files_) << call;
        for (const auto& entry : fs::directory_iterator("/data/service/bundles")) {
            if (entry.path().string().find(".damaged") != std::string::npos) {
                fs::remove(entry.path());
            }
        }
    }
    EXPECT_GT(failed, 5U);
}

TEST_F(StoreDamageTest, TooFewDescriptorsLoseNothing)
{
    struct rlimit before {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    size_t refused = 0;
    for (const bool isDamaged : {false, true}) {
        for (rlim_t spare = 0; spare < 12; ++spare) {
            if (isDamaged) {
                WriteFile(STORE, "no store at all");
            }
            struct rlimit few = before;
            few.rlim_cur = static_cast<rlim_t>(NextDescriptor()) + spare;
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
            refused += Start(ServiceStart::SCAN) ? 0 : 1;
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
            ASSERT_TRUE(Start(ServiceStart::SCAN)) << spare << error_;
            ASSERT_EQ(TextOf(*platform_), INSTALLED) << spare;
            platform_.reset();
            ASSERT_EQ(ListTree("/data/app"), files_) << spare;
        }
    }
    EXPECT_GT(refused, 2U);
}

int g_lastingDeletes = 0;

// A commit is the journal's end; that it lasts is asked of the system.
TEST_F(StoreDamageTest, ACommitIsOnTheDiskBeforeTheFormerFilesGo)
{
    sqlite3_vfs watched = *sqlite3_vfs_find(nullptr);
    watched.zName = "watched";
    watched.xDelete = [](sqlite3_vfs* system, const char* path, int isLasting) {
        g_lastingDeletes += isLasting != 0 ? 1 : 0;
        sqlite3_vfs* real = sqlite3_vfs_find("unix");
        static_cast<void>(system);
        return real->xDelete(real, path, isLasting);
    };
    ASSERT_EQ(sqlite3_vfs_register(&watched, 1), SQLITE_OK);
    EXPECT_TRUE(Start(ServiceStart::ATTACH));
    g_lastingDeletes = 0;
    EXPECT_EQ(Install({Vab{"com.own", 4}}, 101).first, INSTALL_OK);
    platform_.reset();
    sqlite3_vfs_unregister(&watched);
    EXPECT_EQ(g_lastingDeletes, 1);
}
} // namespace
} // namespace ORVX::TavomendTest
