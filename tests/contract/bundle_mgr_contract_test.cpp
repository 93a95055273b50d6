// What every bundle service keeps to, the fake one of the tests and the host's.
#include <gtest/gtest.h>

#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::HostPlatform;

// com.a is installed for user 100 at version 1.
class BundleMgrContractTest : public DeviceTest, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        if (!GetParam()) {
            const auto fake = MakeSptr<FakeBundleMgr>();
            fake->Add("com.a", 1);
            service_ = fake;
            return;
        }
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
        ASSERT_NE(platform_, nullptr) << error;
        service_ = iface_cast<IBundleMgr>(
            SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
        WriteFile("/tmp/a.vab", Vab{"com.a"}.Bytes());
        ASSERT_EQ(InstallAndWait(*service_, {"/tmp/a.vab"}, 100).first, 0);
    }

    std::unique_ptr<HostPlatform> platform_;
    sptr<IBundleMgr> service_;
};

TEST_P(BundleMgrContractTest, IsFoundByItsDescriptor)
{
    EXPECT_EQ(service_->AsObject()->GetObjectDescriptor(), "orvx.appexecfwk.BundleMgr");
    EXPECT_EQ(iface_cast<IBundleMgr>(service_->AsObject()), service_);
    EXPECT_EQ(iface_cast<IBundleInstaller>(service_->AsObject()), nullptr);
    EXPECT_NE(service_->GetBundleInstaller()->AsObject(), nullptr);
}

TEST_P(BundleMgrContractTest, AnswersForTheUserWhoHasTheBundle)
{
    BundleInfo info;
    info.versionCode = 99;
    EXPECT_FALSE(service_->GetBundleInfo("com.none", 0, info, 100));
    EXPECT_FALSE(service_->GetBundleInfo("com.a", 0, info, 101));
    EXPECT_NE(service_->GetDependentBundleInfo("com.a", info, 1), 0);
    EXPECT_EQ(info.versionCode, 99U); // untouched by a no
    EXPECT_TRUE(service_->GetBundleInfo("com.a", 0, info, 100));
    EXPECT_EQ(info.versionCode, 1U);
    EXPECT_EQ(info.name, "com.a");
}

TEST_P(BundleMgrContractTest, GivesOneVerdictOrRefusesAtOnce)
{
    WriteFile("/tmp/a2.vab", Vab{"com.a", 2}.Bytes());
    EXPECT_EQ(InstallAndWait(*service_, {"/tmp/a2.vab"}, 100).first, 0);
    InstallParam param;
    param.installFlag = InstallFlag::REPLACE_EXISTING;
    param.userId = 100;
    EXPECT_NE(service_->GetBundleInstaller()->Install({}, param, MakeSptr<VerdictReceiver>()), 0);
    EXPECT_NE(service_->GetBundleInstaller()->Install({"/tmp/a2.vab"}, param, nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(Services, BundleMgrContractTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "host" : "fake"; });
} // namespace
} // namespace ORVX::TavomendTest
