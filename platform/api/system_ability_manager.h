// The register of a device's system services, by ability number.
#ifndef TAVOMEND_PLATFORM_API_SYSTEM_ABILITY_MANAGER_H
#define TAVOMEND_PLATFORM_API_SYSTEM_ABILITY_MANAGER_H

#include <cstdint>

#include "platform/api/remote_object.h"

namespace ORVX {
// The bundle management service.
constexpr int32_t BUNDLE_MGR_SERVICE_SYS_ABILITY_ID = 401;

// Safe from any thread.
class ISystemAbilityManager : public virtual RefBase {
public:
    // The service's address; empty when no such service is registered, or a dead one. Clients look a service up once
    // and keep the address for good: what a port hands out for the bundle service has to reach the service's next life
    // by itself, and answers no while there is none.
    [[nodiscard]] virtual sptr<IRemoteObject> GetSystemAbility(int32_t abilityId) = 0;
    // Registers a service under the number and holds it; a later registration replaces an earlier one. An empty object
    // unregisters.
    virtual void AddSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability) = 0;
};

class SystemAbilityManagerClient {
public:
    static SystemAbilityManagerClient& GetInstance();
    // Empty when the register cannot be reached.
    [[nodiscard]] sptr<ISystemAbilityManager> GetSystemAbilityManager();
};
} // namespace ORVX

#endif
