#include "DialPlanStore.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "StoreMessage.h"
#include "TextQuote.h"

namespace {

const char* const kXmlHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

template <std::size_t N>
using Tags = std::array<std::string, N>;

// The overview fields in the order the service writes them (DialPlanRows::Overview's order).
const Tags<DialPlanRows::kOverviewFields>& overviewTags()
{
    static const Tags<DialPlanRows::kOverviewFields> tags = {"DialPlanEnabled", "DialPlanId", "DialPlanError",
                                                             "DialPlanErrorRow"};
    return tags;
}

// The entry fields after "Id" in the order the service writes them (DialPlanRows::Entry's
// order). Made on first use: the platform's tag names are objects of another source file.
const Tags<DialPlanRows::kEntryFields>& entryTags()
{
    static const Tags<DialPlanRows::kEntryFields> tags = {
        DASUtilsStrings::DigitStringTagName,        DASUtilsStrings::ActionTagName,
        DASUtilsStrings::MinimumDigitLengthTagName, DASUtilsStrings::MaximumDigitLengthTagName,
        DASUtilsStrings::TimerTagName,              DASUtilsStrings::TerminatorTagName,
        DASUtilsStrings::SpecialNumberTagName,      DASUtilsStrings::CommentTagName,
        DASUtilsStrings::TerminatorSentTagName};
    return tags;
}

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

template <std::size_t N>
bool isTag(const Tags<N>& tags, const std::string& name)
{
    return std::find(tags.begin(), tags.end(), name) != tags.end();
}

// Sets the fields `carried` holds, by their tags; the others stay as they are.
template <std::size_t N>
void setCarriedFields(std::array<std::optional<std::string>, N>& fields, const Tags<N>& tags,
                      const StoreEntry& carried)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (const std::string* text = carried.field(tags[i])) fields[i] = *text;
    }
}

template <std::size_t N>
std::string elements(const std::array<std::optional<std::string>, N>& fields, const Tags<N>& tags)
{
    std::string body;
    for (std::size_t i = 0; i < N; ++i) {
        if (fields[i]) body += element(tags[i], *fields[i]);
    }
    return body;
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

}  // namespace

// One request against the rows of a store whose lock the caller holds.
class DialPlanStore::RequestHandler {
public:
    RequestHandler(DialPlanStore& store, const StoreRequest& request) : m_store(store), m_request(request) {}

    // Entered only from DialPlanStore::handle, which holds the store's lock; the analysis
    // cannot tell that the handler's store is that one, so it starts checking one call below.
    std::string run() DAS_NO_THREAD_SAFETY_ANALYSIS
    {
        if (schema() == DASUtilsStrings::DialPlanOverviewSchema) return overview();
        if (schema() == DASUtilsStrings::DialPlanEntriesSchema) return entries();
        throw RequestError("unknown schema " + quoteText(schema()));
    }

private:
    DialPlanStore& m_store;
    const StoreRequest& m_request;

    const std::string& schema() const { return m_request.schema; }
    const std::string& reason() const { return m_request.reason; }
    bool isWrite() const { return reason() == DASUtilsStrings::WriteRequest || reason() == DASUtilsStrings::UpdateRequest; }
    // An update keeps the stored fields the message does not carry; a write replaces all.
    bool keepsAbsentFields() const { return reason() == DASUtilsStrings::UpdateRequest; }

    [[noreturn]] void unknownKind() const { throw RequestError("unknown request kind " + quoteText(reason())); }

    std::string overview() DAS_REQUIRES(m_store.m_mutex)
    {
        if (!m_request.entries.empty()) throw RequestError("an overview request holds no Entry elements");
        for (const auto& field : m_request.fields) {
            if (!isTag(overviewTags(), field.name)) throw RequestError("unknown element <" + field.name + "> in " + schema());
        }
        if (reason() == DASUtilsStrings::ReadRequest) return readOverview();
        if (reason() == DASUtilsStrings::DeleteRequest) {
            m_store.writeOverview(std::nullopt);
            return response(schema(), "");
        }
        if (!isWrite()) unknownKind();
        DialPlanRows::Overview row;
        if (keepsAbsentFields()) row = m_store.readOverview().value_or(DialPlanRows::Overview{});
        setCarriedFields(row, overviewTags(), StoreEntry{m_request.fields});
        m_store.writeOverview(row);
        checkOverviewReadsBack();
        return response(schema(), "");
    }

    std::string readOverview() DAS_REQUIRES(m_store.m_mutex)
    {
        const auto row = m_store.readOverview();
        return response(schema(), row ? elements(*row, overviewTags()) : std::string());
    }

    // The stored overview, read from this store's answer the way the service reads it.
    void checkOverviewReadsBack() DAS_REQUIRES(m_store.m_mutex)
    {
        const auto row = m_store.readOverview();
        if (!row) return;
        const std::string answer = response(schema(), elements(*row, overviewTags()));
        for (std::size_t i = 0; i < overviewTags().size(); ++i) {
            if (!(*row)[i]) continue;
            const auto readBack = firstElementText(answer, overviewTags()[i]);
            if (readBack != *(*row)[i]) refuseUnreadable(overviewTags()[i], *(*row)[i], readBack);
        }
    }

    std::string entries() DAS_REQUIRES(m_store.m_mutex)
    {
        if (!m_request.fields.empty())
            throw RequestError("unknown element <" + m_request.fields.front().name + "> in " + schema());
        for (const auto& entry : m_request.entries) checkEntryFields(entry);
        if (reason() == DASUtilsStrings::ReadRequest) return response(schema(), entryElements(m_store.readEntries()));
        if (reason() == DASUtilsStrings::DeleteRequest) {
            deleteEntries();
            return response(schema(), "");
        }
        if (!isWrite()) unknownKind();
        for (const auto& entry : m_request.entries) writeEntry(entry);
        checkEntriesReadBack();
        return response(schema(), "");
    }

    static void checkEntryFields(const StoreEntry& entry)
    {
        for (const auto& field : entry.fields) {
            if (field.name != "Id" && !isTag(entryTags(), field.name))
                throw RequestError("unknown element <" + field.name + "> in an Entry");
        }
    }

    static std::string entryElements(const std::vector<DialPlanRows::Entry>& rows)
    {
        std::string body;
        for (const auto& row : rows) body += element("Entry", element("Id", std::to_string(row.id)) + elements(row.fields, entryTags()));
        return body;
    }

    // Every stored entry, taken out of this store's answer one by one the way the service
    // takes them, must give back each of its texts.
    void checkEntriesReadBack() DAS_REQUIRES(m_store.m_mutex)
    {
        const auto rows = m_store.readEntries();
        std::string answer = response(schema(), entryElements(rows));
        for (const auto& row : rows) {
            const auto entry = takeFirstElement(answer, "Entry");
            for (std::size_t i = 0; i < entryTags().size(); ++i) {
                if (!row.fields[i]) continue;
                const auto readBack = entry ? firstElementText(*entry, entryTags()[i]) : std::nullopt;
                if (readBack != *row.fields[i]) refuseUnreadable(entryTags()[i], *row.fields[i], readBack);
            }
        }
        if (const auto extra = takeFirstElement(answer, "Entry")) refuseUnreadable("a further Entry", *extra, std::nullopt);
    }

    // A delete naming entries by "Id" removes those; one naming none removes all.
    void deleteEntries() DAS_REQUIRES(m_store.m_mutex)
    {
        if (m_request.entries.empty()) {
            m_store.removeAllEntries();
            return;
        }
        for (const auto& entry : m_request.entries) m_store.removeEntry(entryId(entry));
    }

    // The entry's "Id", or the id after the largest stored one when it names none.
    long long entryId(const StoreEntry& entry) DAS_REQUIRES(m_store.m_mutex)
    {
        if (const std::string* text = entry.field("Id")) {
            char* end = nullptr;
            errno = 0;
            const long long id = std::strtoll(text->c_str(), &end, 10);
            const bool whole = !text->empty() && end == text->c_str() + text->size() && errno == 0;
            if (whole && id > 0) return id;
            throw RequestError("entry Id " + quoteText(*text) + " is not a positive number");
        }
        const auto rows = m_store.readEntries();
        return rows.empty() ? 1 : rows.back().id + 1;
    }

    void writeEntry(const StoreEntry& carried) DAS_REQUIRES(m_store.m_mutex)
    {
        const long long id = entryId(carried);
        DialPlanRows::Entry row;
        if (keepsAbsentFields()) row = m_store.readEntry(id).value_or(DialPlanRows::Entry{});
        row.id = id;
        setCarriedFields(row.fields, entryTags(), carried);
        m_store.writeEntry(row);
    }
};

void DialPlanStore::init(Context&) {}
void DialPlanStore::shutdown() {}

bool DialPlanStore::hasDialPlan()
{
    HostRecursiveLock lock(m_mutex);
    return readOverview().has_value();
}

std::string DialPlanStore::processRequest(const std::string& request)
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
        beginChange();
    } catch (const StoreError& error) {
        return errorResponse("", std::string("store unavailable: ") + error.what());
    }
    std::string answer;
    try {
        answer = handle(request);
    } catch (const FailedRequest& error) {
        rollbackChange();
        return errorResponse(error.schema, error.what());
    }
    try {
        commitChange();
    } catch (const StoreError& error) {
        rollbackChange();
        return errorResponse("", std::string("the store could not commit: ") + error.what());
    }
    return answer;
}

std::string DialPlanStore::handle(const std::string& request)
{
    StoreRequest parsed;
    try {
        parsed = parseStoreRequest(request);
    } catch (const StoreMessageError& error) {
        throw FailedRequest("", error.what());
    }
    try {
        return RequestHandler(*this, parsed).run();
    } catch (const std::exception& error) {
        throw FailedRequest(parsed.schema, error.what());
    }
}

StoreTransaction::StoreTransaction(DialPlanStore& store) : m_store(store), m_hold(store.m_mutex)
{
    if (m_store.m_inTransaction) throw StoreError("a change of the store is already under way");
    m_store.beginChange();
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
        m_store.commitChange();
    } catch (const StoreError& error) {
        m_store.rollbackChange();
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
    m_store.rollbackChange();
}
