#include "SqliteDataAccessService.h"

#include <sqlite3.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

#include <pugixml.hpp>

namespace {

const char* const kXmlHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

// The overview fields in the order the service writes them, with their columns.
const std::array<std::pair<const char*, const char*>, 4> kOverviewFields = {{
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

// A prepared statement that finalises itself.
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
        sqlite3_bind_text(m_statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    void bindNull(int index) { sqlite3_bind_null(m_statement, index); }
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
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
        return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
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

// An element's text exactly as it stands in the message; absent when the element is.
bool fieldText(const pugi::xml_node& parent, const std::string& name, std::string& text)
{
    const pugi::xml_node child = parent.child(name.c_str());
    if (!child) return false;
    text = child.text().get();
    return true;
}

// The Entry elements of a message body; an entry wrapped in a further "Entry" counts once.
std::vector<pugi::xml_node> entryElements(const pugi::xml_node& schema)
{
    std::vector<pugi::xml_node> entries;
    for (pugi::xml_node entry : schema.children("Entry")) {
        while (entry.child("Entry")) entry = entry.child("Entry");
        entries.push_back(entry);
    }
    return entries;
}

class RequestHandler {
public:
    RequestHandler(sqlite3* database, const pugi::xml_node& schema, std::string schemaName, std::string reason)
        : m_database(database), m_schema(schema), m_schemaName(std::move(schemaName)), m_reason(std::move(reason))
    {
    }

    std::string run()
    {
        if (m_schemaName == DASUtilsStrings::DialPlanOverviewSchema) return overview();
        if (m_schemaName == DASUtilsStrings::DialPlanEntriesSchema) return entries();
        throw RequestError("unknown schema \"" + m_schemaName + "\"");
    }

private:
    sqlite3* m_database;
    pugi::xml_node m_schema;
    std::string m_schemaName;
    std::string m_reason;

    std::string overview()
    {
        if (m_reason == DASUtilsStrings::ReadRequest) return readOverview();
        if (m_reason == DASUtilsStrings::DeleteRequest) {
            Statement(m_database, "DELETE FROM dial_plan_overview").step();
            return response(m_schemaName, "");
        }
        if (m_reason == DASUtilsStrings::WriteRequest || m_reason == DASUtilsStrings::UpdateRequest) {
            writeOverview(m_reason == DASUtilsStrings::UpdateRequest);
            return response(m_schemaName, "");
        }
        throw RequestError("unknown request kind \"" + m_reason + "\"");
    }

    std::string readOverview()
    {
        Statement select(m_database, "SELECT enabled, dial_plan_id, error, error_row FROM dial_plan_overview");
        std::string body;
        if (select.step()) {
            for (int i = 0; i < static_cast<int>(kOverviewFields.size()); ++i) {
                if (!select.isNull(i)) body += element(kOverviewFields[static_cast<std::size_t>(i)].first, select.text(i));
            }
        }
        return response(m_schemaName, body);
    }

    // An update keeps the stored fields the message does not carry; a write replaces all.
    void writeOverview(bool keepAbsentFields)
    {
        if (!keepAbsentFields) Statement(m_database, "DELETE FROM dial_plan_overview").step();
        Statement(m_database, "INSERT OR IGNORE INTO dial_plan_overview (singleton) VALUES (1)").step();
        for (const auto& [tag, column] : kOverviewFields) {
            std::string text;
            if (!fieldText(m_schema, tag, text)) continue;
            Statement update(m_database, std::string("UPDATE dial_plan_overview SET ") + column + " = ?1");
            update.bindText(1, text);
            update.step();
        }
    }

    std::string entries()
    {
        if (m_reason == DASUtilsStrings::ReadRequest) return readEntries();
        if (m_reason == DASUtilsStrings::DeleteRequest) {
            deleteEntries();
            return response(m_schemaName, "");
        }
        if (m_reason == DASUtilsStrings::WriteRequest || m_reason == DASUtilsStrings::UpdateRequest) {
            for (const auto& entry : entryElements(m_schema))
                writeEntry(entry, m_reason == DASUtilsStrings::UpdateRequest);
            return response(m_schemaName, "");
        }
        throw RequestError("unknown request kind \"" + m_reason + "\"");
    }

    std::string readEntries()
    {
        const auto fields = entryFields();
        std::string sql = "SELECT id";
        for (const auto& field : fields) sql += ", " + field.second;
        Statement select(m_database, sql + " FROM dial_plan_entries ORDER BY id");
        std::string body;
        while (select.step()) {
            std::string entry = element("Id", std::to_string(select.integer(0)));
            for (std::size_t i = 0; i < fields.size(); ++i) {
                const int column = static_cast<int>(i) + 1;
                if (!select.isNull(column)) entry += element(fields[i].first, select.text(column));
            }
            body += element("Entry", entry);
        }
        return response(m_schemaName, body);
    }

    // A delete naming entries by "Id" removes those; one naming none removes all.
    void deleteEntries()
    {
        const auto named = entryElements(m_schema);
        if (named.empty()) {
            Statement(m_database, "DELETE FROM dial_plan_entries").step();
            return;
        }
        for (const auto& entry : named) {
            Statement remove(m_database, "DELETE FROM dial_plan_entries WHERE id = ?1");
            remove.bindInteger(1, entryId(entry));
            remove.step();
        }
    }

    long long entryId(const pugi::xml_node& entry)
    {
        std::string text;
        if (fieldText(entry, "Id", text)) {
            char* end = nullptr;
            const long long id = std::strtoll(text.c_str(), &end, 10);
            if (!text.empty() && end != nullptr && *end == '\0' && id > 0) return id;
            throw RequestError("entry Id \"" + text + "\" is not a positive number");
        }
        Statement next(m_database, "SELECT COALESCE(MAX(id), 0) + 1 FROM dial_plan_entries");
        next.step();
        return next.integer(0);
    }

    void writeEntry(const pugi::xml_node& entry, bool keepAbsentFields)
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
            std::string text;
            if (!fieldText(entry, tag, text)) continue;
            Statement update(m_database, "UPDATE dial_plan_entries SET " + column + " = ?1 WHERE id = ?2");
            update.bindText(1, text);
            update.bindInteger(2, id);
            update.step();
        }
    }
};

}  // namespace

SqliteDataAccessService::SqliteDataAccessService(const std::string& path)
{
    // Never through a symbolic link: whoever can plant one must not choose the file written.
    if (sqlite3_open_v2(path.c_str(), &m_database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX | SQLITE_OPEN_NOFOLLOW,
                        nullptr) != SQLITE_OK) {
        const std::string reason = m_database != nullptr ? sqlite3_errmsg(m_database) : "out of memory";
        sqlite3_close(m_database);
        m_database = nullptr;
        throw StoreError("cannot open the store " + path + ": " + reason);
    }
    sqlite3_busy_timeout(m_database, 5000);
    try {
        if (path != ":memory:") {
            execute("PRAGMA journal_mode = WAL");
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
    // A failed rollback must not escape the destructor; closing rolls the batch back anyway.
    try {
        if (m_inBatch) execute("ROLLBACK");
    } catch (...) {
    }
    sqlite3_close(m_database);
}

void SqliteDataAccessService::init(Context&) {}
void SqliteDataAccessService::shutdown() {}

void SqliteDataAccessService::execute(const std::string& statement)
{
    char* message = nullptr;
    if (sqlite3_exec(m_database, statement.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        const std::string reason = message != nullptr ? message : "unknown error";
        sqlite3_free(message);
        throw StoreError(reason);
    }
}

void SqliteDataAccessService::beginBatch()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (m_inBatch) return;
    execute("BEGIN IMMEDIATE");
    m_inBatch = true;
}

void SqliteDataAccessService::commitBatch()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (!m_inBatch) return;
    m_inBatch = false;
    execute("COMMIT");
}

bool SqliteDataAccessService::hasDialPlan()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    Statement select(m_database, "SELECT COUNT(*) FROM dial_plan_overview");
    select.step();
    return select.integer(0) > 0;
}

std::string SqliteDataAccessService::processRequest(const std::string& request)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    // Inside a batch each request is a savepoint of the batch's transaction.
    const char* begin = m_inBatch ? "SAVEPOINT request" : "BEGIN IMMEDIATE";
    const char* commit = m_inBatch ? "RELEASE request" : "COMMIT";
    const char* rollback = m_inBatch ? "ROLLBACK TO request; RELEASE request" : "ROLLBACK";
    try {
        execute(begin);
    } catch (const StoreError& error) {
        return errorResponse("", std::string("store unavailable: ") + error.what());
    }
    std::string answer;
    bool failed = false;
    try {
        answer = handle(request);
    } catch (const FailedRequest& error) {
        failed = true;
        answer = errorResponse(error.schema, error.what());
    } catch (const std::exception& error) {
        failed = true;
        answer = errorResponse("", error.what());
    }
    try {
        execute(failed ? rollback : commit);
    } catch (const StoreError& error) {
        return errorResponse("", std::string("store unavailable: ") + error.what());
    }
    return answer;
}

std::string SqliteDataAccessService::handle(const std::string& request)
{
    pugi::xml_document document;
    const unsigned int options = (pugi::parse_default | pugi::parse_ws_pcdata_single) & ~pugi::parse_escapes;
    const pugi::xml_parse_result parsed = document.load_buffer(request.data(), request.size(), options);
    if (!parsed) throw RequestError(std::string("malformed request: ") + parsed.description());
    const pugi::xml_node schema = document.child("Schema");
    if (!schema) throw RequestError("the request has no Schema element");
    const std::string schemaName = schema.attribute("name").value();
    std::string reason;
    if (!fieldText(schema, "ReasonForMessage", reason)) throw RequestError("the request has no ReasonForMessage");
    try {
        return RequestHandler(m_database, schema, schemaName, reason).run();
    } catch (const RequestError& error) {
        throw FailedRequest(schemaName, error.what());
    }
}
