// The account service: accounts live in the bundle store.
#include "platform/api/os_account_manager.h"
#include "ports/host/bundle_store.h"

namespace ORVX {
namespace {
constexpr int32_t NO_ACCOUNT_STORE = 1;
} // namespace

int32_t OsAccountManager::QueryAllCreatedOsAccounts(std::vector<OsAccountInfo>& accounts)
{
    std::string error;
    const auto store = TavomendHost::BundleStore::Open(error);
    if (store == nullptr) {
        return NO_ACCOUNT_STORE;
    }
    for (const int32_t user : store->ListUsers()) {
        accounts.emplace_back(user, "user" + std::to_string(user));
    }
    return 0;
}
} // namespace ORVX
