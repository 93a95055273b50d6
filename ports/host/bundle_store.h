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

// An SQLite database. A change is one transaction: after a power cut it happened or it did not, and a change that gives
// false has changed nothing. Shared by the bundle service, its placer and the account service. Safe from any thread;
// another process that has the store open is waited for, up to 10 s.
class BundleStore {
public:
    // Creates the store of an empty device, without accounts, in a directory that exists. False with one line for
    // people when there is one already or it cannot be written.
    [[nodiscard]] static bool Create(std::string& error);
    // Null with one line for people when there is no store, or it is damaged or of another version.
    [[nodiscard]] static std::shared_ptr<BundleStore> Open(std::string& error);
    ~BundleStore();
    BundleStore(const BundleStore&) = delete;
    BundleStore& operator=(const BundleStore&) = delete;

    [[nodiscard]] std::optional<InstalledBundle> FindBundle(const std::string& bundleName);
    // By name.
    [[nodiscard]] std::vector<InstalledBundle> ListBundles();
    // Puts the bundle, with all its modules and users, in place of what is stored under its name.
    [[nodiscard]] bool ReplaceBundle(const InstalledBundle& bundle);
    // True also when there was none.
    [[nodiscard]] bool RemoveBundle(const std::string& bundleName);

    // By id, without the system user; nothing when the store cannot be read.
    [[nodiscard]] std::optional<std::vector<int32_t>> ListUsers();
    [[nodiscard]] bool HasUser(int32_t userId);
    // Gives the user the factory applications, singletons excepted. False for one who exists.
    [[nodiscard]] bool AddUser(int32_t userId);
    // Takes the user's bundles along. True also when there was none.
    [[nodiscard]] bool RemoveUser(int32_t userId);

private:
    explicit BundleStore(sqlite3* database);

    std::recursive_mutex mutex_;
    sqlite3* database_;
};
} // namespace ORVX::TavomendHost

#endif
