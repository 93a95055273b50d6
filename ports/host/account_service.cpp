#include "ports/host/account_service.h"

namespace ORVX {
int32_t OsAccountManager::QueryAllCreatedOsAccounts(std::vector<OsAccountInfo>& accounts)
{
    return TavomendHost::AccountService::GetInstance().Query(accounts);
}
} // namespace ORVX

namespace ORVX::TavomendHost {
namespace {
constexpr int32_t NO_ACCOUNT_STORE = 1;
} // namespace

AccountService& AccountService::GetInstance()
{
    static auto* service = new AccountService;
    return *service;
}

void AccountService::Serve(const std::shared_ptr<BundleStore>& store)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    served_ = store;
}

int32_t AccountService::Query(std::vector<OsAccountInfo>& accounts)
{
    const auto store = FindStore();
    const auto users = store == nullptr ? std::nullopt : store->ListUsers();
    if (!users) {
        return NO_ACCOUNT_STORE;
    }
    for (const int32_t user : *users) {
        accounts.emplace_back(user, "user" + std::to_string(user));
    }
    return 0;
}

std::shared_ptr<BundleStore> AccountService::FindStore()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    auto store = served_.lock();
    StoreFault fault;
    return store == nullptr ? BundleStore::Open(BUNDLE_STORE_PATH, fault) : store;
}
} // namespace ORVX::TavomendHost
