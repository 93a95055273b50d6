// The bundle service's store: which bundles are installed, at which version, from which files, for which users.
#ifndef TAVOMEND_PLATFORM_HOST_BUNDLE_STORE_H
#define TAVOMEND_PLATFORM_HOST_BUNDLE_STORE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

namespace ORVX::TavomendHost {
constexpr const char* BUNDLE_STORE_PATH = "/data/service/bundles/store.db";
constexpr int32_t SYSTEM_USER = 0; // singletons are installed for it

struct StoredBundle {
    std::string bundleName;
    uint32_t versionCode = 0;
    std::string versionName;
    bool keepAlive = false;
    bool singleton = false;
    std::string bundleType;
    std::map<std::string, std::string> modules; // module to package file in use
    std::vector<int32_t> users;
    bool isFactory = false; // runs its factory files
    std::optional<uint32_t> factoryVersion;
};

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

    [[nodiscard]] std::optional<StoredBundle> FindBundle(const std::string& bundleName);
    [[nodiscard]] std::vector<StoredBundle> ListBundles();
    // Puts the bundle in place of what is stored under its name.
    [[nodiscard]] bool ReplaceBundle(const StoredBundle& bundle);
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
