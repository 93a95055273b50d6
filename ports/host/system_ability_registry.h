// The register of services of this process.
#ifndef TAVOMEND_PORTS_HOST_SYSTEM_ABILITY_REGISTRY_H
#define TAVOMEND_PORTS_HOST_SYSTEM_ABILITY_REGISTRY_H

#include <cstdint>
#include <map>
#include <mutex>

#include "platform/api/bundle_mgr.h"
#include "platform/api/system_ability_manager.h"

namespace ORVX::TavomendHost {
// What SystemAbilityManagerClient gives on a host. Safe from any thread; no service is called while its lock is held.
class SystemAbilityRegistry : public ISystemAbilityManager {
public:
    // Never released: services may be looked up while the process ends.
    static SystemAbilityRegistry& GetInstance();

    // Empty when nothing is registered under the number, or something dead. For ability 401, when it is a bundle
    // service: the proxy that finds the service's next life by itself, one and the same at each call. Anything else is
    // handed out as it was registered.
    [[nodiscard]] sptr<IRemoteObject> GetSystemAbility(int32_t abilityId) override;
    // Registering the proxy itself changes nothing.
    void AddSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability) override;

    // The registered object itself, if it lives: for who puts a wrapper in a service's place.
    [[nodiscard]] sptr<IRemoteObject> FindService(int32_t abilityId);
    // Unregisters the object if it is still the one that is registered.
    void RemoveSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability);
    // Forgets all services, as a boot does. For tests, which play several boots.
    void NewBoot();

private:
    SystemAbilityRegistry();

    std::mutex mutex_;
    std::map<int32_t, sptr<IRemoteObject>> abilities_;
    const sptr<IRemoteObject> bundleMgrProxy_;
};
} // namespace ORVX::TavomendHost

#endif
