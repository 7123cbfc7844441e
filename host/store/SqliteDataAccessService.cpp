#include "SqliteDataAccessService.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "StoreMessage.h"
#include "TextQuote.h"

namespace {

const char* const kXmlHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

struct Field {
    const char* tag;
    const char* column;
};

// The overview fields in the order the service writes them, with their columns.
const std::array<Field, 4> kOverviewFields = {{
    {"DialPlanEnabled", "enabled"},
    {"DialPlanId", "dial_plan_id"},
    {"DialPlanError", "error"},
    {"DialPlanErrorRow", "error_row"},
}};

// The entry fields (after "Id") in the order the service writes them, with their columns.
std::vector<std::pair<std::string, std::string>> entryFields()
{
    return {
        {DASUtilsStrings::DigitStringTagName, "digit_string"},
        {DASUtilsStrings::ActionTagName, "action"},
        {DASUtilsStrings::MinimumDigitLengthTagName, "min_length"},
        {DASUtilsStrings::MaximumDigitLengthTagName, "max_length"},
        {DASUtilsStrings::TimerTagName, "timer"},
        {DASUtilsStrings::TerminatorTagName, "terminator"},
        {DASUtilsStrings::SpecialNumberTagName, "special_number"},
        {DASUtilsStrings::CommentTagName, "comment"},
        {DASUtilsStrings::TerminatorSentTagName, "terminator_sent"},
    };
}

const char* const kSchemaStatements = R"sql(
CREATE TABLE IF NOT EXISTS dial_plan_overview (
    singleton INTEGER PRIMARY KEY CHECK (singleton = 1),
    enabled TEXT, dial_plan_id TEXT, error TEXT, error_row TEXT);
CREATE TABLE IF NOT EXISTS dial_plan_entries (
    id INTEGER PRIMARY KEY,
    digit_string TEXT, action TEXT, min_length TEXT, max_length TEXT, timer TEXT,
    terminator TEXT, special_number TEXT, comment TEXT, terminator_sent TEXT);
)sql";

class RequestError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A request that was refused, with the schema it named (for the error response).
class FailedRequest : public std::runtime_error {
public:
    FailedRequest(std::string schemaName, const std::string& reason)
        : std::runtime_error(reason), schema(std::move(schemaName))
    {
    }
    std::string schema;
};

// A prepared statement that finalises itself. Texts are bound and read as blobs, so that any
// byte sequence, invalid UTF-8 and NUL included, comes back exactly as it went in.
class Statement {
public:
    Statement(sqlite3* database, const std::string& sql)
    {
        if (sqlite3_prepare_v2(database, sql.c_str(), -1, &m_statement, nullptr) != SQLITE_OK)
            throw RequestError(sqlite3_errmsg(database));
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bindText(int index, const std::string& text)
    {
        sqlite3_bind_blob(m_statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    void bindInteger(int index, long long value) { sqlite3_bind_int64(m_statement, index, value); }

    // True while there is a row.
    bool step()
    {
        const int result = sqlite3_step(m_statement);
        if (result == SQLITE_ROW) return true;
        if (result == SQLITE_DONE) return false;
        throw RequestError(sqlite3_errmsg(sqlite3_db_handle(m_statement)));
    }
    bool isNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    std::string text(int column) const
    {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
        return bytes == nullptr ? std::string()
                                : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
    }
    long long integer(int column) const { return sqlite3_column_int64(m_statement, column); }

private:
    sqlite3_stmt* m_statement = nullptr;
};

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string response(const std::string& schema, const std::string& body)
{
    return std::string(kXmlHeader) + "<Schema name=\"" + schema + "\"><Result>OK</Result>" + body + "</Schema>";
}

std::string errorResponse(const std::string& schema, const std::string& reason)
{
    return std::string(kXmlHeader) + "<Schema name=\"" + schema + "\"><Result>Error</Result>" +
           element("Error", reason) + "</Schema>";
}

// A stored text would come back from the service's reading of this store's answer other than
// it was written: some text holds one of the storage messages' own tags. Refused rather than
// stored to be read back cut or mixed up with another field.
[[noreturn]] void refuseUnreadable(const std::string& tag, const std::string& stored,
                                   const std::optional<std::string>& readBack)
{
    throw RequestError("cannot store the texts as written: the service would read " + tag + " back as " +
                       (readBack ? quoteText(*readBack) : std::string("nothing")) + ", not " + quoteText(stored) +
                       " (a text holds a tag of the storage messages)");
}

class RequestHandler {
public:
    RequestHandler(sqlite3* database, const StoreRequest& request) : m_database(database), m_request(request) {}

    std::string run()
    {
        if (m_request.schema == DASUtilsStrings::DialPlanOverviewSchema) return overview();
        if (m_request.schema == DASUtilsStrings::DialPlanEntriesSchema) return entries();
        throw RequestError("unknown schema " + quoteText(m_request.schema));
    }

private:
    sqlite3* m_database;
    const StoreRequest& m_request;

    const std::string& schema() const { return m_request.schema; }
    const std::string& reason() const { return m_request.reason; }
    bool isWrite() const { return reason() == DASUtilsStrings::WriteRequest || reason() == DASUtilsStrings::UpdateRequest; }

    [[noreturn]] void unknownKind() const { throw RequestError("unknown request kind " + quoteText(reason())); }

    std::string overview()
    {
        if (!m_request.entries.empty()) throw RequestError("an overview request holds no Entry elements");
        for (const auto& field : m_request.fields) {
            const bool known = std::any_of(kOverviewFields.begin(), kOverviewFields.end(),
                                           [&](const Field& known) { return field.name == known.tag; });
            if (!known) throw RequestError("unknown element <" + field.name + "> in " + schema());
        }
        if (reason() == DASUtilsStrings::ReadRequest) return readOverview();
        if (reason() == DASUtilsStrings::DeleteRequest) {
            Statement(m_database, "DELETE FROM dial_plan_overview").step();
            return response(schema(), "");
        }
        if (!isWrite()) unknownKind();
        writeOverview(reason() == DASUtilsStrings::UpdateRequest);
        checkOverviewReadsBack();
        return response(schema(), "");
    }

    std::string readOverview()
    {
        Statement select(m_database, "SELECT enabled, dial_plan_id, error, error_row FROM dial_plan_overview");
        std::string body;
        if (select.step()) {
            for (std::size_t i = 0; i < kOverviewFields.size(); ++i) {
                const int column = static_cast<int>(i);
                if (!select.isNull(column)) body += element(kOverviewFields[i].tag, select.text(column));
            }
        }
        return response(schema(), body);
    }

    // An update keeps the stored fields the message does not carry; a write replaces all.
    void writeOverview(bool keepAbsentFields)
    {
        if (!keepAbsentFields) Statement(m_database, "DELETE FROM dial_plan_overview").step();
        Statement(m_database, "INSERT OR IGNORE INTO dial_plan_overview (singleton) VALUES (1)").step();
        for (const auto& field : kOverviewFields) {
            const std::string* text = m_request.field(field.tag);
            if (text == nullptr) continue;
            Statement update(m_database, std::string("UPDATE dial_plan_overview SET ") + field.column + " = ?1");
            update.bindText(1, *text);
            update.step();
        }
    }

    // The stored overview, read from this store's answer the way the service reads it.
    void checkOverviewReadsBack()
    {
        const std::string answer = readOverview();
        Statement select(m_database, "SELECT enabled, dial_plan_id, error, error_row FROM dial_plan_overview");
        if (!select.step()) return;
        for (std::size_t i = 0; i < kOverviewFields.size(); ++i) {
            const int column = static_cast<int>(i);
            if (select.isNull(column)) continue;
            const std::string stored = select.text(column);
            const auto readBack = firstElementText(answer, kOverviewFields[i].tag);
            if (readBack != stored) refuseUnreadable(kOverviewFields[i].tag, stored, readBack);
        }
    }

    std::string entries()
    {
        if (!m_request.fields.empty())
            throw RequestError("unknown element <" + m_request.fields.front().name + "> in " + schema());
        for (const auto& entry : m_request.entries) checkEntryFields(entry);
        if (reason() == DASUtilsStrings::ReadRequest) return readEntries();
        if (reason() == DASUtilsStrings::DeleteRequest) {
            deleteEntries();
            return response(schema(), "");
        }
        if (!isWrite()) unknownKind();
        for (const auto& entry : m_request.entries) writeEntry(entry, reason() == DASUtilsStrings::UpdateRequest);
        checkEntriesReadBack();
        return response(schema(), "");
    }

    void checkEntryFields(const StoreEntry& entry) const
    {
        const auto fields = entryFields();
        for (const auto& field : entry.fields) {
            const bool known = field.name == "Id" || std::any_of(fields.begin(), fields.end(), [&](const auto& known) {
                                   return field.name == known.first;
                               });
            if (!known) throw RequestError("unknown element <" + field.name + "> in an Entry");
        }
    }

    static std::string selectEntriesSql()
    {
        std::string sql = "SELECT id";
        for (const auto& field : entryFields()) sql += ", " + field.second;
        return sql + " FROM dial_plan_entries ORDER BY id";
    }

    std::string readEntries()
    {
        const auto fields = entryFields();
        Statement select(m_database, selectEntriesSql());
        std::string body;
        while (select.step()) {
            std::string entry = element("Id", std::to_string(select.integer(0)));
            for (std::size_t i = 0; i < fields.size(); ++i) {
                const int column = static_cast<int>(i) + 1;
                if (!select.isNull(column)) entry += element(fields[i].first, select.text(column));
            }
            body += element("Entry", entry);
        }
        return response(schema(), body);
    }

    // Every stored entry, taken out of this store's answer one by one the way the service
    // takes them, must give back each of its texts.
    void checkEntriesReadBack()
    {
        const auto fields = entryFields();
        std::string answer = readEntries();
        Statement select(m_database, selectEntriesSql());
        while (select.step()) {
            const auto entry = takeFirstElement(answer, "Entry");
            for (std::size_t i = 0; i < fields.size(); ++i) {
                const int column = static_cast<int>(i) + 1;
                if (select.isNull(column)) continue;
                const std::string stored = select.text(column);
                const auto readBack = entry ? firstElementText(*entry, fields[i].first) : std::nullopt;
                if (readBack != stored) refuseUnreadable(fields[i].first, stored, readBack);
            }
        }
        if (const auto extra = takeFirstElement(answer, "Entry"))
            refuseUnreadable("a further Entry", *extra, std::nullopt);
    }

    // A delete naming entries by "Id" removes those; one naming none removes all.
    void deleteEntries()
    {
        if (m_request.entries.empty()) {
            Statement(m_database, "DELETE FROM dial_plan_entries").step();
            return;
        }
        for (const auto& entry : m_request.entries) {
            Statement remove(m_database, "DELETE FROM dial_plan_entries WHERE id = ?1");
            remove.bindInteger(1, entryId(entry));
            remove.step();
        }
    }

    long long entryId(const StoreEntry& entry)
    {
        if (const std::string* text = entry.field("Id")) {
            char* end = nullptr;
            errno = 0;
            const long long id = std::strtoll(text->c_str(), &end, 10);
            const bool whole = !text->empty() && end == text->c_str() + text->size() && errno == 0;
            if (whole && id > 0) return id;
            throw RequestError("entry Id " + quoteText(*text) + " is not a positive number");
        }
        Statement next(m_database, "SELECT COALESCE(MAX(id), 0) + 1 FROM dial_plan_entries");
        next.step();
        return next.integer(0);
    }

    void writeEntry(const StoreEntry& entry, bool keepAbsentFields)
    {
        const long long id = entryId(entry);
        if (!keepAbsentFields) {
            Statement remove(m_database, "DELETE FROM dial_plan_entries WHERE id = ?1");
            remove.bindInteger(1, id);
            remove.step();
        }
        Statement insert(m_database, "INSERT OR IGNORE INTO dial_plan_entries (id) VALUES (?1)");
        insert.bindInteger(1, id);
        insert.step();
        for (const auto& [tag, column] : entryFields()) {
            const std::string* text = entry.field(tag);
            if (text == nullptr) continue;
            Statement update(m_database, "UPDATE dial_plan_entries SET " + column + " = ?1 WHERE id = ?2");
            update.bindText(1, *text);
            update.bindInteger(2, id);
            update.step();
        }
    }
};

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

void SqliteDataAccessService::init(Context&) {}
void SqliteDataAccessService::shutdown() {}

void SqliteDataAccessService::execute(const std::string& statement)
{
    char* message = nullptr;
    if (sqlite3_exec(m_database, statement.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        const std::string reason = message != nullptr ? message : sqlite3_errmsg(m_database);
        sqlite3_free(message);
        throw StoreError(reason);
    }
}

// After a failed statement or commit SQLite may or may not have ended the transaction itself.
void SqliteDataAccessService::rollbackQuietly()
{
    if (sqlite3_get_autocommit(m_database) != 0) return;
    try {
        execute("ROLLBACK");
    } catch (const StoreError&) {
        // Nothing more can be done here; the connection rolls back when it closes.
    }
}

bool SqliteDataAccessService::hasDialPlan()
{
    HostRecursiveLock lock(m_mutex);
    Statement select(m_database, "SELECT COUNT(*) FROM dial_plan_overview");
    select.step();
    return select.integer(0) > 0;
}

std::string SqliteDataAccessService::processRequest(const std::string& request)
{
    HostRecursiveLock lock(m_mutex);
    if (m_inTransaction) {
        if (m_transactionFailure) return errorResponse("", "the change was refused already: " + *m_transactionFailure);
        try {
            return handle(request);
        } catch (const FailedRequest& error) {
            m_transactionFailure = error.what();
            return errorResponse(error.schema, error.what());
        }
    }
    try {
        execute("BEGIN IMMEDIATE");
    } catch (const StoreError& error) {
        return errorResponse("", std::string("store unavailable: ") + error.what());
    }
    std::string answer;
    try {
        answer = handle(request);
    } catch (const FailedRequest& error) {
        rollbackQuietly();
        return errorResponse(error.schema, error.what());
    }
    try {
        execute("COMMIT");
    } catch (const StoreError& error) {
        rollbackQuietly();
        return errorResponse("", std::string("the store could not commit: ") + error.what());
    }
    return answer;
}

std::string SqliteDataAccessService::handle(const std::string& request)
{
    StoreRequest parsed;
    try {
        parsed = parseStoreRequest(request);
    } catch (const StoreMessageError& error) {
        throw FailedRequest("", error.what());
    }
    try {
        return RequestHandler(m_database, parsed).run();
    } catch (const std::exception& error) {
        throw FailedRequest(parsed.schema, error.what());
    }
}

StoreTransaction::StoreTransaction(SqliteDataAccessService& store) : m_store(store), m_hold(store.m_mutex)
{
    if (m_store.m_inTransaction) throw StoreError("a change of the store is already under way");
    m_store.execute("BEGIN IMMEDIATE");
    m_store.m_inTransaction = true;
    m_store.m_transactionFailure.reset();
}

StoreTransaction::~StoreTransaction()
{
    if (m_open) rollback();
}

StoreOutcome StoreTransaction::commit()
{
    if (!m_open) return {false, "the change has ended already"};
    if (m_store.m_transactionFailure) {
        StoreOutcome outcome{false, "the store refused a request: " + *m_store.m_transactionFailure};
        rollback();
        return outcome;
    }
    m_open = false;
    m_store.m_inTransaction = false;
    try {
        m_store.execute("COMMIT");
    } catch (const StoreError& error) {
        m_store.rollbackQuietly();
        return {false, std::string("the store could not commit: ") + error.what()};
    }
    return {true, std::string()};
}

void StoreTransaction::rollback()
{
    if (!m_open) return;
    m_open = false;
    m_store.m_inTransaction = false;
    m_store.m_transactionFailure.reset();
    m_store.rollbackQuietly();
}
