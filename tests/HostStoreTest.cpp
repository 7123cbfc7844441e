// The SQLite data access service: it stores the dial plan messages as the service writes
// them and answers reads with the stored elements; requests are transactions.

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

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
    const std::string response = store->processRequest(entriesWrite(entry(2, "1<0")));
    EXPECT_NE(response.find("<Result>Error</Result>"), std::string::npos);
    EXPECT_EQ(store->processRequest(kReadEntries),
              kHeader + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + entry(1, "112") + "</Schema>");
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

TEST_F(HostStore, BatchIsCommittedWhole)
{
    {
        StoreBatch batch(*store);
        store->processRequest(kDeleteEntries);
        store->processRequest(overviewUpdate("B", "true"));
        store->processRequest(entriesWrite(entry(1, "110")));
    }
    reopen();
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>B</DialPlanId>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "110")), std::string::npos);
}

TEST_F(HostStore, UnfinishedBatchLeavesTheOldPlan)
{
    store->processRequest(overviewUpdate("A", "true"));
    store->processRequest(entriesWrite(entry(1, "112")));
    store->beginBatch();
    store->processRequest(kDeleteEntries);
    store->processRequest(overviewUpdate("B", "true"));
    reopen();  // the batch never committed
    EXPECT_NE(store->processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
    EXPECT_NE(store->processRequest(kReadEntries).find(entry(1, "112")), std::string::npos);
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
