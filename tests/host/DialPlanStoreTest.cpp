// The dial plan store's answers to the storage messages, the same whichever keeps the rows:
// SQLite on a file (reopened where a test asks what a restart would find) and memory (where
// the same object keeps the rows). A request is one change; a transaction groups several.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "MemoryDataAccessService.h"
#include "ScratchDirectory.h"
#include "SqliteDataAccessService.h"
#include "StorageMessages.h"

namespace {

// SQLite on a file in a fresh directory; reopen() opens the file again, as a restart would.
class SqliteOnFile {
public:
    DialPlanStore& store() { return *m_store; }
    void reopen()
    {
        m_store.reset();
        m_store = std::make_unique<SqliteDataAccessService>(m_path);
    }

private:
    ScratchDirectory m_scratch{"das-store"};
    std::string m_path = m_scratch.path() + "/store.sqlite";
    std::unique_ptr<SqliteDataAccessService> m_store = std::make_unique<SqliteDataAccessService>(m_path);
};

// The memory store: there is nothing to reopen, the rows stay in the object.
class InMemory {
public:
    DialPlanStore& store() { return m_store; }
    void reopen() {}

private:
    MemoryDataAccessService m_store;
};

template <class Kind>
class HostStore : public ::testing::Test {
protected:
    DialPlanStore& store() { return m_kind.store(); }
    void reopen() { m_kind.reopen(); }

private:
    Kind m_kind;
};

using StoreKinds = ::testing::Types<SqliteOnFile, InMemory>;
TYPED_TEST_SUITE(HostStore, StoreKinds);

}  // namespace

TYPED_TEST(HostStore, EmptyStoreAnswersAReadWithoutAnyDialPlanId)
{
    const std::string response = this->store().processRequest(kReadOverview);
    EXPECT_EQ(response, kStorageDeclaration + "<Schema name=\"DialPlanOverview\"><Result>OK</Result></Schema>");
    EXPECT_FALSE(this->store().hasDialPlan());
}

TYPED_TEST(HostStore, OverviewUpdateIsReadBackInTheServicesOrder)
{
    this->store().processRequest(overviewUpdate("A1", "true"));
    EXPECT_EQ(this->store().processRequest(kReadOverview),
              kStorageDeclaration + "<Schema name=\"DialPlanOverview\"><Result>OK</Result><DialPlanEnabled>true</DialPlanEnabled>"
                        "<DialPlanId>A1</DialPlanId><DialPlanError>false</DialPlanError>"
                        "<DialPlanErrorRow>0</DialPlanErrorRow></Schema>");
    EXPECT_TRUE(this->store().hasDialPlan());
}

TYPED_TEST(HostStore, UpdateKeepsFieldsItDoesNotCarry)
{
    this->store().processRequest(overviewUpdate("A1", "true"));
    this->store().processRequest(storeRequest("DialPlanOverview", "UpdateRequest", "<DialPlanId>B2</DialPlanId>"));
    const std::string response = this->store().processRequest(kReadOverview);
    EXPECT_NE(response.find("<DialPlanId>B2</DialPlanId>"), std::string::npos);
    EXPECT_NE(response.find("<DialPlanEnabled>true</DialPlanEnabled>"), std::string::npos);
}

TYPED_TEST(HostStore, EntriesAreReadBackInIdOrderWithTheirElements)
{
    this->store().processRequest(entriesWrite(storedEntry(2, "110", "<Action>S</Action><Timer>0</Timer>") + storedEntry(1, "112")));
    EXPECT_EQ(this->store().processRequest(kReadEntries),
              kStorageDeclaration + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + storedEntry(1, "112") +
                  storedEntry(2, "110", "<Action>S</Action><Timer>0</Timer>") + "</Schema>");
}

TYPED_TEST(HostStore, AllEntryFieldsSurviveInTheServicesOrder)
{
    const std::string fields =
        "<Action>S</Action><MinimumDigitLength>1</MinimumDigitLength><MaximumDigitLength>24</MaximumDigitLength>"
        "<Timer>5</Timer><Terminator>#</Terminator><SpecialNumber></SpecialNumber><Comment>External</Comment>"
        "<TerminatorSent>false</TerminatorSent>";
    this->store().processRequest(entriesWrite(storedEntry(1, "0", fields)));
    EXPECT_NE(this->store().processRequest(kReadEntries).find(storedEntry(1, "0", fields)), std::string::npos);
}

TYPED_TEST(HostStore, DeleteRemovesEveryEntry)
{
    this->store().processRequest(entriesWrite(storedEntry(1, "112") + storedEntry(2, "110")));
    this->store().processRequest(kDeleteEntries);
    EXPECT_EQ(this->store().processRequest(kReadEntries),
              kStorageDeclaration + "<Schema name=\"DialPlanEntries\"><Result>OK</Result></Schema>");
}

TYPED_TEST(HostStore, DeleteNamingEntriesRemovesOnlyThose)
{
    this->store().processRequest(entriesWrite(storedEntry(1, "112") + storedEntry(2, "110")));
    this->store().processRequest(storeRequest("DialPlanEntries", "DeleteRequest", "<Entry><Id>1</Id></Entry>"));
    const std::string response = this->store().processRequest(kReadEntries);
    EXPECT_EQ(response.find("112"), std::string::npos);
    EXPECT_NE(response.find(storedEntry(2, "110")), std::string::npos);
}

TYPED_TEST(HostStore, EntryWrappedInAnEntryIsStoredOnce)
{
    this->store().processRequest(entriesWrite("<Entry>" + storedEntry(3, "0") + "</Entry>"));
    EXPECT_EQ(this->store().processRequest(kReadEntries),
              kStorageDeclaration + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + storedEntry(3, "0") + "</Schema>");
}

TYPED_TEST(HostStore, TextsAreKeptByteForByte)
{
    this->store().processRequest(entriesWrite(storedEntry(1, "0", "<Comment>a&amp;b &x  </Comment>")));
    EXPECT_NE(this->store().processRequest(kReadEntries).find("<Comment>a&amp;b &x  </Comment>"), std::string::npos);
}

TYPED_TEST(HostStore, MalformedRequestIsAnErrorAndChangesNothing)
{
    this->store().processRequest(entriesWrite(storedEntry(1, "112")));
    const std::string response = this->store().processRequest(entriesWrite("<Entry><Id>2</Id><DigitString>110</Entry>"));
    EXPECT_NE(response.find("<Result>Error</Result>"), std::string::npos);
    EXPECT_NE(response.find("expected the closing tag </DigitString>"), std::string::npos);
    EXPECT_EQ(this->store().processRequest(kReadEntries),
              kStorageDeclaration + "<Schema name=\"DialPlanEntries\"><Result>OK</Result>" + storedEntry(1, "112") + "</Schema>");
}

// The service writes texts verbatim: markup characters, quotes and any byte must come back
// exactly, or a plan written by management would be refused or changed by the store.
TYPED_TEST(HostStore, MarkupQuotesAndAnyBytesComeBackExactly)
{
    const std::string texts[] = {"A<B", "a&b", "x]]>y", "<![CDATA[", "\"q\" 'q'", "M\xc3\xbcnchen", "\xff\xfe bad",
                                 std::string("nul\0byte", 8), "<Comment>", "&amp;"};
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        EXPECT_NE(this->store().processRequest(overviewUpdate(text, "true")).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(this->store().processRequest(kReadOverview).find("<DialPlanId>" + text + "</DialPlanId>"), std::string::npos);
        const std::string row = storedEntry(1, "0", "<Comment>" + text + "</Comment>");
        EXPECT_NE(this->store().processRequest(entriesWrite(row)).find("<Result>OK</Result>"), std::string::npos);
        this->reopen();
        EXPECT_NE(this->store().processRequest(kReadEntries).find(row), std::string::npos);
    }
}

TYPED_TEST(HostStore, TextHoldingItsOwnClosingTagIsRefusedAndChangesNothing)
{
    this->store().processRequest(overviewUpdate("A", "true"));
    const std::string response = this->store().processRequest(overviewUpdate("x</DialPlanId>y", "true"));
    EXPECT_NE(response.find("<Result>Error</Result>"), std::string::npos);
    EXPECT_NE(this->store().processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
}

TYPED_TEST(HostStore, TextThatWouldReadBackAsAnotherFieldIsRefused)
{
    const std::string response =
        this->store().processRequest(entriesWrite(storedEntry(1, "1<Action>C</Action>", "<Action>S</Action>")));
    EXPECT_NE(response.find("<Error>cannot store the texts as written: the service would read Action back as "
                            "\"C\", not \"S\" (a text holds a tag of the storage messages)</Error>"),
              std::string::npos)
        << response;
    EXPECT_EQ(this->store().processRequest(kReadEntries).find("<Entry>"), std::string::npos);
}

TYPED_TEST(HostStore, UnknownElementIsAnError)
{
    const std::string response = this->store().processRequest(entriesWrite(storedEntry(1, "0", "<Colour>red</Colour>")));
    EXPECT_NE(response.find("<Error>unknown element <Colour> in an Entry</Error>"), std::string::npos);
}

TYPED_TEST(HostStore, RefusedRequestLeavesNoHalfWrite)
{
    const std::string response = this->store().processRequest(entriesWrite(storedEntry(1, "112") + "<Entry><Id>x</Id></Entry>"));
    EXPECT_NE(response.find("<Error>entry Id \"x\" is not a positive number</Error>"), std::string::npos);
    EXPECT_EQ(this->store().processRequest(kReadEntries).find("112"), std::string::npos);
}

TYPED_TEST(HostStore, UnknownSchemaAndKindAreErrors)
{
    EXPECT_NE(this->store().processRequest(storeRequest("Contacts", "ReadRequest")).find("<Error>unknown schema \"Contacts\"</Error>"),
              std::string::npos);
    EXPECT_NE(this->store().processRequest(storeRequest("DialPlanEntries", "MergeRequest"))
                  .find("<Error>unknown request kind \"MergeRequest\"</Error>"),
              std::string::npos);
    EXPECT_NE(this->store().processRequest("").find("<Result>Error</Result>"), std::string::npos);
}


TYPED_TEST(HostStore, TransactionIsCommittedWhole)
{
    {
        StoreTransaction transaction(this->store());
        this->store().processRequest(kDeleteEntries);
        this->store().processRequest(overviewUpdate("B", "true"));
        this->store().processRequest(entriesWrite(storedEntry(1, "110")));
        const StoreOutcome outcome = transaction.commit();
        EXPECT_TRUE(outcome.committed);
        EXPECT_EQ(outcome.reason, "");
    }
    this->reopen();
    EXPECT_NE(this->store().processRequest(kReadOverview).find("<DialPlanId>B</DialPlanId>"), std::string::npos);
    EXPECT_NE(this->store().processRequest(kReadEntries).find(storedEntry(1, "110")), std::string::npos);
}

TYPED_TEST(HostStore, UnfinishedTransactionLeavesTheOldPlan)
{
    this->store().processRequest(overviewUpdate("A", "true"));
    this->store().processRequest(entriesWrite(storedEntry(1, "112")));
    {
        StoreTransaction transaction(this->store());
        this->store().processRequest(kDeleteEntries);
        this->store().processRequest(overviewUpdate("B", "true"));
    }  // never committed
    this->reopen();
    EXPECT_NE(this->store().processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
    EXPECT_NE(this->store().processRequest(kReadEntries).find(storedEntry(1, "112")), std::string::npos);
}

// One refused request dooms the whole change: the delete and the overview update that the
// store took before it are rolled back with it, and the commit says why.
TYPED_TEST(HostStore, RefusedRequestRollsTheWholeTransactionBack)
{
    this->store().processRequest(overviewUpdate("A", "true"));
    this->store().processRequest(entriesWrite(storedEntry(1, "112")));
    StoreOutcome outcome;
    {
        StoreTransaction transaction(this->store());
        EXPECT_NE(this->store().processRequest(kDeleteEntries).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(this->store().processRequest(overviewUpdate("B", "true")).find("<Result>OK</Result>"), std::string::npos);
        EXPECT_NE(this->store().processRequest(entriesWrite(storedEntry(1, "x</DigitString>y"))).find("<Result>Error</Result>"),
                  std::string::npos);
        const std::string later = this->store().processRequest(entriesWrite(storedEntry(2, "110")));
        EXPECT_NE(later.find("<Error>the change was refused already: "), std::string::npos);
        outcome = transaction.commit();
    }
    EXPECT_FALSE(outcome.committed);
    EXPECT_EQ(outcome.reason.rfind("the store refused a request: malformed request", 0), 0u) << outcome.reason;
    this->reopen();
    EXPECT_NE(this->store().processRequest(kReadOverview).find("<DialPlanId>A</DialPlanId>"), std::string::npos);
    EXPECT_NE(this->store().processRequest(kReadEntries).find(storedEntry(1, "112")), std::string::npos);
}

TYPED_TEST(HostStore, RolledBackTransactionLeavesTheStoreUsable)
{
    {
        StoreTransaction transaction(this->store());
        this->store().processRequest(overviewUpdate("B", "true"));
        transaction.rollback();
    }
    EXPECT_FALSE(this->store().hasDialPlan());
    EXPECT_NE(this->store().processRequest(overviewUpdate("C", "true")).find("<Result>OK</Result>"), std::string::npos);
    EXPECT_TRUE(this->store().hasDialPlan());
}
