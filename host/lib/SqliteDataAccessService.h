#pragma once
// The phone's data access service on SQLite: keeps the dial plan overview and entries
// that the service writes as XML messages, and answers read requests with the stored
// elements. Each request is one transaction; a batch groups the requests of one
// management write into a single transaction, so a crash leaves the old plan or the new
// one, never a mixture. Texts are kept byte for byte as the messages carry them (the
// messages neither escape nor unescape their element texts). Thread-safe.

#include <mutex>
#include <stdexcept>
#include <string>

#include "DataAccessServiceIfc.h"
#include "Executable.h"

struct sqlite3;

class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class SqliteDataAccessService : public Executable, public DataAccessServiceIfc {
public:
    // Opens (creating when needed) the database at `path`; ":memory:" keeps it in memory.
    // Throws StoreError when the database cannot be opened or is not one of ours.
    explicit SqliteDataAccessService(const std::string& path);
    ~SqliteDataAccessService() override;
    SqliteDataAccessService(const SqliteDataAccessService&) = delete;
    SqliteDataAccessService& operator=(const SqliteDataAccessService&) = delete;

    void init(Context& context) override;
    void shutdown() override;

    std::string processRequest(const std::string& request) override;

    // Requests between these two calls are committed together (or not at all).
    void beginBatch();
    void commitBatch();

    // True when a dial plan overview is stored.
    bool hasDialPlan();

private:
    std::recursive_mutex m_mutex;
    sqlite3* m_database = nullptr;
    bool m_inBatch = false;

    void execute(const std::string& statement);
    std::string handle(const std::string& request);
};

// Holds a batch of the store open for its lifetime: the requests of one management write
// are committed together when it ends.
class StoreBatch {
public:
    explicit StoreBatch(SqliteDataAccessService& store) : m_store(store) { m_store.beginBatch(); }
    ~StoreBatch()
    {
        try {
            m_store.commitBatch();
        } catch (const StoreError&) {
            // The transaction is rolled back by SQLite; the old plan stays.
        }
    }
    StoreBatch(const StoreBatch&) = delete;
    StoreBatch& operator=(const StoreBatch&) = delete;

private:
    SqliteDataAccessService& m_store;
};
