// The account service of a host: accounts live in the bundle store.
#ifndef TAVOMEND_PORTS_HOST_ACCOUNT_SERVICE_H
#define TAVOMEND_PORTS_HOST_ACCOUNT_SERVICE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/api/os_account_manager.h"
#include "ports/host/bundle_store.h"

namespace ORVX::TavomendHost {
// What stands behind OsAccountManager on a host. Safe from any thread.
class AccountService {
public:
    // Never released: accounts may be asked for while the process ends.
    static AccountService& GetInstance();

    // Answers from this store for as long as its owner, the running platform, keeps it.
    void Serve(const std::shared_ptr<BundleStore>& store);
    // Appends the accounts in the order of their ids, from the served store, else from one that is opened for this
    // query alone. 0, or 1 when there is no store or it cannot be read; nothing is appended then.
    [[nodiscard]] int32_t Query(std::vector<OsAccountInfo>& accounts);

private:
    [[nodiscard]] std::shared_ptr<BundleStore> FindStore();

    std::mutex mutex_;
    std::weak_ptr<BundleStore> served_;
};
} // namespace ORVX::TavomendHost

#endif
