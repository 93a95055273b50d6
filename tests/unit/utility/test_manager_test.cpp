#include <gtest/gtest.h>

#include "platform/utility/test_manager.h"
#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"

namespace ORVX::TavomendTest {
namespace {
class TestManagerTest : public DeviceTest {};

TEST_F(TestManagerTest, SaysWhichApplicationsRunTheirVersion)
{
    TavomendEngine::TestManager manager;
    const auto ask = [&manager] {
        manager.CheckAppPatchInit();
        manager.CheckAppPatch("com.a", 2);
        manager.CheckAppPatch("com.second", 2);
        manager.CheckAppPatch("com.old", 2);
        manager.CheckAppPatch("com.fwk", 3);
        manager.CheckAppPatch("com.fwkOld", 3);
        manager.CheckAppPatch("com.none", 0);
        return manager.CheckAppPatchEnd();
    };
    EXPECT_EQ(ask(), "\"Vab\": \"com.a:2:false,com.second:2:false,com.old:2:false,com.fwk:3:false,com.fwkOld:3:false,"
                     "com.none:0:false\""); // nobody to ask

    std::string error;
    ASSERT_TRUE(TavomendHost::HostPlatform::InitDevice(error)) << error;
    const auto platform = TavomendHost::HostPlatform::Start(ServiceStart::ATTACH, error);
    ASSERT_NE(platform, nullptr) << error;
    ASSERT_TRUE(platform->AddUser(101, error)) << error;
    const auto service = MakeSptr<FakeBundleMgr>();
    service->Add("com.a", 2);
    service->Add("com.second", 2, 101);
    service->Add("com.old", 1);
    service->dependent["com.fwk"].versionCode = 3;
    service->dependent["com.fwkOld"].versionCode = 2;
    service->dependent["com.old"].versionCode = 2; // not asked: it is an application
    RegisterBundleMgr(service);
    EXPECT_EQ(ask(), "\"Vab\": \"com.a:2:true,com.second:2:true,com.old:2:false,com.fwk:3:true,com.fwkOld:3:false,"
                     "com.none:0:false\"");
    manager.CheckAppPatchInit();
    EXPECT_EQ(manager.CheckAppPatchEnd(), "\"Vab\": \"\"");
}
} // namespace
} // namespace ORVX::TavomendTest
