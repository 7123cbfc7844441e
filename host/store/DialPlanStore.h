#pragma once
// The phone's data access service for the dial plan, whatever keeps the rows: it reads the
// storage messages the service writes, keeps the dial plan overview and entries, and answers
// reads with the stored elements. Texts are kept byte for byte as the messages carry them
// (the messages neither escape nor unescape their texts); a write whose texts the service
// could not read back as written is refused. A request on its own is one change; a
// StoreTransaction groups the requests of one change (a dial plan write: delete, overview,
// entries) into a single all-or-nothing change. The rows themselves live in a subclass: on
// SQLite for the daemon and the simulator (SqliteDataAccessService), in memory where no
// database is at hand (MemoryDataAccessService, the browser build). Thread-safe.

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "DataAccessServiceIfc.h"
#include "Executable.h"
#include "HostMutex.h"
#include "ThreadSafety.h"

struct StoreRequest;

// The store cannot be opened or used at all.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// How a change of the store ended: committed durably, or rolled back whole with the reason.
struct [[nodiscard]] StoreOutcome {
    bool committed = false;
    std::string reason;  // empty when committed
};

// The two tables of a stored dial plan: at most one overview row, and the entries by id.
// A field is a text kept byte for byte, or absent (never written).
struct DialPlanRows {
    // "DialPlanEnabled", "DialPlanId", "DialPlanError", "DialPlanErrorRow", in that order.
    static constexpr std::size_t kOverviewFields = 4;
    // "DigitString" to "TerminatorSent", in the order the service writes them ("Id" apart).
    static constexpr std::size_t kEntryFields = 9;
    using Overview = std::array<std::optional<std::string>, kOverviewFields>;
    struct Entry {
        long long id = 0;
        std::array<std::optional<std::string>, kEntryFields> fields;
    };
};

class DialPlanStore : public Executable, public DataAccessServiceIfc {
public:
    ~DialPlanStore() override = default;
    DialPlanStore(const DialPlanStore&) = delete;
    DialPlanStore& operator=(const DialPlanStore&) = delete;

    void init(Context& context) override;
    void shutdown() override;

    // Handles one storage message and returns the answer: the stored elements for a read,
    // "<Result>OK</Result>" or "<Result>Error</Result><Error>REASON</Error>" otherwise. Outside
    // a transaction the request is committed durably before the answer or not at all. Inside
    // one it joins the transaction; after a refused request the rest of the transaction is
    // refused at once. Any thread; waits while another thread's transaction is open.
    std::string processRequest(const std::string& request) final;

    // True when a dial plan overview is stored.
    [[nodiscard]] bool hasDialPlan();

protected:
    DialPlanStore() = default;

    // Held for one request, or by a StoreTransaction for the whole change; recursive, since a
    // request made inside a transaction takes it again on the same thread. It guards the rows
    // of the subclass too.
    HostRecursiveMutex m_mutex;

    // The rows and their changes, as the subclass keeps them. Every one is called with
    // m_mutex held and throws StoreError when the rows cannot be read or written.
    virtual std::optional<DialPlanRows::Overview> readOverview() DAS_REQUIRES(m_mutex) = 0;
    // Replaces the overview row; nothing (std::nullopt) removes it.
    virtual void writeOverview(const std::optional<DialPlanRows::Overview>& overview) DAS_REQUIRES(m_mutex) = 0;
    // Every entry, in ascending id order.
    virtual std::vector<DialPlanRows::Entry> readEntries() DAS_REQUIRES(m_mutex) = 0;
    virtual std::optional<DialPlanRows::Entry> readEntry(long long id) DAS_REQUIRES(m_mutex) = 0;
    // Inserts the entry, or replaces the one with its id.
    virtual void writeEntry(const DialPlanRows::Entry& entry) DAS_REQUIRES(m_mutex) = 0;
    virtual void removeEntry(long long id) DAS_REQUIRES(m_mutex) = 0;
    virtual void removeAllEntries() DAS_REQUIRES(m_mutex) = 0;

    // One change of the rows: begin it, make it durable, or undo it. begin and commit throw
    // StoreError; a commit that throws may leave the change open, and rollback then ends it.
    // rollback never throws and does nothing when no change is open.
    virtual void beginChange() DAS_REQUIRES(m_mutex) = 0;
    virtual void commitChange() DAS_REQUIRES(m_mutex) = 0;
    virtual void rollbackChange() noexcept DAS_REQUIRES(m_mutex) = 0;

private:
    friend class StoreTransaction;
    // Reads one request and makes its change of the rows (DialPlanStore.cpp).
    class RequestHandler;

    bool m_inTransaction DAS_GUARDED_BY(m_mutex) = false;
    // The first request refused inside the open transaction, which dooms it.
    std::optional<std::string> m_transactionFailure DAS_GUARDED_BY(m_mutex);

    std::string handle(const std::string& request) DAS_REQUIRES(m_mutex);
};

// One all-or-nothing change of the store: every request made from this thread while it is
// open joins one change, and the store is held for this thread until it ends (other
// threads' requests wait). Take it before the service lock, never while holding it: the
// service reads the store under its lock.
class StoreTransaction {
public:
    // Begins the change; throws StoreError when the store cannot begin one.
    explicit StoreTransaction(DialPlanStore& store);
    // Rolls the change back unless it was committed.
    ~StoreTransaction();
    StoreTransaction(const StoreTransaction&) = delete;
    StoreTransaction& operator=(const StoreTransaction&) = delete;

    // Commits every request of the change durably and answers committed; or, when a request
    // was refused or the commit fails (a full disk, an I/O error), rolls the whole change back
    // and answers the reason. Once only.
    // Both run while this object holds the store (m_hold), which the thread safety analysis
    // cannot follow from the constructor to a later call: not analysed.
    StoreOutcome commit() DAS_NO_THREAD_SAFETY_ANALYSIS;
    // Undoes the whole change.
    void rollback() DAS_NO_THREAD_SAFETY_ANALYSIS;

private:
    DialPlanStore& m_store;
    HostRecursiveLock m_hold;
    bool m_open = true;
};
