#include "SqliteDataAccessService.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

// The columns of the two tables, in the order of DialPlanRows' fields.
const char* const kOverviewColumns = "enabled, dial_plan_id, error, error_row";
const char* const kEntryColumns =
    "digit_string, action, min_length, max_length, timer, terminator, special_number, comment, terminator_sent";

const char* const kSchemaStatements = R"sql(
CREATE TABLE IF NOT EXISTS dial_plan_overview (
    singleton INTEGER PRIMARY KEY CHECK (singleton = 1),
    enabled TEXT, dial_plan_id TEXT, error TEXT, error_row TEXT);
CREATE TABLE IF NOT EXISTS dial_plan_entries (
    id INTEGER PRIMARY KEY,
    digit_string TEXT, action TEXT, min_length TEXT, max_length TEXT, timer TEXT,
    terminator TEXT, special_number TEXT, comment TEXT, terminator_sent TEXT);
)sql";

// A prepared statement that finalises itself. Texts are bound and read as blobs, so that any
// byte sequence, invalid UTF-8 and NUL included, comes back exactly as it went in.
class Statement {
public:
    Statement(sqlite3* database, const std::string& sql)
    {
        if (sqlite3_prepare_v2(database, sql.c_str(), -1, &m_statement, nullptr) != SQLITE_OK)
            throw StoreError(sqlite3_errmsg(database));
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // An absent text is bound as NULL.
    void bindText(int index, const std::optional<std::string>& text)
    {
        if (!text) {
            sqlite3_bind_null(m_statement, index);
            return;
        }
        sqlite3_bind_blob(m_statement, index, text->data(), static_cast<int>(text->size()), SQLITE_TRANSIENT);
    }
    void bindInteger(int index, long long value) { sqlite3_bind_int64(m_statement, index, value); }

    // True while there is a row.
    bool step()
    {
        const int result = sqlite3_step(m_statement);
        if (result == SQLITE_ROW) return true;
        if (result == SQLITE_DONE) return false;
        throw StoreError(sqlite3_errmsg(sqlite3_db_handle(m_statement)));
    }
    std::optional<std::string> text(int column) const
    {
        if (sqlite3_column_type(m_statement, column) == SQLITE_NULL) return std::nullopt;
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
        return bytes == nullptr ? std::string()
                                : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
    }
    long long integer(int column) const { return sqlite3_column_int64(m_statement, column); }

private:
    sqlite3_stmt* m_statement = nullptr;
};

template <std::size_t N>
void readFields(const Statement& select, int firstColumn, std::array<std::optional<std::string>, N>& fields)
{
    for (std::size_t i = 0; i < N; ++i) fields[i] = select.text(firstColumn + static_cast<int>(i));
}

template <std::size_t N>
void bindFields(Statement& statement, int firstIndex, const std::array<std::optional<std::string>, N>& fields)
{
    for (std::size_t i = 0; i < N; ++i) statement.bindText(firstIndex + static_cast<int>(i), fields[i]);
}

// Makes sure the store's file is ours and private before SQLite opens it: created 0600 when
// new (SQLite gives its -wal and -shm files the main file's mode), narrowed to 0600 when it is
// open to others, refused when it is a link, another user's, or in a directory others may
// write to (where they could swap the file or plant its -wal beside it).
void preparePrivateFile(const std::string& path)
{
    const std::filesystem::path file(path);
    const std::filesystem::path directory = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    struct stat directoryStatus {};
    if (::stat(directory.c_str(), &directoryStatus) != 0)
        throw StoreError("cannot open the store " + path + ": " + std::strerror(errno));
    if ((directoryStatus.st_mode & S_IWOTH) != 0)
        throw StoreError("refusing the store " + path + ": its directory " + directory.string() +
                         " may be written by other users; keep it in a directory only you can write");
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        if (errno == ELOOP) throw StoreError("cannot open the store " + path + ": it is a symbolic link");
        throw StoreError("cannot open the store " + path + ": " + std::strerror(errno));
    }
    struct stat fileStatus {};
    const bool examined = ::fstat(fd, &fileStatus) == 0;
    std::string fault;
    if (!examined) {
        fault = std::string("cannot examine the store ") + path + ": " + std::strerror(errno);
    } else if (fileStatus.st_uid != ::geteuid()) {
        fault = "refusing the store " + path + ": it belongs to another user";
    } else if ((fileStatus.st_mode & 077) != 0 && ::fchmod(fd, 0600) != 0) {
        fault = std::string("cannot make the store ") + path + " private: " + std::strerror(errno);
    }
    ::close(fd);
    if (!fault.empty()) throw StoreError(fault);
}

}  // namespace

SqliteDataAccessService::SqliteDataAccessService(const std::string& path, const std::string& vfs)
{
    const bool inMemory = path == ":memory:";
    if (!inMemory) preparePrivateFile(path);
    // Never through a symbolic link: whoever can plant one must not choose the file written.
    if (sqlite3_open_v2(path.c_str(), &m_database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_NOFOLLOW,
                        vfs.empty() ? nullptr : vfs.c_str()) != SQLITE_OK) {
        const std::string reason = m_database != nullptr ? sqlite3_errmsg(m_database) : "out of memory";
        sqlite3_close(m_database);
        m_database = nullptr;
        throw StoreError("cannot open the store " + path + ": " + reason);
    }
    sqlite3_busy_timeout(m_database, 5000);
    try {
        if (!inMemory) {
            execute("PRAGMA journal_mode = WAL");
            // A commit returns once the write-ahead log is synced: "done" means on disk.
            execute("PRAGMA synchronous = FULL");
        }
        execute(kSchemaStatements);
    } catch (const StoreError& error) {
        sqlite3_close(m_database);
        m_database = nullptr;
        throw StoreError("cannot use the store " + path + ": " + error.what());
    }
}

SqliteDataAccessService::~SqliteDataAccessService()
{
    // Closing rolls an open transaction back.
    sqlite3_close(m_database);
}

void SqliteDataAccessService::execute(const std::string& statement)
{
    char* message = nullptr;
    if (sqlite3_exec(m_database, statement.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        const std::string reason = message != nullptr ? message : sqlite3_errmsg(m_database);
        sqlite3_free(message);
        throw StoreError(reason);
    }
}

std::optional<DialPlanRows::Overview> SqliteDataAccessService::readOverview()
{
    Statement select(m_database, std::string("SELECT ") + kOverviewColumns + " FROM dial_plan_overview");
    if (!select.step()) return std::nullopt;
    DialPlanRows::Overview overview;
    readFields(select, 0, overview);
    return overview;
}

void SqliteDataAccessService::writeOverview(const std::optional<DialPlanRows::Overview>& overview)
{
    Statement(m_database, "DELETE FROM dial_plan_overview").step();
    if (!overview) return;
    Statement insert(m_database, std::string("INSERT INTO dial_plan_overview (singleton, ") + kOverviewColumns +
                                     ") VALUES (1, ?1, ?2, ?3, ?4)");
    bindFields(insert, 1, *overview);
    insert.step();
}

std::vector<DialPlanRows::Entry> SqliteDataAccessService::readEntries()
{
    Statement select(m_database, std::string("SELECT id, ") + kEntryColumns + " FROM dial_plan_entries ORDER BY id");
    std::vector<DialPlanRows::Entry> entries;
    while (select.step()) {
        DialPlanRows::Entry entry;
        entry.id = select.integer(0);
        readFields(select, 1, entry.fields);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::optional<DialPlanRows::Entry> SqliteDataAccessService::readEntry(long long id)
{
    Statement select(m_database, std::string("SELECT id, ") + kEntryColumns + " FROM dial_plan_entries WHERE id = ?1");
    select.bindInteger(1, id);
    if (!select.step()) return std::nullopt;
    DialPlanRows::Entry entry;
    entry.id = select.integer(0);
    readFields(select, 1, entry.fields);
    return entry;
}

void SqliteDataAccessService::writeEntry(const DialPlanRows::Entry& entry)
{
    Statement insert(m_database, std::string("INSERT OR REPLACE INTO dial_plan_entries (id, ") + kEntryColumns +
                                     ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)");
    insert.bindInteger(1, entry.id);
    bindFields(insert, 2, entry.fields);
    insert.step();
}

void SqliteDataAccessService::removeEntry(long long id)
{
    Statement remove(m_database, "DELETE FROM dial_plan_entries WHERE id = ?1");
    remove.bindInteger(1, id);
    remove.step();
}

void SqliteDataAccessService::removeAllEntries() { Statement(m_database, "DELETE FROM dial_plan_entries").step(); }

void SqliteDataAccessService::beginChange() { execute("BEGIN IMMEDIATE"); }

void SqliteDataAccessService::commitChange() { execute("COMMIT"); }

// After a failed statement or commit SQLite may or may not have ended the transaction itself.
void SqliteDataAccessService::rollbackChange() noexcept
{
    if (sqlite3_get_autocommit(m_database) != 0) return;
    // Nothing more can be done when the rollback fails; the connection rolls back when it closes.
    (void)sqlite3_exec(m_database, "ROLLBACK", nullptr, nullptr, nullptr);
}
