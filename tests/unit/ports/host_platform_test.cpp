// The platform's beginning and end, and what its clients see of them.
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <sqlite3.h>
#include <sys/resource.h>

#include "platform/api/os_account_manager.h"
#include "platform/utility/event_manager.h"
#include "ports/host/device_root.h"
#include "ports/host/host_platform.h"
#include "ports/host/host_port.h"
#include "ports/host/install_result.h"
#include "ports/host/system_ability_registry.h"
#include "tests/support/device_fixture.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;
using TavomendEngine::DelayedSingleton;
using TavomendEngine::EventManager;

// What happened, in order, from any thread.
class Journal {
public:
    void Note(const std::string& what)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back(what);
    }
    [[nodiscard]] std::vector<std::string> Notes()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return notes_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> notes_;
};

class NotingReceiver : public StatusReceiverHost {
public:
    explicit NotingReceiver(Journal& journal) : journal_(journal) {}
    void OnStatusNotify(int32_t progress) override { journal_.Note(std::to_string(progress)); }
    void OnFinished(int32_t code, const std::string& message) override
    {
        journal_.Note(std::to_string(code) + " " + message);
    }
    void SetStreamInstallId(uint32_t /*id*/) override { journal_.Note("stream"); }

private:
    Journal& journal_;
};

class Mourner : public IRemoteObject::DeathRecipient {
public:
    Mourner(Journal& journal, std::string name) : journal_(journal), name_(std::move(name)) {}
    void OnRemoteDied(const wptr<IRemoteObject>& /*object*/) override { journal_.Note(name_ + " died"); }

private:
    Journal& journal_;
    std::string name_;
};

sptr<IBundleMgr> FindBundleMgr()
{
    return iface_cast<IBundleMgr>(
        SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
}

class HostPlatformTest : public DeviceTest {
protected:
    static std::unique_ptr<HostPlatform> Start(ServiceStart start = ServiceStart::ATTACH)
    {
        std::string error;
        auto platform = HostPlatform::Start(start, error);
        EXPECT_NE(platform, nullptr) << error;
        return platform;
    }
    static void Init()
    {
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
    }
};

TEST_F(HostPlatformTest, MakesADeviceOnce)
{
    std::filesystem::remove_all("/data");
    std::filesystem::remove_all("/etc/certificate");
    WriteFile("/data/service/bundles", "a file where a directory belongs");
    std::string error;
    EXPECT_EQ(HostPlatform::Start(ServiceStart::ATTACH, error), nullptr);
    EXPECT_EQ(error, "there is no device here");
    EXPECT_FALSE(HostPlatform::InitDevice(error));
    EXPECT_EQ(error, "cannot make the directory /data/service/bundles");
    EXPECT_EQ(FindBundleMgr(), nullptr);

    std::filesystem::remove("/data/service/bundles");
    std::filesystem::create_directory("/etc/passwd");
    EXPECT_FALSE(HostPlatform::InitDevice(error));
    EXPECT_EQ(error, "cannot write /etc/passwd");
    std::filesystem::remove("/etc/passwd");
    Init();
    EXPECT_EQ(ReadFile("/etc/passwd"), "root:x:0:0:root:/:/bin/false\n"
                                       "tavomend:x:1011:1011:hot-patch engine:/:/bin/false\n");
    EXPECT_EQ(std::filesystem::status("/etc/passwd").permissions(), std::filesystem::perms(0644));
    for (const char* directory :
         {"/data/app", "/data/update/tavomend/package", "/data/update/tavomend/app/temp",
          "/data/update/tavomend/app/status", "/data/log/tavomend", "/system/app", "/etc/certificate", "/tmp"}) {
        EXPECT_TRUE(std::filesystem::is_directory(directory)) << directory;
    }
    EXPECT_EQ(Start()->ListUsers(), std::vector<int32_t>{100});
    EXPECT_FALSE(HostPlatform::InitDevice(error));
    EXPECT_EQ(error, "there is a device here already");

    std::filesystem::remove_all("/data/service");
    WriteFile("/etc/passwd", "the device's own");
    Init();
    EXPECT_EQ(ReadFile("/etc/passwd"), "the device's own");
}

TEST_F(HostPlatformTest, SaysWhenItIsThereAndWhenUsersCome)
{
    Init();
    const auto events = DelayedSingleton<EventManager>::GetInstance();
    events->SubscribeEvent(1);
    events->SubscribeEvent(2);
    const auto platform = Start();
    EXPECT_TRUE(platform->GetScanReport().entries.empty());
    EXPECT_TRUE(events->CheckEventListenRes(1, 0));
    std::string error;
    EXPECT_FALSE(platform->AddUser(0, error));
    EXPECT_EQ(error, "a user's number is above 0");
    EXPECT_FALSE(platform->AddUser(100, error));
    EXPECT_EQ(error, "user 100 exists already");
    EXPECT_FALSE(platform->RemoveUser(1, error));
    EXPECT_EQ(error, "there is no user 1");
    EXPECT_FALSE(events->CheckEventListenRes(2, 0));
    EXPECT_TRUE(platform->AddUser(1, error));
    EXPECT_TRUE(events->CheckEventListenRes(2, 0));
    EXPECT_EQ(platform->ListUsers(), (std::vector<int32_t>{1, 100}));
    EXPECT_TRUE(platform->RemoveUser(100, error));
    EXPECT_EQ(platform->ListUsers(), std::vector<int32_t>{1});

    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open("/data/service/bundles/store.db", &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database,
                           "CREATE TRIGGER a BEFORE INSERT ON accounts BEGIN SELECT RAISE(ABORT, 'no'); END;"
                           "CREATE TRIGGER b BEFORE DELETE ON accounts BEGIN SELECT RAISE(ABORT, 'no'); END;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(database);
    error.clear();
    EXPECT_FALSE(platform->AddUser(2, error));
    EXPECT_EQ(error, "the bundle store cannot be written");
    error.clear();
    EXPECT_FALSE(platform->RemoveUser(1, error));
    EXPECT_EQ(error, "the bundle store cannot be written");
}

TEST_F(HostPlatformTest, EndsAfterItsInstallsAndTellsWhoIsLeft)
{
    Init();
    auto platform = Start();
    Journal journal;
    const auto service = FindBundleMgr();
    ASSERT_NE(service, nullptr);
    EXPECT_TRUE(service->AsObject()->AddDeathRecipient(MakeSptr<Mourner>(journal, "service")));
    const auto installer = service->GetBundleInstaller();
    EXPECT_TRUE(installer->AsObject()->AddDeathRecipient(MakeSptr<Mourner>(journal, "installer")));
    wptr<IRemoteObject::DeathRecipient> forgotten;
    {
        const sptr<IRemoteObject::DeathRecipient> recipient = MakeSptr<Mourner>(journal, "forgotten");
        forgotten = recipient;
        EXPECT_TRUE(service->GetBundleInstaller()->AsObject()->AddDeathRecipient(recipient));
    }
    EXPECT_EQ(forgotten.promote(), nullptr); // went with its installer
    EXPECT_NE(service->GetBundleInstaller(), installer);

    WriteFile("/tmp/a.vab", Vab{"com.a", 3}.Bytes());
    InstallParam param;
    param.userId = 100;
    EXPECT_EQ(installer->Install({"/tmp/a.vab"}, param, MakeSptr<NotingReceiver>(journal)), 0);
    platform.reset();
    EXPECT_EQ(journal.Notes(),
              (std::vector<std::string>{"40", "100", "0 installed com.a version 3", "service died", "installer died"}));
    EXPECT_EQ(FindBundleMgr(), nullptr);
    EXPECT_EQ(service->GetBundleInstaller(), nullptr);
    EXPECT_TRUE(installer->AsObject()->IsObjectDead());
    EXPECT_EQ(installer->Install({"/tmp/a.vab"}, param, MakeSptr<NotingReceiver>(journal)), INSTALL_SERVICE_ENDED);
    BundleInfo info;
    EXPECT_FALSE(service->GetBundleInfo("com.a", 0, info, 100));

    platform = Start();
    EXPECT_TRUE(service->GetBundleInfo("com.a", 0, info, 100)); // who kept it reaches the next life
    EXPECT_EQ(InstallAndWait(*service, {"/tmp/a.vab"}, 100).first, 0);
    EXPECT_EQ(journal.Notes().size(), 5U);
}

TEST_F(HostPlatformTest, TheNextOneMayStartBeforeTheLastOneIsGone)
{
    Init();
    auto platform = Start();
    const auto abandoned = SystemAbilityRegistry::GetInstance().FindService(401);
    platform = Start();
    ASSERT_NE(FindBundleMgr(), nullptr);
    EXPECT_NE(SystemAbilityRegistry::GetInstance().FindService(401), abandoned);
    EXPECT_TRUE(abandoned->IsObjectDead());
    const auto service = iface_cast<IBundleMgr>(abandoned);
    EXPECT_EQ(service->GetBundleInstaller(), nullptr);
    std::vector<OsAccountInfo> accounts;
    std::filesystem::remove_all("/data/service");
    EXPECT_EQ(OsAccountManager::QueryAllCreatedOsAccounts(accounts), 0);
}

TEST_F(HostPlatformTest, ThePortStartsItAndExplainsItsVerdicts)
{
    const HostPort port;
    std::string error;
    EXPECT_EQ(port.Start(ServiceStart::SCAN, error), nullptr);
    EXPECT_EQ(error, "there is no device here");
    Init();
    EXPECT_NE(port.Start(ServiceStart::SCAN, error), nullptr);
    std::set<std::string> texts;
    for (int32_t code = INSTALL_BAD_ARGUMENTS; code <= INSTALL_SERVICE_ENDED; ++code) {
        texts.insert(port.InstallCodeText(code));
    }
    EXPECT_EQ(texts.size(), 10U); // one each
    EXPECT_EQ(texts.count(""), 0U);
    EXPECT_EQ(port.InstallCodeText(INSTALL_DOWNGRADE), "a newer version is installed");
    for (const int32_t code : {0, -1, 805, 1000, 1011, 9568391}) {
        EXPECT_EQ(port.InstallCodeText(code), "") << code;
    }
}

class DeviceRootTest : public DeviceTest {};

TEST_F(DeviceRootTest, IsEnteredAndLeftAgain)
{
    std::filesystem::create_directories("/root/inner/tmp");
    std::filesystem::create_directories("/somewhere");
    WriteFile("/root/inner/mark", "inside");
    std::filesystem::current_path("/somewhere");
    std::string error;
    EXPECT_EQ(DeviceRoot::Enter("/root/none", error), nullptr);
    EXPECT_EQ(error, "there is no directory /root/none");
    const int next = NextDescriptor();
    {
        const auto root = DeviceRoot::Enter("/root/inner", error);
        ASSERT_NE(root, nullptr) << error;
        EXPECT_EQ(std::filesystem::current_path(), "/");
        EXPECT_EQ(ReadFile("/mark"), "inside");
        EXPECT_FALSE(Exists("/somewhere"));
    }
    EXPECT_EQ(std::filesystem::current_path(), "/somewhere");
    EXPECT_TRUE(Exists("/root/inner/mark"));
    EXPECT_EQ(NextDescriptor(), next);
    std::filesystem::current_path("/");

    struct rlimit limits {};
    getrlimit(RLIMIT_NOFILE, &limits);
    struct rlimit few = limits;
    few.rlim_cur = static_cast<rlim_t>(next) + 1; // one more descriptor, where the way back takes two
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_EQ(DeviceRoot::Enter("/root/inner", error), nullptr);
    setrlimit(RLIMIT_NOFILE, &limits);
    EXPECT_EQ(error, "cannot keep the way back out of a device root: Too many open files");
}
} // namespace
} // namespace ORVX::TavomendTest
