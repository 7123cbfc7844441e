// The SQLite dial plan store's own part: the plan survives the store being opened again; the
// file is private and refused where it could be swapped; and a full disk or a failing device
// at any write or sync leaves exactly the old or the new plan. Its answers to the storage
// messages are checked with the memory store's in DialPlanStoreTest.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "FaultyVfs.h"
#include "ScratchDirectory.h"
#include "SqliteDataAccessService.h"
#include "StorageMessages.h"

TEST(HostStoreFile, PlanSurvivesReopening)
{
    ScratchDirectory scratch("das-store");
    const std::string path = scratch.path() + "/store.sqlite";
    {
        SqliteDataAccessService store(path);
        store.processRequest(overviewUpdate("DE-1", "true"));
        store.processRequest(entriesWrite(storedEntry(1, "112")));
    }
    SqliteDataAccessService reopened(path);
    EXPECT_TRUE(reopened.hasDialPlan());
    EXPECT_NE(reopened.processRequest(kReadEntries).find(storedEntry(1, "112")), std::string::npos);
}


TEST(HostStoreOpening, UnusableFileIsRefused)
{
    EXPECT_THROW(SqliteDataAccessService("/nonexistent/directory/store.sqlite"), StoreError);
}

TEST(HostStoreOpening, NewStoreAndItsLogFilesAreReadableByTheOwnerOnly)
{
    ScratchDirectory scratch("das-store");
    const std::string path = scratch.path() + "/store.sqlite";
    const mode_t previous = ::umask(022);
    {
        SqliteDataAccessService store(path);
        store.processRequest(overviewUpdate("A", "true"));
        for (const std::string& file : {path, path + "-wal", path + "-shm"}) {
            SCOPED_TRACE(file);
            struct stat status {};
            ASSERT_EQ(::stat(file.c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 0777, 0600u);
        }
    }
    ::umask(previous);
}

TEST(HostStoreOpening, StoreOpenToOthersIsMadePrivate)
{
    ScratchDirectory scratch("das-store");
    const std::string path = scratch.path() + "/store.sqlite";
    { SqliteDataAccessService store(path); }
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    SqliteDataAccessService store(path);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(HostStoreOpening, StoreInADirectoryOthersMayWriteIsRefused)
{
    ScratchDirectory scratch("das-store");
    ASSERT_EQ(::chmod(scratch.path().c_str(), 01777), 0);
    try {
        SqliteDataAccessService store(scratch.path() + "/store.sqlite");
        FAIL() << "the store was opened";
    } catch (const StoreError& error) {
        EXPECT_NE(std::string(error.what()).find("may be written by other users"), std::string::npos) << error.what();
    }
    struct stat status {};
    EXPECT_NE(::stat((scratch.path() + "/store.sqlite").c_str(), &status), 0) << "nothing is created there";
}

TEST(HostStoreOpening, StoreOfAnotherUserIsRefused)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file to another user";
    ScratchDirectory scratch("das-store");
    const std::string path = scratch.path() + "/store.sqlite";
    { SqliteDataAccessService store(path); }
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    EXPECT_THROW(SqliteDataAccessService{path}, StoreError);
}

TEST(HostStoreOpening, StoreReachedThroughASymbolicLinkIsRefused)
{
    ScratchDirectory scratch("das-store");
    const std::string target = scratch.path() + "/target.sqlite";
    const std::string link = scratch.path() + "/store.sqlite";
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    EXPECT_THROW(SqliteDataAccessService{link}, StoreError);
    struct stat status {};
    EXPECT_NE(::stat(target.c_str(), &status), 0) << "nothing is created through the link";
}

namespace {

// A whole dial plan change as the service makes it: delete, overview update, entries write.
StoreOutcome writePlan(SqliteDataAccessService& store, const std::string& id, const std::string& digits)
{
    StoreTransaction transaction(store);
    store.processRequest(kDeleteEntries);
    store.processRequest(overviewUpdate(id, "true"));
    store.processRequest(entriesWrite(storedEntry(1, digits) + storedEntry(2, digits + "0")));
    return transaction.commit();
}

}  // namespace

// A full disk or a failing device at any write or sync of a change: the answer says whether
// it was committed, and the store opened again holds exactly that plan, old or new. The sweep
// fails the 1st, 2nd, ... write or sync until a change runs through without reaching the fault.
TEST(HostStoreFaults, EveryFailingWriteOrSyncLeavesExactlyTheOldOrTheNewPlan)
{
    FaultyVfs vfs;
    ScratchDirectory scratch("das-store");
    const std::string path = scratch.path() + "/store.sqlite";
    {
        SqliteDataAccessService store(path);
        ASSERT_TRUE(writePlan(store, "OLD", "112").committed);
    }
    for (const auto fault : {FaultyVfs::Fault::DiskFull, FaultyVfs::Fault::IoError}) {
        int refused = 0;
        int nth = 1;
        for (bool reachedTheFault = true; reachedTheFault; ++nth) {
            ASSERT_LT(nth, 100) << "a plan change never ran through";
            SCOPED_TRACE("fault at operation " + std::to_string(nth) +
                         (fault == FaultyVfs::Fault::DiskFull ? " (disk full)" : " (I/O error)"));
            StoreOutcome outcome;
            {
                SqliteDataAccessService store(path, FaultyVfs::name());
                vfs.arm(nth, fault);
                outcome = writePlan(store, "NEW", "110");
                reachedTheFault = vfs.fired();
                vfs.disarm();
            }
            if (!reachedTheFault) {
                EXPECT_TRUE(outcome.committed) << outcome.reason;
            }
            if (!outcome.committed) {
                ++refused;
                EXPECT_NE(outcome.reason, "");
            }
            SqliteDataAccessService reopened(path);
            const std::string overview = reopened.processRequest(kReadOverview);
            const std::string entries = reopened.processRequest(kReadEntries);
            const std::string expectedId = outcome.committed ? "NEW" : "OLD";
            const std::string expectedDigits = outcome.committed ? "110" : "112";
            EXPECT_NE(overview.find("<DialPlanId>" + expectedId + "</DialPlanId>"), std::string::npos) << overview;
            EXPECT_EQ(entries, kStorageDeclaration + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" +
                                   storedEntry(1, expectedDigits) + storedEntry(2, expectedDigits + "0") + "</Schema>");
            // The old plan back for the next round.
            ASSERT_TRUE(writePlan(reopened, "OLD", "112").committed);
        }
        EXPECT_GT(refused, 0) << "no injected fault made a change fail";
        std::printf("%s: %d faulty changes, %d answered not committed\n",
                    fault == FaultyVfs::Fault::DiskFull ? "disk full" : "I/O error", nth - 2, refused);
    }
}
