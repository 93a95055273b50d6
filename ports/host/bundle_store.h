// The bundle service's store: which bundles are installed, at which version, from which files, for which users.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_STORE_H
#define TAVOMEND_PORTS_HOST_BUNDLE_STORE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/device_port.h"

struct sqlite3;

namespace ORVX::TavomendHost {
constexpr const char* BUNDLE_STORE_PATH = "/data/service/bundles/store.db";
constexpr int32_t SYSTEM_USER = 0; // singletons are installed for it

// An SQLite database. A change is one transaction: after a power cut it happened or it did not. Safe from any thread;
// several processes may open it one after the other.
class BundleStore {
public:
    // Creates the store of an empty device, without accounts. False when there is one already.
    [[nodiscard]] static bool Create(std::string& error);
    // Null when there is no store or it cannot be used.
    [[nodiscard]] static std::shared_ptr<BundleStore> Open(std::string& error);
    ~BundleStore();
    BundleStore(const BundleStore&) = delete;
    BundleStore& operator=(const BundleStore&) = delete;

    [[nodiscard]] std::optional<InstalledBundle> FindBundle(const std::string& bundleName);
    [[nodiscard]] std::vector<InstalledBundle> ListBundles();
    // Puts the bundle in place of what is stored under its name.
    [[nodiscard]] bool ReplaceBundle(const InstalledBundle& bundle);
    [[nodiscard]] bool RemoveBundle(const std::string& bundleName);

    [[nodiscard]] std::vector<int32_t> ListUsers();
    [[nodiscard]] bool HasUser(int32_t userId);
    [[nodiscard]] bool AddUser(int32_t userId);
    // Takes the user's bundles along.
    [[nodiscard]] bool RemoveUser(int32_t userId);

private:
    explicit BundleStore(sqlite3* database);

    std::recursive_mutex mutex_;
    sqlite3* database_;
};
} // namespace ORVX::TavomendHost

#endif
