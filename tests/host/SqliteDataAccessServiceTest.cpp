// The SQLite data access service: it stores the dial plan messages as the service writes
// them and answers reads with the stored elements; requests are transactions.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "FaultyVfs.h"
#include "ScratchDirectory.h"
#include "SqliteDataAccessService.h"

namespace {

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

std::string message(const std::string& schema, const std::string& reason, const std::string& fields = "")
{
    return kHeader + "<Schema name=\"" + schema + "\"><ReasonForMessage>" + reason + "</ReasonForMessage>" + fields +
           "</Schema>";
}

std::string overviewUpdate(const std::string& id, const std::string& enabled)
{
    return message("DialPlanOverview", "UpdateRequest",
                   "<DialPlanEnabled>" + enabled + "</DialPlanEnabled><DialPlanId>" + id +
                       "</DialPlanId><DialPlanError>false</DialPlanError><DialPlanErrorRow>0</DialPlanErrorRow>");
}

std::string entry(int id, const std::string& digits, const std::string& more = "")
{
    return "<Entry><Id>" + std::to_string(id) + "</Id><DigitString>" + digits + "</DigitString>" + more + "</Entry>";
}

std::string entriesWrite(const std::string& entries) { return message("DialPlanEntries", "WriteRequest", entries); }

const std::string kReadOverview = message("DialPlanOverview", "ReadRequest");
const std::string kReadEntries = message("DialPlanEntries", "ReadRequest");
const std::string kDeleteEntries = message("DialPlanEntries", "DeleteRequest");

class HostStore : public ::testing::Test {
protected:
    ScratchDirectory scratch{"das-store"};
    const std::string directory = scratch.path();
    std::string path = directory + "/store.sqlite";
    std::unique_ptr<SqliteDataAccessService> store = std::make_unique<SqliteDataAccessService>(path);

    void reopen()
    {
        store.reset();
        store = std::make_unique<SqliteDataAccessService>(path);
    }

    ~HostStore() override
    {
        store.reset();
    }
};

}  // namespace

TEST_F(HostStore, EmptyStoreAnswersAReadWithoutAnyDialPlanId)
{
    const std::string response = store->processRequest(kReadOverview);
    EXPECT_EQ(response, kHeader + "<Schema name=\"DialPlanOverview\"><Result>OK</Result></Schema>");
    EXPECT_FALSE(store->hasDialPlan());
}

TEST_F(HostStore, OverviewUpdateIsReadBackInTheServicesOrder)
{
    store->processRequest(overviewUpdate("A1", "true"));
    EXPECT_EQ(store->processRequest(kReadOverview),
              kHeader + "<Schema name=\"DialPlanOverview\"><Result>OK</Result><DialPlanEnabled>true</DialPlanEnabled>"
                        "<DialPlanId>A1</DialPlanId><DialPlanError>false</DialPlanError>"
                        "<DialPlanErrorRow>0</DialPlanErrorRow></Schema>");
    EXPECT_TRUE(store->hasDialPlan());
}

TEST_F(HostStore, UpdateKeepsFieldsItDoesNotCarry)
{
    store->processRequest(overviewUpdate("A1", "true"));
    store->processRequest(message("DialPlanOverview", "UpdateRequest", "<DialPlanId>B2</DialPlanId>"));
    const std::string response = store->processRequest(kReadOverview);
    EXPECT_NE(response.find("<DialPlanId>B2</DialPlanId>"), std::string::npos);
    EXPECT_NE(response.find("<DialPlanEnabled>true</DialPlanEnabled>"), std::string::npos);
}

TEST_F(HostStore, EntriesAreReadBackInIdOrderWithTheirElements)
{
    store->processRequest(entriesWrite(entry(2, "110", "<Action>S</Action><Timer>0</Timer>") + entry(1, "112")));
    EXPECT_EQ(store->processRequest(kReadEntries),
              kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + entry(1, "112") +
                  entry(2, "110", "<Action>S</Action><Timer>0</Timer>") + "</Schema>");
}

TEST_F(HostStore, AllEntryFieldsSurviveInTheServicesOrder)
{
    const std::string fields =
        "<Action>S</Action><MinimumDigitLength>1</MinimumDigitLength><MaximumDigitLength>24</MaximumDigitLength>"
        "<Timer>5</Timer><Terminator>#</Terminator><SpecialNumber></SpecialNumber><Comment>External</Comment>"
        "<TerminatorSent>false</TerminatorSent>";
    store->processRequest(entriesWrite(entry(1, "0", fields)));
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "0", fields)), std::string::npos);
}

TEST_F(HostStore, DeleteRemovesEveryEntry)
{
    store->processRequest(entriesWrite(entry(1, "112") + entry(2, "110")));
    store->processRequest(kDeleteEntries);
    EXPECT_EQ(store->processRequest(kReadEntries),
              kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result></Schema>");
}

TEST_F(HostStore, DeleteNamingEntriesRemovesOnlyThose)
{
    store->processRequest(entriesWrite(entry(1, "112") + entry(2, "110")));
    store->processRequest(message("DialPlanEntries", "DeleteRequest", "<Entry><Id>1</Id></Entry>"));
    const std::string response = store->processRequest(kReadEntries);
    EXPECT_EQ(response.find("112"), std::string::npos);
    EXPECT_NE(response.find(entry(2, "110")), std::string::npos);
}

TEST_F(HostStore, EntryWrappedInAnEntryIsStoredOnce)
{
    store->processRequest(entriesWrite("<Entry>" + entry(3, "0") + "</Entry>"));
    EXPECT_EQ(store->processRequest(kReadEntries),
              kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + entry(3, "0") + "</Schema>");
}

TEST_F(HostStore, TextsAreKeptByteForByte)
{
    store->processRequest(entriesWrite(entry(1, "0", "<Comment>a&amp;b &x  </Comment>")));
    EXPECT_NE(store->processRequest(kReadEntries).find("<Comment>a&amp;b &x  </Comment>"), std::string::npos);
}

TEST_F(HostStore, MalformedRequestIsAnErrorAndChangesNothing)
{
    store->processRequest(entriesWrite(entry(1, "112")));
    const std::string response = store->processRequest(entriesWrite("<Entry><Id>2</Id><DigitString>110</Entry>"));
    EXPECT_NE(response.find("<Result>Error</Result>"), std::string::npos);
    EXPECT_NE(response.find("expected the closing tag </DigitString>"), std::string::npos);
    EXPECT_EQ(store->processRequest(kReadEntries),
              kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + entry(1, "112") + "</Schema>");
}

// The service writes texts verbatim: markup characters, quotes and any byte must come back
// exactly, or a plan written by management would be refused or changed by the store.
TEST_F(HostStore, MarkupQuotesAndAnyBytesComeBackExactly)
{
    const std::string texts[] = {"A<B", "a&b", "x]]>y", "<![CDATA[", "\"q\" 'q'", "M\xc3\xbcnchen", "\xff\xfe bad",
                                 std::string("nul\0byte", 8), "<Comment>", "&amp;"};
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        EXPECT_NE(store->processRequest(overviewUpdate(text, "true")).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>" + text + "</DialPlanId>"), std::string::npos);
        const std::string row = entry(1, "0", "<Comment>" + text + "</Comment>");
        EXPECT_NE(store->processRequest(entriesWrite(row)).find("<Result>OK</Result>"), std::string::npos);
        reopen();
        EXPECT_NE(store->processRequest(kReadEntries).find(row), std::string::npos);
    }
}

TEST_F(HostStore, TextHoldingItsOwnClosingTagIsRefusedAndChangesNothing)
{
    store->processRequest(overviewUpdate("A", "true"));
    const std::string response = store->processRequest(overviewUpdate("x</DialPlanId>y", "true"));
    EXPECT_NE(response.find("<Result>Error</Result>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
}

TEST_F(HostStore, TextThatWouldReadBackAsAnotherFieldIsRefused)
{
    const std::string response =
        store->processRequest(entriesWrite(entry(1, "1<Action>C</Action>", "<Action>S</Action>")));
    EXPECT_NE(response.find("<Error>cannot store the texts as written: the service would read Action back as "
                            "\"C\", not \"S\" (a text holds a tag of the storage messages)</Error>"),
              std::string::npos)
        << response;
    EXPECT_EQ(store->processRequest(kReadEntries).find("<Entry>"), std::string::npos);
}

TEST_F(HostStore, UnknownElementIsAnError)
{
    const std::string response = store->processRequest(entriesWrite(entry(1, "0", "<Colour>red</Colour>")));
    EXPECT_NE(response.find("<Error>unknown element <Colour> in an Entry</Error>"), std::string::npos);
}

TEST_F(HostStore, RefusedRequestLeavesNoHalfWrite)
{
    const std::string response = store->processRequest(entriesWrite(entry(1, "112") + "<Entry><Id>x</Id></Entry>"));
    EXPECT_NE(response.find("<Error>entry Id \"x\" is not a positive number</Error>"), std::string::npos);
    EXPECT_EQ(store->processRequest(kReadEntries).find("112"), std::string::npos);
}

TEST_F(HostStore, UnknownSchemaAndKindAreErrors)
{
    EXPECT_NE(store->processRequest(message("Contacts", "ReadRequest")).find("<Error>unknown schema \"Contacts\"</Error>"),
              std::string::npos);
    EXPECT_NE(store->processRequest(message("DialPlanEntries", "MergeRequest"))
                  .find("<Error>unknown request kind \"MergeRequest\"</Error>"),
              std::string::npos);
    EXPECT_NE(store->processRequest("").find("<Result>Error</Result>"), std::string::npos);
}

TEST_F(HostStore, PlanSurvivesReopening)
{
    store->processRequest(overviewUpdate("DE-1", "true"));
    store->processRequest(entriesWrite(entry(1, "112")));
    reopen();
    EXPECT_TRUE(store->hasDialPlan());
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "112")), std::string::npos);
}

TEST_F(HostStore, TransactionIsCommittedWhole)
{
    {
        StoreTransaction transaction(*store);
        store->processRequest(kDeleteEntries);
        store->processRequest(overviewUpdate("B", "true"));
        store->processRequest(entriesWrite(entry(1, "110")));
        const StoreOutcome outcome = transaction.commit();
        EXPECT_TRUE(outcome.committed);
        EXPECT_EQ(outcome.reason, "");
    }
    reopen();
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>B</DialPlanId>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "110")), std::string::npos);
}

TEST_F(HostStore, UnfinishedTransactionLeavesTheOldPlan)
{
    store->processRequest(overviewUpdate("A", "true"));
    store->processRequest(entriesWrite(entry(1, "112")));
    {
        StoreTransaction transaction(*store);
        store->processRequest(kDeleteEntries);
        store->processRequest(overviewUpdate("B", "true"));
    }  // never committed
    reopen();
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "112")), std::string::npos);
}

// One refused request dooms the whole change: the delete and the overview update that the
// store took before it are rolled back with it, and the commit says why.
TEST_F(HostStore, RefusedRequestRollsTheWholeTransactionBack)
{
    store->processRequest(overviewUpdate("A", "true"));
    store->processRequest(entriesWrite(entry(1, "112")));
    StoreOutcome outcome;
    {
        StoreTransaction transaction(*store);
        EXPECT_NE(store->processRequest(kDeleteEntries).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(store->processRequest(overviewUpdate("B", "true")).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(store->processRequest(entriesWrite(entry(1, "x</DigitString>y"))).find("<Result>Error</Result>"),
                  std::string::npos);
        const std::string later = store->processRequest(entriesWrite(entry(2, "110")));
        EXPECT_NE(later.find("<Error>the change was refused already: "), std::string::npos);
        outcome = transaction.commit();
    }
    EXPECT_FALSE(outcome.committed);
    EXPECT_EQ(outcome.reason.rfind("the store refused a request: malformed request", 0), 0u) << outcome.reason;
    reopen();
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "112")), std::string::npos);
}

TEST_F(HostStore, RolledBackTransactionLeavesTheStoreUsable)
{
    {
        StoreTransaction transaction(*store);
        store->processRequest(overviewUpdate("B", "true"));
        transaction.rollback();
    }
    EXPECT_FALSE(store->hasDialPlan());
    EXPECT_NE(store->processRequest(overviewUpdate("C", "true")).find("<Result>OK</Result>"), std::string::npos);
    EXPECT_TRUE(store->hasDialPlan());
}

TEST_F(HostStore, InMemoryStoreWorksAlike)
{
    SqliteDataAccessService memory(":memory:");
    memory.processRequest(overviewUpdate("M", "false"));
    EXPECT_TRUE(memory.hasDialPlan());
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
    store.processRequest(entriesWrite(entry(1, digits) + entry(2, digits + "0")));
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
            EXPECT_EQ(entries, kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" +
                                   entry(1, expectedDigits) + entry(2, expectedDigits + "0") + "</Schema>");
            // The old plan back for the next round.
            ASSERT_TRUE(writePlan(reopened, "OLD", "112").committed);
        }
        EXPECT_GT(refused, 0) << "no injected fault made a change fail";
        std::printf("%s: %d faulty changes, %d answered not committed\n",
                    fault == FaultyVfs::Fault::DiskFull ? "disk full" : "I/O error", nth - 2, refused);
    }
}
