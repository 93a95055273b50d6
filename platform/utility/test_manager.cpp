#include "platform/utility/test_manager.h"

#include "platform/api/bundle_mgr.h"
#include "platform/api/os_account_manager.h"
#include "platform/api/system_ability_manager.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t DEFAULT_INFO = 0;
constexpr int32_t DEPENDENT_INFO_SERVICE_FWK = 1;

sptr<IBundleMgr> FindBundleMgr()
{
    const auto abilityManager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    return abilityManager == nullptr
               ? nullptr
               : iface_cast<IBundleMgr>(abilityManager->GetSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID));
}

bool RunsVersion(IBundleMgr& bundleMgr, const std::string& bundleName, uint32_t version)
{
    std::vector<OsAccountInfo> accounts;
    static_cast<void>(OsAccountManager::QueryAllCreatedOsAccounts(accounts)); // none is an answer too
    BundleInfo info;
    for (const auto& account : accounts) {
        if (bundleMgr.GetBundleInfo(bundleName, DEFAULT_INFO, info, account.GetLocalId())) {
            return info.versionCode == version;
        }
    }
    return bundleMgr.GetDependentBundleInfo(bundleName, info, DEPENDENT_INFO_SERVICE_FWK) == 0 &&
           info.versionCode == version;
}
} // namespace

void TestManager::CheckAppPatchInit()
{
    entries_.clear();
}

void TestManager::CheckAppPatch(const std::string& bundleName, uint32_t version)
{
    entries_.emplace_back(bundleName, version);
}

std::string TestManager::CheckAppPatchEnd()
{
    const auto bundleMgr = FindBundleMgr();
    std::string list;
    for (const auto& [name, version] : entries_) {
        const bool isAt = bundleMgr != nullptr && RunsVersion(*bundleMgr, name, version);
        list += (list.empty() ? "" : ",") + name + ":" + std::to_string(version) + (isAt ? ":true" : ":false");
    }
    return "\"Vab\": \"" + list + "\"";
}
} // namespace ORVX::TavomendEngine
