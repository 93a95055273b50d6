// The platform's beginning and end, and what its clients see of it in between.
#include <atomic>
#include <future>
#include <set>
#include <sys/mman.h>
#include <sys/resource.h>

#include "platform/api/bundle_mgr.h"
#include "platform/api/common_event.h"
#include "platform/api/os_account_manager.h"
#include "platform/api/system_ability_manager.h"
#include "ports/host/account_service.h"
#include "ports/host/common_event_hub.h"
#include "ports/host/device_root.h"
#include "ports/host/host_platform.h"
#include "ports/host/host_port.h"
#include "ports/host/install_result.h"
#include "ports/host/known_bundle_file.h"
#include "ports/host/system_ability_registry.h"
#include "tests/support/device_fixture.h"
#include "tests/support/difference_head.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/install_verdict.h"
#include "tests/support/noise.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;

class Mourner : public IRemoteObject::DeathRecipient {
public:
    void OnRemoteDied(const wptr<IRemoteObject>& /*object*/) override { ++count; }
    std::atomic<int> count{0};
};

class HostPlatformTest : public DeviceTest {
protected:
    void Start(ServiceStart start = ServiceStart::SCAN)
    {
        platform_ = HostPlatform::Start(start, error_);
        ASSERT_NE(platform_, nullptr) << error_;
        service_ = FindBundleMgr();
        ASSERT_NE(service_, nullptr);
    }
    void InitAndStart()
    {
        ASSERT_TRUE(HostPlatform::InitDevice(error_)) << error_;
        Start();
    }
    static sptr<IBundleMgr> FindBundleMgr()
    {
        return iface_cast<IBundleMgr>(
            SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
    }
    std::pair<int32_t, std::string> Install(const std::vector<Vab>& vabs, int32_t userId = 100,
                                            InstallFlag flag = InstallFlag::REPLACE_EXISTING)
    {
        std::vector<std::string> paths;
        for (const auto& vab : vabs) {
            paths.push_back("/tmp/" + std::to_string(paths.size()) + ".vab");
            WriteFile(paths.back(), vab.Bytes());
        }
        return InstallAndWait(*service_, paths, userId, flag);
    }

    std::string error_;
    std::unique_ptr<HostPlatform> platform_;
    sptr<IBundleMgr> service_;
    const Vab entry_{"com.a", 5};
    const Vab feature_{"com.a", 5, "feature"};
};

TEST_F(HostPlatformTest, MakesADeviceOnce)
{
    std::filesystem::remove_all("/data");
    std::filesystem::remove_all("/etc/certificate");
    WriteFile("/data/service/bundles", "a file where a directory belongs");
    EXPECT_EQ(HostPort().Start(ServiceStart::ATTACH, error_), nullptr);
    EXPECT_EQ(error_, "there is no device here");
    EXPECT_FALSE(HostPlatform::InitDevice(error_));
    EXPECT_EQ(error_, "cannot make the directory /data/service/bundles: Not a directory");
    EXPECT_EQ(FindBundleMgr(), nullptr);
    std::filesystem::remove("/data/service/bundles");
    std::filesystem::create_directory("/etc/passwd");
    EXPECT_FALSE(HostPlatform::InitDevice(error_));
    EXPECT_EQ(error_, "cannot write /etc/passwd: Is a directory");
    std::filesystem::remove("/etc/passwd");
    InitAndStart();
    EXPECT_EQ(ReadFile("/etc/passwd"), "root:x:0:0:root:/:/bin/false\n"
                                       "tavomend:x:1011:1011:hot-patch engine:/:/bin/false\n");
    EXPECT_EQ(std::filesystem::status("/etc/passwd").permissions(), std::filesystem::perms(0644));
    EXPECT_FALSE(HostPlatform::InitDevice(error_));
    EXPECT_EQ(error_, "there is a device here already");
    std::filesystem::remove_all("/data/service");
    WriteFile("/etc/passwd", "the device's own");
    EXPECT_TRUE(HostPlatform::InitDevice(error_));
    EXPECT_EQ(ReadFile("/etc/passwd"), "the device's own");
}

TEST_F(HostPlatformTest, ADifferenceIsRefusedForMoreMemoryThanAnyLimitLeaves)
{
    // 32 MiB: 20 beside base and window.
    const std::string little = "needs 32 MiB of memory, 8 MiB of it for old content, and this device may use 31 MiB";
    const std::string v1 = "/sys/fs/cgroup/memory";
    const std::string v2 = "/sys/fs/cgroup";
    const struct {
        std::string groups;
        std::string file;
        std::string limit;
        std::string says;
    } cases[] = {
        {"0::/a/b\n", v2 + "/a/b/memory.max", "33554431\n", little},
        {"0::/a/b\n", v2 + "/a/b/memory.max", "33554432\n", ""},
        {"0::/a/b\n", v2 + "/a/b/memory.max", "max\n", ""},
        {"0::/a/b\n", v2 + "/a/memory.max", "33554431\n", little},
        {"0::/a/b\n", v2 + "/memory.max", "33554431\n", little},
        {"0::/\n", v2 + "/a/memory.max", "33554431\n", ""},
        {"7:pids:/\n4:cpu,memory:/c\n0::/\n", v1 + "/c/memory.limit_in_bytes", "33554431\n", little},
        {"4:memory:/none\n", v1 + "/memory.limit_in_bytes", "33554431\n", little},
        {"4:cpu:/c\n", v1 + "/c/memory.limit_in_bytes", "33554431\n", ""},
    };
    for (const auto& [groups, file, limit, says] : cases) {
        DeviceTest::SetUp();
        WriteFile("/proc/self/cgroup", groups);
        WriteFile(file, limit);
        EXPECT_EQ(HostPort().WhyNotApplicable(DifferenceHead('\2')), says) << groups << file << limit;
        EXPECT_EQ(HostPort().WhyNotApplicable(DifferenceHead('\2').substr(0, 98)), "");
        EXPECT_EQ(HostPort().WhyNotApplicable("\x28\xB5\x2F\xFD" + DifferenceHead('\2')), "");
    }
    DeviceTest::SetUp();
    const std::string large = DifferenceHead('\2', 2047);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit limit{rlim_t{2} << 30U, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    void* const room = mmap(nullptr, 1 << 20U, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool isBelow = room != MAP_FAILED; // sanitizers take more than any limit
    const std::string says = isBelow ? HostPort().WhyNotApplicable(large) : "";
    ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_EQ(says.substr(0, 14), isBelow ? "needs 2075 MiB" : "");
}

TEST_F(HostPlatformTest, ADeviceRootIsLeftToWhereOneCameFrom)
{
    std::filesystem::create_directories("/tmp/inner/here");
    std::filesystem::current_path("/tmp");
    {
        const auto root = DeviceRoot::Enter("/tmp/inner", error_);
        ASSERT_NE(root, nullptr) << error_;
        EXPECT_TRUE(Exists("/here"));
        EXPECT_EQ(std::filesystem::current_path(), "/");
    }
    EXPECT_EQ(std::filesystem::current_path(), "/tmp");
    EXPECT_TRUE(Exists("/tmp/inner/here"));
    std::filesystem::current_path("/");
}

class Listener : public CommonEventSubscriber {
public:
    void OnReceiveEvent(int32_t /*eventId*/) override { ++count; }
    int count = 0;
};

TEST_F(HostPlatformTest, EventsAndTheirSubscribersAreOfOneBoot)
{
    const sptr<Listener> listener(new Listener);
    ASSERT_TRUE(CommonEventManager::SubscribeCommonEvent(COMMON_EVENT_USER_ADDED, listener));
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_USER_ADDED);
    EXPECT_EQ(listener->count, 1);
    CommonEventHub::GetInstance().NewBoot();
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_USER_ADDED);
    EXPECT_EQ(listener->count, 1);
    CommonEventHub::GetInstance().NewBoot();
    ASSERT_TRUE(CommonEventManager::SubscribeCommonEvent(COMMON_EVENT_USER_ADDED, listener));
    EXPECT_EQ(listener->count, 1);
    EXPECT_TRUE(CommonEventManager::UnSubscribeCommonEvent(listener));
    EXPECT_FALSE(CommonEventManager::UnSubscribeCommonEvent(listener));
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_USER_ADDED);
    EXPECT_EQ(listener->count, 1);
}

// Installs ask for them on threads of their own, while a platform comes and another one goes.
TEST_F(HostPlatformTest, AccountsAreAskedForWhileAnotherStoreIsServed)
{
    InitAndStart();
    StoreFault fault;
    const auto other = BundleStore::Open(BUNDLE_STORE_PATH, fault);
    ASSERT_NE(other, nullptr);
    auto serving = std::async(std::launch::async, [&other] {
        for (int i = 0; i < 10000; ++i) {
            AccountService::GetInstance().Serve(other);
        }
    });
    for (int i = 0; i < 20; ++i) {
        std::vector<OsAccountInfo> accounts;
        EXPECT_EQ(OsAccountManager::QueryAllCreatedOsAccounts(accounts), 0);
        EXPECT_EQ(accounts.size(), 1U);
    }
    serving.get();
}

// The power goes at every call of an init: there is no device then, or a whole one, and the next init goes on.
TEST_F(HostPlatformTest, AnInitThatWasCutShortIsRunAgain)
{
    WriteFile("/system/app/A/A.vab", entry_.Bytes());
    bool isWhole = false;
    for (size_t cut = 1; !isWhole; ++cut) {
        std::filesystem::remove_all("/data");
        std::filesystem::remove("/etc/passwd");
        FaultyFileLayer layer("/system");
        layer.FailFrom(cut);
        isWhole = HostPlatform::InitDevice(error_);
        layer.Forget();
        const bool isThere = Exists("/data/service/bundles/store.db");
        EXPECT_TRUE(isThere || !isWhole) << cut;
        EXPECT_EQ(HostPlatform::InitDevice(error_), !isThere) << cut << error_;
        Start(ServiceStart::ATTACH);
        EXPECT_EQ(platform_->ListUsers(), std::vector<int32_t>{100});
        ASSERT_EQ(platform_->ListBundles()->size(), 1U) << cut;
        EXPECT_TRUE(platform_->ListBundles()->at(0).isFactory);
        platform_.reset();
        EXPECT_TRUE(isWhole || cut < 300) << error_;
    }
}

TEST_F(HostPlatformTest, EndsAfterItsInstallsAndTellsWhoIsLeft)
{
    InitAndStart();
    const auto mourner = MakeSptr<Mourner>();
    const auto installer = service_->GetBundleInstaller();
    EXPECT_TRUE(service_->AsObject()->AddDeathRecipient(mourner));
    EXPECT_TRUE(installer->AsObject()->AddDeathRecipient(mourner));
    EXPECT_NE(service_->GetBundleInstaller(), installer);
    std::vector<sptr<VerdictReceiver>> receivers;
    InstallParam param;
    param.userId = 100;
    for (int i = 0; i < 8; ++i) {
        const std::string path = "/tmp/" + std::to_string(i) + ".vab";
        WriteFile(path, Vab{"com.many" + std::to_string(i)}.Bytes());
        receivers.push_back(MakeSptr<VerdictReceiver>());
        ASSERT_EQ(installer->Install({path}, param, receivers.back()), 0);
    }
    platform_.reset();
    EXPECT_EQ(mourner->count, 2);
    for (const auto& receiver : receivers) {
        EXPECT_EQ(receiver->Wait().first, 0);
    }
    EXPECT_EQ(ListTree("/data/app").size(), 16U); // each with its note
    EXPECT_EQ(FindBundleMgr(), nullptr);
    EXPECT_EQ(service_->GetBundleInstaller(), nullptr);
    EXPECT_TRUE(installer->AsObject()->IsObjectDead());
    EXPECT_EQ(installer->Install({"/tmp/0.vab"}, param, receivers[0]), INSTALL_SERVICE_ENDED);

    const auto former = service_;
    Start();
    BundleInfo info;
    EXPECT_TRUE(former->GetBundleInfo("com.many7", 0, info, 100)); // who kept it reaches the next life
    EXPECT_EQ(Install({Vab{"com.a", 3}}), (std::pair{0, std::string("installed com.a version 3")}));
    const auto abandoned = SystemAbilityRegistry::GetInstance().FindService(401);
    Start(ServiceStart::ATTACH); // before the last one is gone
    EXPECT_NE(SystemAbilityRegistry::GetInstance().FindService(401), abandoned);
    EXPECT_TRUE(abandoned->IsObjectDead());
    std::vector<OsAccountInfo> accounts;
    std::filesystem::remove_all("/data/service");
    EXPECT_EQ(OsAccountManager::QueryAllCreatedOsAccounts(accounts), 0);
}

TEST_F(HostPlatformTest, InstallsUpdatesAndAnswers)
{
    InitAndStart();
    EXPECT_EQ(Install({entry_, feature_}).first, 0);
    EXPECT_EQ(Install({entry_.At(6), feature_.At(6)}).first, 0);
    BundleInfo info;
    ASSERT_TRUE(service_->GetBundleInfo("com.a", 0, info, 100));
    EXPECT_EQ(info.name + " " + info.versionName, "com.a 6.0");
    EXPECT_EQ(info.versionCode, 6U);
    EXPECT_FALSE(info.isKeepAlive || info.singleton || info.isPreInstallApp);
    ASSERT_EQ(info.bundleFilePaths.size(), 2U);
    EXPECT_EQ(ReadFile(info.bundleFilePaths[1]), feature_.At(6).Bytes());
    EXPECT_FALSE(service_->GetBundleInfo("com.a", 0, info, 101));
    EXPECT_NE(service_->GetDependentBundleInfo("com.a", info, 1), 0);
    EXPECT_NE(service_->GetDependentBundleInfo("com.none", info, 1), 0);

    const Vab shared{"com.fwk", 3, "entry", R"("bundleType": "appServiceFwk", "singleton": true, "keepAlive": true)"};
    EXPECT_EQ(Install({shared}, 0).first, 0);
    EXPECT_FALSE(platform_->AddUser(100, error_));
    EXPECT_EQ(error_, "user 100 exists already");
    EXPECT_FALSE(platform_->AddUser(0, error_));
    EXPECT_FALSE(platform_->RemoveUser(101, error_));
    EXPECT_EQ(error_, "there is no user 101");
    ASSERT_TRUE(platform_->AddUser(101, error_));
    WriteFile("/system/app/B/B.vab", Vab{"com.b"}.Bytes());
    platform_.reset();
    Start();
    EXPECT_EQ(service_->GetDependentBundleInfo("com.fwk", info, 1), 0);
    EXPECT_EQ(info.versionCode, 3U);
    EXPECT_TRUE(info.singleton && info.isKeepAlive);
    EXPECT_TRUE(service_->GetBundleInfo("com.fwk", 0, info, 101)); // a singleton is there for everybody
    EXPECT_FALSE(service_->GetBundleInfo("com.fwk", 0, info, 102));
    EXPECT_TRUE(service_->GetBundleInfo("com.b", 0, info, 101) && info.isPreInstallApp);
}

// Puts another version in the file's place as soon as it has been read.
class Exchanger : public VerdictReceiver {
public:
    void OnStatusNotify(int32_t progress) override
    {
        VerdictReceiver::OnStatusNotify(progress);
        if (progress == 40) {
            WriteFile("/tmp/a.vab", Vab{"com.a", 6}.Bytes());
        }
    }
};

TEST_F(HostPlatformTest, WhatIsInstalledIsWhatWasRead)
{
    InitAndStart();
    WriteFile("/tmp/a.vab", entry_.Bytes());
    const auto receiver = MakeSptr<Exchanger>();
    InstallParam param;
    param.userId = 100;
    ASSERT_EQ(service_->GetBundleInstaller()->Install({"/tmp/a.vab"}, param, receiver), 0);
    ASSERT_EQ(receiver->Wait().first, 0);
    EXPECT_EQ(ReadFile("/tmp/a.vab"), (Vab{"com.a", 6}).Bytes());
    EXPECT_EQ(ReadFile("/data/app/com.a/v5/entry.vab"), entry_.Bytes());
}

TEST_F(HostPlatformTest, ARefusedInstallChangesNothing)
{
    InitAndStart();
    ASSERT_EQ(Install({entry_, feature_}).first, 0);
    const auto filesBefore = ListTree("/data/app");
    struct Case {
        std::vector<Vab> vabs;
        int32_t userId;
        int32_t code;
        const char* message;
    };
    const Vab other{"com.b", 6};
    const Vab single{"com.s", 1, "entry", R"("singleton": true)"};
    const Case cases[] = {
        {{entry_.At(6), other}, 100, INSTALL_MIXED_SET, "/tmp/1.vab does not belong to com.a version 6"},
        {{entry_.At(6), feature_.At(7)}, 100, INSTALL_MIXED_SET, "/tmp/1.vab does not belong to com.a version 6"},
        {{entry_.At(6), entry_.At(6)}, 100, INSTALL_MIXED_SET, "/tmp/1.vab is a second file of module entry"},
        {{entry_.At(6)}, 100, INSTALL_INCOMPLETE_SET, "module feature of com.a is missing from the files"},
        {{entry_.At(4), feature_.At(4)}, 100, INSTALL_DOWNGRADE, "com.a version 4 is older than the installed 5"},
        {{other}, 101, INSTALL_UNKNOWN_USER, "com.b cannot be installed for user 101: no such account"},
        {{other}, 0, INSTALL_UNKNOWN_USER, "com.b cannot be installed for user 0: no such account"},
        {{single}, 100, INSTALL_UNKNOWN_USER, "com.s cannot be installed for user 100: a singleton belongs to user 0"},
    };
    for (const auto& refused : cases) {
        EXPECT_EQ(Install(refused.vabs, refused.userId), (std::pair{refused.code, std::string(refused.message)}));
    }
    WriteFile("/tmp/broken.vab", "broken");
    EXPECT_EQ(InstallAndWait(*service_, {"/tmp/broken.vab"}, 100).first, INSTALL_BROKEN_BUNDLE_FILE);
    EXPECT_EQ(Install({entry_.At(6), feature_.At(6)}, 100, InstallFlag::NORMAL).first, INSTALL_ALREADY_INSTALLED);
    const auto installer = service_->GetBundleInstaller();
    EXPECT_EQ(installer->Install({}, InstallParam(), MakeSptr<VerdictReceiver>()), INSTALL_BAD_ARGUMENTS);
    EXPECT_EQ(installer->Install({"/tmp/0.vab"}, InstallParam(), nullptr), INSTALL_BAD_ARGUMENTS);
    EXPECT_EQ(ListTree("/data/app"), filesBefore);
    ASSERT_EQ(platform_->ListBundles()->size(), 1U);
    EXPECT_EQ(platform_->ListBundles()->at(0).versionCode, 5U);

    std::set<std::string> texts;
    for (int32_t code = INSTALL_BAD_ARGUMENTS; code <= INSTALL_SERVICE_ENDED; ++code) {
        texts.insert(HostPort().InstallCodeText(code));
    }
    EXPECT_EQ(texts.size(), 10U); // one each
    EXPECT_EQ(texts.count(""), 0U);
    EXPECT_EQ(HostPort().InstallCodeText(INSTALL_DOWNGRADE), "a newer version is installed");
    for (const int32_t code : {0, -1, 805, 1000, 1011, 9568391}) {
        EXPECT_EQ(HostPort().InstallCodeText(code), "") << code;
    }
}

#ifdef TAVOMEND_HAS_ISAL
// What a version has in common with the one before is not unpacked again; damage in it is found all the same.
TEST_F(HostPlatformTest, WhatTwoVersionsShareIsJudgedEachTime)
{
    InitAndStart();
    const std::string large = Noise(1200000, 3);
    const auto bytesOf = [&large](uint32_t version) {
        const std::string manifest = R"({"bundleName": "com.big", "versionCode": )" + std::to_string(version) + "}";
        return ZipBuilder().Add("manifest.json", manifest).Add("large", large).Build();
    };
    const auto install = [this](const std::string& bytes) {
        WriteFile("/tmp/big.vab", bytes);
        return InstallAndWait(*service_, {"/tmp/big.vab"}, 100).second;
    };
    const auto damage = [](std::string bytes) {
        bytes[600000] = static_cast<char>(bytes[600000] ^ 1);
        return bytes;
    };
    const std::string damaged = "/tmp/big.vab: the member large is damaged";
    const std::string known = std::string(KNOWN_MEMBERS_DIR) + "/com.big@entry";
    EXPECT_EQ(install(damage(bytesOf(1))), damaged);
    EXPECT_FALSE(Exists(known));
    EXPECT_EQ(install(bytesOf(1)), "installed com.big version 1");
    const std::string remembered = ReadFile(known);
    EXPECT_EQ(remembered.substr(0, 64), Sha256Hex(remembered.substr(64)));
    std::string torn = remembered;
    torn[80] = static_cast<char>(torn[80] ^ 1);
    uint32_t version = 1;
    for (const std::string& memory : {remembered, torn, remembered.substr(0, 70), std::string()}) {
        WriteFile(known, memory);
        // A file that rots where it is installed, and goes into the next version as it is.
        const auto former = platform_->ListBundles()->at(0).modules.at("entry");
        WriteFile(former, damage(ReadFile(former)));
        ++version;
        EXPECT_EQ(install(damage(bytesOf(version))), damaged);
        EXPECT_EQ(install(bytesOf(version)), "installed com.big version " + std::to_string(version));
        EXPECT_EQ(ReadFile(known), remembered);
    }
    std::filesystem::remove_all(KNOWN_MEMBERS_DIR);
    WriteFile(KNOWN_MEMBERS_DIR, "in the way");
    EXPECT_EQ(install(bytesOf(9)), "installed com.big version 9");
}

TEST_F(HostPlatformTest, AnApplicationThatIsGoneIsNotRemembered)
{
    WriteFile("/system/app/Big/Big.vab", Vab{"com.big", 1, "entry", "", Noise(1200000, 4)}.Bytes());
    InitAndStart();
    const std::string known = std::string(KNOWN_MEMBERS_DIR) + "/com.big@entry";
    EXPECT_TRUE(Exists(known));
    WriteFile(known + ".new", ""); // of a boot whose power was cut
    platform_.reset();
    std::filesystem::remove_all("/system/app/Big");
    Start();
    EXPECT_EQ(ListTree(KNOWN_MEMBERS_DIR).size(), 0U);
}
#endif
} // namespace
} // namespace ORVX::TavomendTest
