#include "ports/host/system_ability_registry.h"

#include "ports/host/remote_bundle_mgr.h"

namespace ORVX {
SystemAbilityManagerClient& SystemAbilityManagerClient::GetInstance()
{
    static SystemAbilityManagerClient client;
    return client;
}

sptr<ISystemAbilityManager> SystemAbilityManagerClient::GetSystemAbilityManager()
{
    return &TavomendHost::SystemAbilityRegistry::GetInstance();
}
} // namespace ORVX

namespace ORVX::TavomendHost {
SystemAbilityRegistry& SystemAbilityRegistry::GetInstance()
{
    static const auto* registry = new sptr<SystemAbilityRegistry>(new SystemAbilityRegistry);
    return **registry;
}

SystemAbilityRegistry::SystemAbilityRegistry()
    : bundleMgrProxy_(MakeSptr<RemoteBundleMgr>([this] { return FindService(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID); }))
{
}

sptr<IRemoteObject> SystemAbilityRegistry::GetSystemAbility(int32_t abilityId)
{
    auto service = FindService(abilityId);
    const bool isBundleMgr =
        abilityId == BUNDLE_MGR_SERVICE_SYS_ABILITY_ID && iface_cast<IBundleMgr>(service) != nullptr;
    return isBundleMgr ? bundleMgrProxy_ : service;
}

void SystemAbilityRegistry::AddSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ability == nullptr) {
        abilities_.erase(abilityId);
    } else if (ability != bundleMgrProxy_) {
        abilities_[abilityId] = ability;
    }
}

sptr<IRemoteObject> SystemAbilityRegistry::FindService(int32_t abilityId)
{
    sptr<IRemoteObject> service;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = abilities_.find(abilityId);
        service = found == abilities_.end() ? nullptr : found->second;
    }
    return service == nullptr || service->IsObjectDead() ? nullptr : service;
}

void SystemAbilityRegistry::RemoveSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = abilities_.find(abilityId);
    if (found != abilities_.end() && found->second == ability) {
        abilities_.erase(found);
    }
}

void SystemAbilityRegistry::NewBoot()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    abilities_.clear();
}
} // namespace ORVX::TavomendHost
