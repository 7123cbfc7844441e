#pragma once
// The dial plan store on SQLite, for the daemon (a file that survives restarts) and the
// simulator (":memory:"): the rows of DialPlanStore in two tables, each change one SQLite
// transaction, committed with the write-ahead log synced to disk. Thread-safe.

#include <string>

#include "DialPlanStore.h"

struct sqlite3;

class SqliteDataAccessService : public DialPlanStore {
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

private:
    sqlite3* m_database DAS_GUARDED_BY(m_mutex) = nullptr;

    std::optional<DialPlanRows::Overview> readOverview() override DAS_REQUIRES(m_mutex);
    void writeOverview(const std::optional<DialPlanRows::Overview>& overview) override DAS_REQUIRES(m_mutex);
    std::vector<DialPlanRows::Entry> readEntries() override DAS_REQUIRES(m_mutex);
    std::optional<DialPlanRows::Entry> readEntry(long long id) override DAS_REQUIRES(m_mutex);
    void writeEntry(const DialPlanRows::Entry& entry) override DAS_REQUIRES(m_mutex);
    void removeEntry(long long id) override DAS_REQUIRES(m_mutex);
    void removeAllEntries() override DAS_REQUIRES(m_mutex);
    void beginChange() override DAS_REQUIRES(m_mutex);
    void commitChange() override DAS_REQUIRES(m_mutex);
    void rollbackChange() noexcept override DAS_REQUIRES(m_mutex);

    void execute(const std::string& statement) DAS_REQUIRES(m_mutex);
};
