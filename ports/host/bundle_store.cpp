#include "ports/host/bundle_store.h"

#include <algorithm>
#include <iterator>
#include <sqlite3.h>
#include <unistd.h>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHost {
namespace {
constexpr int BUSY_TIMEOUT_MS = 10000;
// EXTRA: a commit must outlive a power cut, since the files of the former version go right after it.
constexpr const char* SETTINGS = "PRAGMA synchronous = EXTRA; PRAGMA foreign_keys = ON;";
// Each fact stands in a table and in an index, so that the integrity check misses no damaged byte of it. INT and not
// INTEGER: the latter would make the key the row's number, which has no index.
constexpr const char* SCHEMA[] = {
    "CREATE TABLE bundles (name TEXT PRIMARY KEY, version_code INT NOT NULL, version_name TEXT NOT NULL, "
    "keep_alive INT NOT NULL, singleton INT NOT NULL, type TEXT NOT NULL, is_factory INT NOT NULL, "
    "factory_version INT)",
    "CREATE TABLE modules (bundle TEXT NOT NULL REFERENCES bundles(name) ON DELETE CASCADE, module TEXT NOT NULL, "
    "path TEXT NOT NULL, PRIMARY KEY (bundle, module))",
    "CREATE TABLE accounts (id INT PRIMARY KEY)",
    "CREATE TABLE bundle_users (bundle TEXT NOT NULL REFERENCES bundles(name) ON DELETE CASCADE, user INT NOT NULL, "
    "PRIMARY KEY (bundle, user))",
    "CREATE INDEX bundle_copies ON bundles (name, version_code, version_name, keep_alive, singleton, type, "
    "is_factory, factory_version)",
    "CREATE INDEX module_copies ON modules (bundle, module, path)",
    "PRAGMA user_version = 1"};

bool Execute(sqlite3* database, const char* text)
{
    return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

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
    explicit Transaction(sqlite3* database) : database_(database) {}
    ~Transaction()
    {
        if (isOpen_) {
            Execute(database_, "ROLLBACK");
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    [[nodiscard]] bool Begin()
    {
        isOpen_ = Execute(database_, "BEGIN IMMEDIATE");
        return isOpen_;
    }
    // Writes nothing, and keeps nobody from reading.
    [[nodiscard]] bool BeginReading()
    {
        isOpen_ = Execute(database_, "BEGIN");
        return isOpen_;
    }
    [[nodiscard]] bool Commit()
    {
        isOpen_ = !Execute(database_, "COMMIT");
        return !isOpen_;
    }

private:
    sqlite3* database_;
    bool isOpen_ = false;
};

constexpr const char* BUNDLE_COLUMNS =
    "SELECT name, version_code, version_name, keep_alive, singleton, type, is_factory, factory_version FROM bundles ";

InstalledBundle ReadBundle(const Statement& row)
{
    InstalledBundle bundle;
    bundle.bundleName = row.Text(0);
    bundle.versionCode = static_cast<uint32_t>(row.Number(1));
    bundle.versionName = row.Text(2);
    bundle.keepAlive = row.Number(3) != 0;
    bundle.singleton = row.Number(4) != 0;
    bundle.bundleType = row.Text(5);
    bundle.isFactory = row.Number(6) != 0;
    if (!row.IsNull(7)) {
        bundle.factoryVersion = static_cast<uint32_t>(row.Number(7));
    }
    return bundle;
}

// Gives each row to the bundle that its first column names; both are in the names' order.
template <typename Take>
bool ReadParts(Statement& rows, std::vector<InstalledBundle>& bundles, const Take& take)
{
    auto bundle = bundles.begin();
    while (rows.Next()) {
        const std::string name = rows.Text(0);
        while (bundle != bundles.end() && bundle->bundleName < name) {
            ++bundle;
        }
        if (bundle != bundles.end() && bundle->bundleName == name) {
            take(*bundle);
        }
    }
    return rows.IsDone();
}

bool ReadModules(Statement& rows, std::vector<InstalledBundle>& bundles)
{
    return ReadParts(rows, bundles, [&rows](InstalledBundle& bundle) { bundle.modules[rows.Text(1)] = rows.Text(2); });
}

bool ReadUsers(Statement& rows, std::vector<InstalledBundle>& bundles)
{
    return ReadParts(rows, bundles, [&rows](InstalledBundle& bundle) {
        bundle.users.push_back(static_cast<int32_t>(rows.Number(1)));
    });
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
// Failures that are no fault of the file's content.
bool MayPass(int code)
{
    switch (code & 0xff) {
    case SQLITE_PERM:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_NOMEM:
    case SQLITE_READONLY:
    case SQLITE_INTERRUPT:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PROTOCOL:
        return true;
    default:
        return false;
    }
}

// The first row's text of a query about one value. After a failure the connection's error code is the query's own.
bool Gives(sqlite3* database, const char* query, const std::string& value)
{
    Statement select(database, query);
    return select.Bind(value).Next() && select.Text(0) == value;
}

bool IsWhole(sqlite3* database)
{
    return Gives(database, "SELECT * FROM pragma_integrity_check WHERE ? <> ''", "ok") &&
           Gives(database, "SELECT * FROM pragma_user_version WHERE ? <> ''", "1") &&
           std::all_of(std::begin(SCHEMA), std::end(SCHEMA) - 1, [database](const char* text) {
               return Gives(database, "SELECT sql FROM sqlite_master WHERE sql = ?", text);
           });
}
} // namespace

std::shared_ptr<BundleStore> BundleStore::Create(const std::string& path, std::string& error)
{
    if (TavomendEngine::FileUtils::FileIsExist(path)) {
        error = "there is a device here already";
        return nullptr;
    }
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    std::shared_ptr<BundleStore> store(new BundleStore(database));
    Transaction transaction(database);
    const bool isMade = result == SQLITE_OK && Execute(database, SETTINGS) && transaction.Begin() &&
                        std::all_of(std::begin(SCHEMA), std::end(SCHEMA),
                                    [database](const char* text) { return Execute(database, text); }) &&
                        transaction.Commit();
    if (!isMade) {
        error = std::string("the bundle store cannot be made: ") + sqlite3_errmsg(database);
    }
    return isMade ? store : nullptr;
}

std::shared_ptr<BundleStore> BundleStore::Open(const std::string& path, StoreFault& fault)
{
    if (!TavomendEngine::FileUtils::FileIsExist(path)) {
        fault.text = "there is no device here";
        return nullptr;
    }
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
    std::shared_ptr<BundleStore> store(new BundleStore(database));
    if (result != SQLITE_OK || sqlite3_busy_timeout(database, BUSY_TIMEOUT_MS) != SQLITE_OK) {
        fault.text = std::string("the bundle store cannot be opened: ") + sqlite3_errmsg(database);
        return nullptr;
    }
    return store->Check(path, fault) ? store : nullptr;
}

BundleStore::BundleStore(sqlite3* database) : database_(database) {}

BundleStore::~BundleStore()
{
    sqlite3_close_v2(database_);
}

bool BundleStore::Check(const std::string& path, StoreFault& fault)
{
    const bool isWhole = Execute(database_, SETTINGS) && IsWhole(database_);
    const int code = isWhole ? SQLITE_OK : sqlite3_errcode(database_);
    // The header can forbid writing to a file that may be written.
    const bool isForbidden = sqlite3_db_readonly(database_, nullptr) != 0 && access(path.c_str(), W_OK) == 0;
    if (isWhole && !isForbidden) {
        return true;
    }
    const bool isError = code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE;
    // The integrity check takes a page that could not be read for a damaged one.
    fault.isDamaged = !MayPass(code) && !TavomendEngine::FileUtils::GetFileStream(path).empty();
    fault.text = std::string("the bundle store ") + (fault.isDamaged ? "is damaged: " : "cannot be read: ") +
                 (isError ? sqlite3_errmsg(database_) : "it does not pass its check");
    return false;
}

bool BundleStore::FindBundle(const std::string& bundleName, std::optional<InstalledBundle>& bundle)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    bundle.reset();
    Statement select(database_, (std::string(BUNDLE_COLUMNS) + "WHERE name = ?").c_str());
    if (!select.Bind(bundleName).Next()) {
        return select.IsDone();
    }
    std::vector<InstalledBundle> found = {ReadBundle(select)};
    Statement modules(database_, "SELECT bundle, module, path FROM modules WHERE bundle = ?");
    Statement users(database_, "SELECT bundle, user FROM bundle_users WHERE bundle = ? ORDER BY user");
    if (!ReadModules(modules.Bind(bundleName), found) || !ReadUsers(users.Bind(bundleName), found)) {
        return false;
    }
    bundle = std::move(found.front());
    return true;
}

std::optional<std::vector<InstalledBundle>> BundleStore::ListBundles()
{
    return List("");
}

std::optional<std::vector<InstalledBundle>> BundleStore::ListInstalled()
{
    return List("WHERE is_factory = 0 ");
}

std::optional<std::vector<InstalledBundle>> BundleStore::List(const std::string& where)
{
    const std::string parts = where.empty() ? " " : " WHERE bundle IN (SELECT name FROM bundles " + where + ") ";
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    std::vector<InstalledBundle> bundles;
    Transaction reading(database_); // of one state, whoever writes meanwhile
    Statement rows(database_, (BUNDLE_COLUMNS + where + "ORDER BY name").c_str());
    Statement modules(database_, ("SELECT bundle, module, path FROM modules" + parts + "ORDER BY bundle").c_str());
    Statement users(database_, ("SELECT bundle, user FROM bundle_users" + parts + "ORDER BY bundle, user").c_str());
    if (!reading.BeginReading()) {
        return std::nullopt;
    }
    while (rows.Next()) {
        bundles.push_back(ReadBundle(rows));
    }
    if (!rows.IsDone() || !ReadModules(modules, bundles) || !ReadUsers(users, bundles)) {
        return std::nullopt;
    }
    return bundles;
}

bool BundleStore::ReplaceBundle(const InstalledBundle& bundle)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    if (!transaction.Begin()) {
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

bool BundleStore::AddUser(int32_t userId)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    Statement account(database_, "INSERT INTO accounts VALUES (?)");
    Statement bundles(database_, "INSERT INTO bundle_users SELECT name, ? FROM bundles "
                                 "WHERE singleton = 0 AND factory_version IS NOT NULL");
    return transaction.Begin() && account.Bind(userId).Run() && bundles.Bind(userId).Run() && transaction.Commit();
}

bool BundleStore::RemoveUser(int32_t userId)
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    Transaction transaction(database_);
    Statement bundles(database_, "DELETE FROM bundle_users WHERE user = ?");
    Statement account(database_, "DELETE FROM accounts WHERE id = ?");
    return transaction.Begin() && bundles.Bind(userId).Run() && account.Bind(userId).Run() && transaction.Commit();
}
} // namespace ORVX::TavomendHost
