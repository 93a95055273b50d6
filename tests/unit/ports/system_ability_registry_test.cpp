// The register of services, and the proxy that it hands out for the bundle service.
#include <gtest/gtest.h>

#include "ports/host/system_ability_registry.h"
#include "tests/support/device_fixture.h"
#include "tests/support/fake_bundle_mgr.h"
#include "tests/support/install_verdict.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::SystemAbilityRegistry;

class Mourner : public IRemoteObject::DeathRecipient {
public:
    void OnRemoteDied(const wptr<IRemoteObject>& /*object*/) override { ++count; }
    int count = 0;
};

class SystemAbilityRegistryTest : public DeviceTest {
protected:
    static sptr<FakeBundleMgr> MakeService(uint32_t version)
    {
        auto service = MakeSptr<FakeBundleMgr>();
        service->Add("com.a", version);
        service->dependent["com.fwk"].versionCode = version;
        return service;
    }
    // The versions that a bundle service gives for com.a and com.fwk; 0 for no.
    static std::pair<uint32_t, uint32_t> Ask(IBundleMgr& service)
    {
        BundleInfo app;
        BundleInfo framework;
        const bool isThere = service.GetBundleInfo("com.a", 0, app, 100);
        EXPECT_EQ(isThere, app.versionCode != 0);
        const bool isShared = service.GetDependentBundleInfo("com.fwk", framework, 1) == 0;
        EXPECT_EQ(isShared, framework.versionCode != 0);
        EXPECT_EQ(service.GetBundleInstaller() != nullptr, app.versionCode != 0);
        return {app.versionCode, framework.versionCode};
    }
    static sptr<IRemoteObject> Get(int32_t abilityId = 401)
    {
        return SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(abilityId);
    }
    using Versions = std::pair<uint32_t, uint32_t>;
};

TEST_F(SystemAbilityRegistryTest, TheProxyFindsTheServicesNextLife)
{
    EXPECT_EQ(Get(), nullptr);
    const auto first = MakeService(1);
    RegisterBundleMgr(first);
    const auto proxy = iface_cast<IBundleMgr>(Get());
    ASSERT_NE(proxy, nullptr);
    EXPECT_EQ(proxy->AsObject(), Get());
    EXPECT_EQ(iface_cast<IBundleInstaller>(Get()), nullptr);
    EXPECT_FALSE(Get()->IsObjectDead());
    EXPECT_EQ(Ask(*proxy), (Versions{1, 1}));

    first->NotifyDeath(); // dead, and still in the register
    EXPECT_EQ(Get(), nullptr);
    EXPECT_TRUE(proxy->AsObject()->IsObjectDead());
    EXPECT_EQ(Ask(*proxy), (Versions{0, 0}));

    RegisterBundleMgr(MakeService(2));
    EXPECT_EQ(Get(), proxy->AsObject());
    EXPECT_EQ(Ask(*proxy), (Versions{2, 2}));
    RegisterBundleMgr(Get()); // the proxy itself is no service
    EXPECT_EQ(Ask(*proxy), (Versions{2, 2}));

    const auto receiver = MakeSptr<VerdictReceiver>();
    RegisterBundleMgr(receiver); // another interface: the proxy has nobody to ask
    EXPECT_EQ(Get(), receiver->AsObject());
    EXPECT_EQ(Ask(*proxy), (Versions{0, 0}));
    auto& registry = SystemAbilityRegistry::GetInstance();
    const auto other = MakeService(3);
    registry.AddSystemAbility(402, other);
    registry.RemoveSystemAbility(401, other); // not the one that is registered
    EXPECT_EQ(registry.FindService(401), receiver->AsObject());
    registry.RemoveSystemAbility(401, receiver);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(Ask(*proxy), (Versions{0, 0}));
    EXPECT_EQ(registry.FindService(402), other->AsObject());
}

TEST_F(SystemAbilityRegistryTest, RecipientsLearnOfTheDeathOfTheServiceOfTheMoment)
{
    const auto first = MakeService(1);
    const auto told = MakeSptr<Mourner>();
    RegisterBundleMgr(first);
    const auto proxy = Get();
    EXPECT_TRUE(proxy->AddDeathRecipient(told));
    EXPECT_TRUE(proxy->RemoveDeathRecipient(told));
    EXPECT_FALSE(proxy->RemoveDeathRecipient(told));
    EXPECT_TRUE(proxy->AddDeathRecipient(told));
    first->NotifyDeath();
    EXPECT_EQ(told->count, 1);
    EXPECT_FALSE(proxy->AddDeathRecipient(told)); // nobody there: told at once
    EXPECT_EQ(told->count, 2);
    EXPECT_FALSE(proxy->AddDeathRecipient(nullptr));
}
} // namespace
} // namespace ORVX::TavomendTest
