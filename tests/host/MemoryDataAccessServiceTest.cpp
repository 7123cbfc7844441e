// The memory dial plan store stands in for the SQLite one where no database is at hand (the
// browser build, the simulator): it must answer every storage message exactly as SQLite does,
// refusals and their reasons included.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MemoryDataAccessService.h"
#include "SqliteDataAccessService.h"
#include "StorageMessages.h"

TEST(MemoryStore, AnswersASessionOfRequestsByteForByteAsSqliteDoes)
{
    const std::vector<std::string> session = {
        kReadOverview,
        kReadEntries,
        overviewUpdate("DE-1", "true"),
        storeRequest("DialPlanOverview", "UpdateRequest", "<DialPlanId>A<B &amp; \xff</DialPlanId>"),
        storeRequest("DialPlanOverview", "WriteRequest", "<DialPlanEnabled>false</DialPlanEnabled>"),
        kReadOverview,
        entriesWrite(storedEntry(3, "0", "<Action>S</Action><Timer>5</Timer>") + storedEntry(1, "112")),
        entriesWrite("<Entry><DigitString>2xx</DigitString></Entry>"),
        storeRequest("DialPlanEntries", "UpdateRequest", storedEntry(3, "00")),
        storeRequest("DialPlanEntries", "DeleteRequest", "<Entry><Id>1</Id></Entry>"),
        entriesWrite(storedEntry(5, "1<Action>C</Action>", "<Action>S</Action>")),
        entriesWrite(storedEntry(6, "9") + "<Entry><Id>-2</Id></Entry>"),
        entriesWrite(storedEntry(7, "0", "<Colour>red</Colour>")),
        storeRequest("Contacts", "ReadRequest"),
        storeRequest("DialPlanEntries", "MergeRequest"),
        "not a message",
        kReadEntries,
        storeRequest("DialPlanOverview", "DeleteRequest"),
        kDeleteEntries,
        kReadOverview,
        kReadEntries,
    };
    SqliteDataAccessService sqlite(":memory:");
    MemoryDataAccessService memory;
    for (const std::string& request : session) {
        SCOPED_TRACE(request);
        const std::string expected = sqlite.processRequest(request);
        EXPECT_EQ(memory.processRequest(request), expected);
        EXPECT_EQ(memory.hasDialPlan(), sqlite.hasDialPlan());
    }
}

TEST(MemoryStore, ARolledBackChangeLeavesTheRowsAsTheyWere)
{
    MemoryDataAccessService store;
    store.processRequest(overviewUpdate("OLD", "true"));
    store.processRequest(entriesWrite(storedEntry(1, "112") + storedEntry(2, "110")));
    const std::string overview = store.processRequest(kReadOverview);
    const std::string entries = store.processRequest(kReadEntries);
    {
        StoreTransaction change(store);
        store.processRequest(kDeleteEntries);
        store.processRequest(storeRequest("DialPlanOverview", "DeleteRequest"));
        store.processRequest(entriesWrite(storedEntry(9, "0")));
        EXPECT_FALSE(store.hasDialPlan()) << "inside the change its own requests are seen";
        change.rollback();
    }
    EXPECT_EQ(store.processRequest(kReadOverview), overview);
    EXPECT_EQ(store.processRequest(kReadEntries), entries);
}
