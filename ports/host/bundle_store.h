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
constexpr int32_t SYSTEM_USER = 0;  // singletons are installed for it
constexpr int32_t FIRST_USER = 100; // of a device whose accounts nobody knows

// Why a store could not be opened.
struct StoreFault {
    std::string text;       // one line for people
    bool isDamaged = false; // what is in the file is no whole store; everything else may pass
};

// An SQLite database. A change is one transaction, on the disk when it gives true: after a power cut it happened or it
// did not. A change that gives false has changed nothing, unless the disk failed while it said so. A read that fails
// says so; it never looks like one that has found nothing. Shared by the bundle service, its placer and the account
// service. Safe from any thread; another process that has the store open is waited for, up to 10 s.
class BundleStore {
public:
    // Makes an empty store, without accounts, in a directory that exists, and gives it open. Null with one line for
    // people when there is a file already or it cannot be written; what was made until then stays.
    [[nodiscard]] static std::shared_ptr<BundleStore> Create(const std::string& path, std::string& error);
    // Reads the whole store through. Null when there is none, or it is not whole, or it cannot be read now.
    [[nodiscard]] static std::shared_ptr<BundleStore> Open(const std::string& path, StoreFault& fault);
    ~BundleStore();
    BundleStore(const BundleStore&) = delete;
    BundleStore& operator=(const BundleStore&) = delete;

    // False when the store cannot be read; otherwise `bundle` is what it has under the name, or nothing.
    [[nodiscard]] bool FindBundle(const std::string& bundleName, std::optional<InstalledBundle>& bundle);
    // By name; nothing when the store cannot be read.
    [[nodiscard]] std::optional<std::vector<InstalledBundle>> ListBundles();
    // The same without those that run their factory files, which are the most.
    [[nodiscard]] std::optional<std::vector<InstalledBundle>> ListInstalled();
    // Puts the bundle, with all its modules and users, in place of what is stored under its name.
    [[nodiscard]] bool ReplaceBundle(const InstalledBundle& bundle);
    // True also when there was none.
    [[nodiscard]] bool RemoveBundle(const std::string& bundleName);

    // By id, without the system user; nothing when the store cannot be read.
    [[nodiscard]] std::optional<std::vector<int32_t>> ListUsers();
    // Gives the user the factory applications, singletons excepted. False for one who exists.
    [[nodiscard]] bool AddUser(int32_t userId);
    // Takes the user's bundles along. True also when there was none.
    [[nodiscard]] bool RemoveUser(int32_t userId);

private:
    explicit BundleStore(sqlite3* database);
    [[nodiscard]] bool Check(const std::string& path, StoreFault& fault);
    // where: a condition for the bundles, in SQL.
    [[nodiscard]] std::optional<std::vector<InstalledBundle>> List(const std::string& where);

    std::recursive_mutex mutex_;
    sqlite3* database_;
};
} // namespace ORVX::TavomendHost

#endif
