#pragma once
// The phone's data access service on SQLite: keeps the dial plan overview and entries that
// the service writes as storage messages, and answers read requests with the stored elements.
// Texts are kept byte for byte as the messages carry them (the messages neither escape nor
// unescape their texts); a write whose texts the service could not read back as written is
// refused. A request on its own is one transaction; a StoreTransaction groups the requests of
// one change (a dial plan write: delete, overview, entries) into a single all-or-nothing
// transaction. Thread-safe.

#include <optional>
#include <stdexcept>
#include <string>

#include "DataAccessServiceIfc.h"
#include "Executable.h"
#include "HostMutex.h"
#include "ThreadSafety.h"

struct sqlite3;

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

class SqliteDataAccessService : public Executable, public DataAccessServiceIfc {
public:
    // Opens (creating when needed) the database at `path`; ":memory:" keeps it in memory.
    // A new file is made readable by its owner only (0600), and so are its -wal and -shm
    // files; an existing one open to others is narrowed to 0600. `vfs` names the SQLite file
    // system layer to use (empty: SQLite's default); tests pass one that injects faults.
    // Throws StoreError when the database cannot be opened, is not one of ours, is reached
    // through a symbolic link, belongs to another user or lies in a directory that other
    // users may write to.
    explicit SqliteDataAccessService(const std::string& path, const std::string& vfs = std::string());
    ~SqliteDataAccessService() override;
    SqliteDataAccessService(const SqliteDataAccessService&) = delete;
    SqliteDataAccessService& operator=(const SqliteDataAccessService&) = delete;

    void init(Context& context) override;
    void shutdown() override;

    // Handles one storage message and returns the answer: the stored elements for a read,
    // "<Result>OK</Result>" or "<Result>Error</Result><Error>REASON</Error>" otherwise. Outside
    // a transaction the request is committed durably before the answer or not at all. Inside
    // one it joins the transaction; after a refused request the rest of the transaction is
    // refused at once. Any thread; waits while another thread's transaction is open.
    std::string processRequest(const std::string& request) override;

    // True when a dial plan overview is stored.
    [[nodiscard]] bool hasDialPlan();

private:
    friend class StoreTransaction;

    // Held for one request, or by a StoreTransaction for the whole change; recursive, since a
    // request made inside a transaction takes it again on the same thread.
    HostRecursiveMutex m_mutex;
    sqlite3* m_database DAS_GUARDED_BY(m_mutex) = nullptr;
    bool m_inTransaction DAS_GUARDED_BY(m_mutex) = false;
    // The first request refused inside the open transaction, which dooms it.
    std::optional<std::string> m_transactionFailure DAS_GUARDED_BY(m_mutex);

    void execute(const std::string& statement) DAS_REQUIRES(m_mutex);
    void rollbackQuietly() DAS_REQUIRES(m_mutex);
    std::string handle(const std::string& request) DAS_REQUIRES(m_mutex);
};

// One all-or-nothing change of the store: every request made from this thread while it is
// open joins one SQLite transaction, and the store is held for this thread until it ends
// (other threads' requests wait). Take it before the service lock, never while holding it:
// the service reads the store under its lock.
class StoreTransaction {
public:
    // Begins the transaction; throws StoreError when the store cannot begin one.
    explicit StoreTransaction(SqliteDataAccessService& store);
    // Rolls the change back unless it was committed.
    ~StoreTransaction();
    StoreTransaction(const StoreTransaction&) = delete;
    StoreTransaction& operator=(const StoreTransaction&) = delete;

    // Commits every request of the change durably (the write-ahead log synced to disk) and
    // answers committed; or, when a request was refused or the commit fails (a full disk, an
    // I/O error), rolls the whole change back and answers the reason. Once only.
    // Both run while this object holds the store (m_hold), which the thread safety analysis
    // cannot follow from the constructor to a later call: not analysed.
    StoreOutcome commit() DAS_NO_THREAD_SAFETY_ANALYSIS;
    // Undoes the whole change.
    void rollback() DAS_NO_THREAD_SAFETY_ANALYSIS;

private:
    SqliteDataAccessService& m_store;
    HostRecursiveLock m_hold;
    bool m_open = true;
};
