// The register of services of this process.
#include <map>
#include <mutex>

#include "platform/api/system_ability_manager.h"

namespace ORVX {
namespace {
class SystemAbilityRegistry : public ISystemAbilityManager {
public:
    sptr<IRemoteObject> GetSystemAbility(int32_t abilityId) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = abilities_.find(abilityId);
        return found == abilities_.end() ? nullptr : found->second;
    }
    void AddSystemAbility(int32_t abilityId, const sptr<IRemoteObject>& ability) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (ability == nullptr) {
            abilities_.erase(abilityId);
        } else {
            abilities_[abilityId] = ability;
        }
    }

private:
    std::mutex mutex_;
    std::map<int32_t, sptr<IRemoteObject>> abilities_;
};
} // namespace

SystemAbilityManagerClient& SystemAbilityManagerClient::GetInstance()
{
    static SystemAbilityManagerClient client;
    return client;
}

sptr<ISystemAbilityManager> SystemAbilityManagerClient::GetSystemAbilityManager()
{
    // Never released: services may be looked up while the process ends.
    static const auto* registry = new sptr<ISystemAbilityManager>(new SystemAbilityRegistry);
    return *registry;
}
} // namespace ORVX
