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
    void OnRemoteDied(const wptr<IRemoteObject>& object) override
    {
        ++count;
        died = object;
    }
    int count = 0;
    wptr<IRemoteObject> died;
};

class SystemAbilityRegistryTest : public DeviceTest {
protected:
    static sptr<FakeBundleMgr> MakeService(uint32_t version)
    {
        const auto service = MakeSptr<FakeBundleMgr>();
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

    RegisterBundleMgr(nullptr);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(Ask(*proxy), (Versions{0, 0}));
    RegisterBundleMgr(MakeSptr<VerdictReceiver>()); // another interface: the proxy has nobody to ask
    EXPECT_EQ(Ask(*proxy), (Versions{0, 0}));
}

TEST_F(SystemAbilityRegistryTest, HandsOtherObjectsOutAsTheyAre)
{
    const auto receiver = MakeSptr<VerdictReceiver>();
    RegisterBundleMgr(receiver);
    EXPECT_EQ(Get(), receiver->AsObject());
    const auto service = MakeService(1);
    SystemAbilityRegistry::GetInstance().AddSystemAbility(402, service);
    EXPECT_EQ(Get(402), service->AsObject());
    EXPECT_EQ(SystemAbilityRegistry::GetInstance().FindService(402), service->AsObject());
    SystemAbilityRegistry::GetInstance().NewBoot();
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(Get(402), nullptr);
}

TEST_F(SystemAbilityRegistryTest, OnlyWhoIsRegisteredIsUnregistered)
{
    const auto former = MakeService(1);
    const auto service = MakeService(2);
    RegisterBundleMgr(former);
    RegisterBundleMgr(service);
    auto& registry = SystemAbilityRegistry::GetInstance();
    registry.RemoveSystemAbility(401, former);
    registry.RemoveSystemAbility(402, service);
    EXPECT_EQ(registry.FindService(401), service->AsObject());
    registry.RemoveSystemAbility(401, service);
    EXPECT_EQ(registry.FindService(401), nullptr);
}

TEST_F(SystemAbilityRegistryTest, RecipientsLearnOfTheDeathOfTheServiceOfTheMoment)
{
    const auto first = MakeService(1);
    const auto second = MakeService(2);
    const auto told = MakeSptr<Mourner>();
    const auto removed = MakeSptr<Mourner>();
    RegisterBundleMgr(first);
    const auto proxy = Get();
    EXPECT_TRUE(proxy->AddDeathRecipient(told));
    EXPECT_TRUE(proxy->AddDeathRecipient(removed));
    EXPECT_TRUE(proxy->RemoveDeathRecipient(removed));
    EXPECT_FALSE(proxy->RemoveDeathRecipient(removed));
    RegisterBundleMgr(second);
    second->NotifyDeath();
    EXPECT_EQ(told->count, 0);
    first->NotifyDeath();
    EXPECT_EQ(told->count, 1);
    EXPECT_EQ(removed->count, 0);
    EXPECT_FALSE(proxy->AddDeathRecipient(told)); // nobody there: told at once
    EXPECT_EQ(told->count, 2);
    EXPECT_EQ(told->died.promote(), proxy);
    EXPECT_FALSE(proxy->AddDeathRecipient(nullptr));
    EXPECT_FALSE(proxy->RemoveDeathRecipient(told));
}
} // namespace
} // namespace ORVX::TavomendTest
