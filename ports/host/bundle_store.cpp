#include "ports/host/bundle_store.h"

#include <sqlite3.h>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHost {
namespace {
constexpr int SCHEMA_VERSION = 1;
constexpr int BUSY_TIMEOUT_MS = 10000;
constexpr const char* SETTINGS = "PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;";
constexpr const char* SCHEMA = R"(
BEGIN;
CREATE TABLE bundles (
    name TEXT PRIMARY KEY, version_code INTEGER NOT NULL, version_name TEXT NOT NULL, keep_alive INTEGER NOT NULL,
    singleton INTEGER NOT NULL, type TEXT NOT NULL, is_factory INTEGER NOT NULL, factory_version INTEGER);
CREATE TABLE modules (
    bundle TEXT NOT NULL REFERENCES bundles(name) ON DELETE CASCADE, module TEXT NOT NULL, path TEXT NOT NULL,
    PRIMARY KEY (bundle, module));
CREATE TABLE accounts (id INTEGER PRIMARY KEY);
CREATE TABLE bundle_users (
    bundle TEXT NOT NULL REFERENCES bundles(name) ON DELETE CASCADE, user INTEGER NOT NULL,
    PRIMARY KEY (bundle, user));
PRAGMA user_version = 1;
COMMIT;
)";

// One prepared statement, values bound in order.
class Statement {
public:
    Statement(sqlite3* database, const char* text)
    {
        sqlite3_prepare_v2(database, text, -1, &statement_, nullptr); // null after a failure
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& Bind(const std::string& text)
    {
        sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& Bind(int64_t number)
    {
        sqlite3_bind_int64(statement_, ++bound_, number);
        return *this;
    }
    Statement& BindNull()
    {
        sqlite3_bind_null(statement_, ++bound_);
        return *this;
    }
    // True when there is a row; otherwise IsDone tells the end of the rows from a failure.
    [[nodiscard]] bool Next() { return Step() == SQLITE_ROW; }
    [[nodiscard]] bool Run() { return Step() == SQLITE_DONE; }
    [[nodiscard]] bool IsDone() const { return result_ == SQLITE_DONE; }
    [[nodiscard]] int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
    [[nodiscard]] bool IsNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    [[nodiscard]] std::string Text(int column) const
    {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
        return text == nullptr ? "" : text;
    }

private:
    int Step()
    {
        result_ = sqlite3_step(statement_); // a statement that could not be prepared is null: misuse
        return result_;
    }

    sqlite3_stmt* statement_ = nullptr;
    int bound_ = 0;
    int result_ = SQLITE_OK;
};

// Rolled back unless it is committed.
class Transaction {
public:
    explicit Transaction(sqlite3* database) : database_(database), isOpen_(Run("BEGIN IMMEDIATE")) {}
    ~Transaction()
    {
        if (isOpen_) {
            Run("ROLLBACK");
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    [[nodiscard]] bool IsOpen() const { return isOpen_; }
    [[nodiscard]] bool Commit()
    {
        if (!isOpen_ || !Run("COMMIT")) {
            return false;
        }
        isOpen_ = false;
        return true;
    }

private:
    bool Run(const char* text) { return sqlite3_exec(database_, text, nullptr, nullptr, nullptr) == SQLITE_OK; }

    sqlite3* database_;
    bool isOpen_;
};

std::map<std::string, std::string> ReadModules(sqlite3* database, const std::string& bundleName)
{
    std::map<std::string, std::string> modules;
    Statement select(database, "SELECT module, path FROM modules WHERE bundle = ?");
    select.Bind(bundleName);
    while (select.Next()) {
        modules[select.Text(0)] = select.Text(1);
    }
    return modules;
}

std::vector<int32_t> ReadUsers(sqlite3* database, const std::string& bundleName)
{
    std::vector<int32_t> users;
    Statement select(database, "SELECT user FROM bundle_users WHERE bundle = ? ORDER BY user");
    select.Bind(bundleName);
    while (select.Next()) {
        users.push_back(static_cast<int32_t>(select.Number(0)));
    }
    return users;
}

bool WriteParts(sqlite3* database, const InstalledBundle& bundle)
{
    for (const auto& [module, path] : bundle.modules) {
        Statement insert(database, "INSERT INTO modules VALUES (?, ?, ?)");
        if (!insert.Bind(bundle.bundleName).Bind(module).Bind(path).Run()) {
            return false;
        }
    }
    for (const int32_t user : bundle.users) {
        Statement insert(database, "INSERT INTO bundle_users VALUES (?, ?)");
        if (!insert.Bind(bundle.bundleName).Bind(user).Run()) {
            return false;
        }
    }
    return true;
}
} // namespace

bool BundleStore::Create(std::string& error)
{
    if (TavomendEngine::FileUtils::FileIsExist(BUNDLE_STORE_PATH)) {
        error = "there is a device here already";
        return false;
    }
    sqlite3* database = nullptr;
    bool isMade = sqlite3_open_v2(BUNDLE_STORE_PATH, &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) ==
                      SQLITE_OK &&
                  sqlite3_exec(database, SETTINGS, nullptr, nullptr, nullptr) == SQLITE_OK &&
                  sqlite3_exec(database, SCHEMA, nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!isMade) {
        error = std::string("the bundle store cannot be made: ") + sqlite3_errmsg(database);
    }
    sqlite3_close(database);
    return isMade;
}

std::shared_ptr<BundleStore> BundleStore::Open(std::string& error)
{
    if (!TavomendEngine::FileUtils::FileIsExist(BUNDLE_STORE_PATH)) {
        error = "there is no device here";
        return nullptr;
    }
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(BUNDLE_STORE_PATH, &database, SQLITE_OPEN_READWRITE, nullptr);
    std::shared_ptr<BundleStore> store(new BundleStore(database));
    if (result != SQLITE_OK || sqlite3_busy_timeout(database, BUSY_TIMEOUT_MS) != SQLITE_OK ||
        sqlite3_exec(database, SETTINGS, nullptr, nullptr, nullptr) != SQLITE_OK) {
        error = std::string("the bundle store cannot be opened: ") + sqlite3_errmsg(database);
        return nullptr;
    }
    Statement version(database, "PRAGMA user_version");
    if (!version.Next() || version.Number(0) != SCHEMA_VERSION) {
        error = "the bundle store is damaged or of another version";
        return nullptr;
    }
    return store;
}

BundleStore::BundleStore(sqlite3* database) : database_(database) {}

BundleStore::~BundleStore()
{
    sqlite3_close_v2(database_);
}

std::optional<InstalledBundle> BundleStore::FindBundle(const std::string& bundleName)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Statement select(database_, "SELECT version_code, version_name, keep_alive, singleton, type, is_factory, "
                                "factory_version FROM bundles WHERE name = ?");
    if (!select.Bind(bundleName).Next()) {
        return std::nullopt;
    }
    std::optional<uint32_t> factoryVersion;
    if (!select.IsNull(6)) {
        factoryVersion = static_cast<uint32_t>(select.Number(6));
    }
    return InstalledBundle{bundleName,
                           static_cast<uint32_t>(select.Number(0)),
                           select.Text(1),
                           select.Number(2) != 0,
                           select.Number(3) != 0,
                           select.Text(4),
                           ReadModules(database_, bundleName),
                           ReadUsers(database_, bundleName),
                           select.Number(5) != 0,
                           factoryVersion};
}

std::vector<InstalledBundle> BundleStore::ListBundles()
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    std::vector<InstalledBundle> bundles;
    Statement names(database_, "SELECT name FROM bundles ORDER BY name");
    while (names.Next()) {
        if (auto bundle = FindBundle(names.Text(0))) {
            bundles.push_back(std::move(*bundle));
        }
    }
    return bundles;
}

bool BundleStore::ReplaceBundle(const InstalledBundle& bundle)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    if (!transaction.IsOpen()) {
        return false;
    }
    Statement remove(database_, "DELETE FROM bundles WHERE name = ?");
    Statement insert(database_, "INSERT INTO bundles VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    insert.Bind(bundle.bundleName)
        .Bind(bundle.versionCode)
        .Bind(bundle.versionName)
        .Bind(bundle.keepAlive ? 1 : 0)
        .Bind(bundle.singleton ? 1 : 0)
        .Bind(bundle.bundleType)
        .Bind(bundle.isFactory ? 1 : 0);
    if (bundle.factoryVersion) {
        insert.Bind(*bundle.factoryVersion);
    } else {
        insert.BindNull();
    }
    return remove.Bind(bundle.bundleName).Run() && insert.Run() && WriteParts(database_, bundle) &&
           transaction.Commit();
}

bool BundleStore::RemoveBundle(const std::string& bundleName)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Statement remove(database_, "DELETE FROM bundles WHERE name = ?");
    return remove.Bind(bundleName).Run();
}

std::optional<std::vector<int32_t>> BundleStore::ListUsers()
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    std::vector<int32_t> users;
    Statement select(database_, "SELECT id FROM accounts ORDER BY id");
    while (select.Next()) {
        users.push_back(static_cast<int32_t>(select.Number(0)));
    }
    if (!select.IsDone()) {
        return std::nullopt;
    }
    return users;
}

bool BundleStore::HasUser(int32_t userId)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Statement select(database_, "SELECT 1 FROM accounts WHERE id = ?");
    return select.Bind(userId).Next();
}

bool BundleStore::AddUser(int32_t userId)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    Statement account(database_, "INSERT INTO accounts VALUES (?)");
    Statement bundles(database_, "INSERT INTO bundle_users SELECT name, ? FROM bundles "
                                 "WHERE singleton = 0 AND factory_version IS NOT NULL");
    return transaction.IsOpen() && account.Bind(userId).Run() && bundles.Bind(userId).Run() && transaction.Commit();
}

bool BundleStore::RemoveUser(int32_t userId)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    Statement bundles(database_, "DELETE FROM bundle_users WHERE user = ?");
    Statement account(database_, "DELETE FROM accounts WHERE id = ?");
    return transaction.IsOpen() && bundles.Bind(userId).Run() && account.Bind(userId).Run() && transaction.Commit();
}
} // namespace ORVX::TavomendHost
