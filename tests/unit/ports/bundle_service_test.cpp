#include <gtest/gtest.h>

#include "platform/api/system_ability_manager.h"
#include "ports/host/host_platform.h"
#include "ports/host/install_result.h"
#include "tests/support/device_fixture.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;

class BundleServiceTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        EXPECT_FALSE(HostPlatform::InitDevice(error));
        platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
        ASSERT_NE(platform_, nullptr) << error;
        service_ = iface_cast<IBundleMgr>(
            SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
        ASSERT_NE(service_, nullptr);
    }
    std::pair<int32_t, std::string> Install(const std::vector<Vab>& vabs, int32_t userId = 100)
    {
        std::vector<std::string> paths;
        for (const auto& vab : vabs) {
            paths.push_back("/tmp/" + std::to_string(paths.size()) + ".vab");
            WriteFile(paths.back(), vab.Bytes());
        }
        return InstallAndWait(*service_, paths, userId);
    }

    std::unique_ptr<HostPlatform> platform_;
    sptr<IBundleMgr> service_;
    const Vab entry_{"com.a", 5};
    const Vab feature_{"com.a", 5, "feature"};
};

TEST_F(BundleServiceTest, InstallsUpdatesAndAnswers)
{
    EXPECT_EQ(Install({entry_, feature_}).first, 0);
    EXPECT_EQ(Install({entry_.At(6), feature_.At(6)}).first, 0);
    EXPECT_EQ(Install({entry_.At(6), feature_.At(6)}).first, 0); // the same again
    BundleInfo info;
    ASSERT_TRUE(service_->GetBundleInfo("com.a", 0, info, 100));
    EXPECT_EQ(info.name, "com.a");
    EXPECT_EQ(info.versionCode, 6U);
    EXPECT_EQ(info.versionName, "6.0");
    EXPECT_FALSE(info.isKeepAlive || info.singleton || info.isPreInstallApp);
    ASSERT_EQ(info.bundleFilePaths.size(), 2U);
    EXPECT_EQ(ReadFile(info.bundleFilePaths[0]), entry_.At(6).Bytes());
    EXPECT_EQ(ReadFile(info.bundleFilePaths[1]), feature_.At(6).Bytes());
    EXPECT_EQ(ListTree("/data/app").size(), 2U); // nothing of the older versions is left
    EXPECT_FALSE(service_->GetBundleInfo("com.a", 0, info, 101));
    EXPECT_NE(service_->GetDependentBundleInfo("com.a", info, 1), 0);

    EXPECT_EQ(Install({Vab{"com.fwk", 3, "entry", R"("bundleType": "appServiceFwk", "singleton": true)"}}, 0).first, 0);
    EXPECT_EQ(service_->GetDependentBundleInfo("com.fwk", info, 1), 0);
    EXPECT_EQ(info.versionCode, 3U);
    EXPECT_TRUE(info.singleton);
    EXPECT_TRUE(service_->GetBundleInfo("com.fwk", 0, info, 0));
    EXPECT_EQ(Install({Vab{"com.keep", 1, "entry", R"("keepAlive": true)"}}).first, 0);
    EXPECT_TRUE(service_->GetBundleInfo("com.keep", 0, info, 100));
    EXPECT_TRUE(info.isKeepAlive);
    std::string error;
    ASSERT_TRUE(platform_->AddUser(101, error));
    EXPECT_TRUE(service_->GetBundleInfo("com.fwk", 0, info, 101)); // a singleton is there for everybody
    EXPECT_FALSE(service_->GetBundleInfo("com.fwk", 0, info, 102));

    WriteFile("/system/app/B/B.vab", Vab{"com.b"}.Bytes());
    platform_.reset();
    platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
    EXPECT_TRUE(service_->GetBundleInfo("com.b", 0, info, 101));
    EXPECT_TRUE(info.isPreInstallApp);
}

TEST_F(BundleServiceTest, ARefusedInstallChangesNothing)
{
    ASSERT_EQ(Install({entry_, feature_}).first, 0);
    const auto filesBefore = ListTree("/data/app");
    struct Case {
        std::vector<Vab> vabs;
        int32_t userId;
        int32_t code;
        const char* message;
    };
    const Vab other{"com.b", 6};
    const Case cases[] = {
        {{entry_.At(6), other}, 100, INSTALL_MIXED_SET, "/tmp/1.vab does not belong to com.a version 6"},
        {{entry_.At(6), feature_.At(7)}, 100, INSTALL_MIXED_SET, "/tmp/1.vab does not belong to com.a version 6"},
        {{entry_.At(6), entry_.At(6)}, 100, INSTALL_MIXED_SET, "/tmp/1.vab is a second file of module entry"},
        {{entry_.At(6)}, 100, INSTALL_INCOMPLETE_SET, "module feature of com.a is missing from the files"},
        {{entry_.At(4), feature_.At(4)}, 100, INSTALL_DOWNGRADE, "com.a version 4 is older than the installed 5"},
        {{other}, 101, INSTALL_UNKNOWN_USER, "com.b cannot be installed for user 101: no such account"},
        {{other}, 0, INSTALL_UNKNOWN_USER, "com.b cannot be installed for user 0: no such account"},
        {{Vab{"com.s", 1, "entry", R"("singleton": true)"}},
         100,
         INSTALL_UNKNOWN_USER,
         "com.s cannot be installed for user 100: a singleton belongs to user 0"},
    };
    for (const auto& refused : cases) {
        EXPECT_EQ(Install(refused.vabs, refused.userId), (std::pair{refused.code, std::string(refused.message)}));
        EXPECT_FALSE(InstallResultText(refused.code).empty());
    }
    WriteFile("/tmp/broken.vab", "broken");
    EXPECT_EQ(InstallAndWait(*service_, {"/tmp/broken.vab"}, 100).first, INSTALL_BROKEN_PACKAGE);
    WriteFile("/tmp/a.vab", entry_.At(6).Bytes());
    WriteFile("/tmp/f.vab", feature_.At(6).Bytes());
    EXPECT_EQ(InstallAndWait(*service_, {"/tmp/a.vab", "/tmp/f.vab"}, 100, InstallFlag::NORMAL).first,
              INSTALL_ALREADY_INSTALLED);
    EXPECT_EQ(service_->GetBundleInstaller()->Install({}, InstallParam(), MakeSptr<VerdictReceiver>()),
              INSTALL_BAD_ARGUMENTS);
    EXPECT_EQ(service_->GetBundleInstaller()->Install({"/tmp/a.vab"}, InstallParam(), nullptr), INSTALL_BAD_ARGUMENTS);
    EXPECT_EQ(ListTree("/data/app"), filesBefore);
    ASSERT_EQ(platform_->ListBundles().size(), 1U);
    EXPECT_EQ(platform_->ListBundles()[0].versionCode, 5U);
}

TEST_F(BundleServiceTest, InstallsSeveralAtATime)
{
    std::vector<sptr<VerdictReceiver>> receivers;
    for (int i = 0; i < 8; ++i) {
        const std::string path = "/tmp/many" + std::to_string(i) + ".vab";
        WriteFile(path, Vab{"com.many" + std::to_string(i)}.Bytes());
        receivers.push_back(MakeSptr<VerdictReceiver>());
        InstallParam param;
        param.userId = 100;
        ASSERT_EQ(service_->GetBundleInstaller()->Install({path}, param, receivers.back()), 0);
    }
    for (const auto& receiver : receivers) {
        EXPECT_EQ(receiver->Wait().first, 0);
    }
    EXPECT_EQ(platform_->ListBundles().size(), 8U);
    EXPECT_EQ(ListTree("/data/app").size(), 8U);
}

TEST_F(BundleServiceTest, UsersComeAndGo)
{
    std::string error;
    EXPECT_FALSE(platform_->AddUser(100, error));
    EXPECT_EQ(error, "user 100 exists already");
    EXPECT_FALSE(platform_->AddUser(0, error));
    ASSERT_EQ(Install({entry_}).first, 0);
    ASSERT_TRUE(platform_->RemoveUser(100, error));
    EXPECT_FALSE(platform_->RemoveUser(100, error));
    BundleInfo info;
    EXPECT_FALSE(service_->GetBundleInfo("com.a", 0, info, 100));
}
} // namespace
} // namespace ORVX::TavomendTest
