// Keeping the dial plan in the data access service: the messages sent, their order, what is
// taken from the responses, and a plan written and read back.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "ServiceHarness.h"
#include "StorageMessages.h"

namespace {

const std::string& kDeclaration = kStorageDeclaration;

// What the recording data access service answers to an update, write or delete.
std::string okResponse(const std::string& schema)
{
    return kDeclaration + "<Schema name=\"" + schema + "\"><Result>OK</Result></Schema>";
}

void setItem(ManageableData& data, const std::string& key, const std::string& value)
{
    data.populate(key, key, value);
}

void setRowItem(ManageableData& data, int row, const std::string& item, const std::string& value)
{
    data.populate("dialPlanSettings", "dialPlanEntry[" + std::to_string(row) + "]/" + item, value);
}

class DialPlanStorage : public ::testing::Test {
protected:
    ServiceHarness harness;
    CapturingLogSink log;
    DialPlan plan;

    void SetUp() override
    {
        plan.setDAS(&harness.das);
        log.clear();
    }

    void loadEntry(int index, const std::string& digits, const std::string& special = "")
    {
        t_dialPlanEntry& entry = *plan.getEntry(index);
        entry = t_dialPlanEntry();
        entry.digitString = digits;
        entry.action = "S";
        entry.minDigitLength = static_cast<std::uint32_t>(digits.size());
        entry.maxDigitLength = static_cast<std::uint32_t>(digits.size());
        entry.timer = 0;
        entry.specialNumberIndication = special;
    }
};

TEST(DialPlanStorageWithoutService, EveryOperationFailsAndSendsNothing)
{
    ServiceHarness harness;
    DialPlan plan;
    plan.setIdentity("keep");
    CapturingLogSink log;
    EXPECT_FALSE(plan.readDialPlanOverviewFromDAS());
    EXPECT_FALSE(plan.writeDialPlanOverviewToDAS());
    EXPECT_FALSE(plan.readDialPlanEntriesFromDAS());
    EXPECT_FALSE(plan.writeDialPlanEntriesToDAS());
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"readDialPlanOverviewFromDAS", "writeDialPlanOverviewToDAS",
                                                      "readDialPlanEntriesFromDAS", "writeDialPlanEntriesToDAS"}));
    EXPECT_EQ(plan.getIdentity(), "keep");
    EXPECT_TRUE(harness.das.requests().empty());
}

TEST_F(DialPlanStorage, OverviewWriteDeletesTheEntriesThenUpdates)
{
    plan.setIdentity("A1");
    plan.setEnabled(true);
    log.clear();
    EXPECT_TRUE(plan.writeDialPlanOverviewToDAS());

    const std::string update = overviewMessage(
        "<ReasonForMessage>UpdateRequest</ReasonForMessage><DialPlanEnabled>true</DialPlanEnabled>"
        "<DialPlanId>A1</DialPlanId><DialPlanError>false</DialPlanError><DialPlanErrorRow>0</DialPlanErrorRow>");
    EXPECT_EQ(harness.das.requests(),
              (std::vector<std::string>{entriesMessage("<ReasonForMessage>DeleteRequest</ReasonForMessage>"), update}));
    EXPECT_TRUE(log.contains("writeDialPlanOverviewToDAS", 5));
    EXPECT_TRUE(log.contains("message to DAS: \n" + update, 5));
    EXPECT_TRUE(log.contains("response from DAS: \n" + okResponse("DialPlanOverview"), 5));
}

TEST_F(DialPlanStorage, EntriesWriteSendsOneEntryElementPerEntry)
{
    loadEntry(0, "112", "E");
    loadEntry(1, "0");
    plan.setNumberOfEntries(2);
    EXPECT_TRUE(plan.writeDialPlanEntriesToDAS());

    const std::string write = entriesMessage(
        "<ReasonForMessage>WriteRequest</ReasonForMessage>"
        "<Entry><Id>1</Id><DigitString>112</DigitString><Action>S</Action><MinimumDigitLength>3</MinimumDigitLength>"
        "<MaximumDigitLength>3</MaximumDigitLength><Timer>0</Timer><Terminator></Terminator>"
        "<SpecialNumber>E</SpecialNumber><Comment></Comment><TerminatorSent>false</TerminatorSent></Entry>"
        "<Entry><Id>2</Id><DigitString>0</DigitString><Action>S</Action><MinimumDigitLength>1</MinimumDigitLength>"
        "<MaximumDigitLength>1</MaximumDigitLength><Timer>0</Timer><Terminator></Terminator>"
        "<SpecialNumber></SpecialNumber><Comment></Comment><TerminatorSent>false</TerminatorSent></Entry>");
    EXPECT_EQ(harness.das.requests(), std::vector<std::string>{write});
    EXPECT_TRUE(log.contains("writeDialPlanEntriesToDAS", 5));
    EXPECT_TRUE(log.contains("message to DAS: \n" + write, 5));
    EXPECT_TRUE(log.contains("response from DAS: \n" + okResponse("DialPlanEntries"), 5));
}

TEST_F(DialPlanStorage, OverviewReadTakesTheStoredValues)
{
    const std::string response = overviewMessage(
        "<DialPlanEnabled>true</DialPlanEnabled><DialPlanId>B2</DialPlanId><DialPlanError>false</DialPlanError>"
        "<DialPlanErrorRow>0</DialPlanErrorRow>");
    harness.das.setReadResponse("DialPlanOverview", response);
    EXPECT_TRUE(plan.readDialPlanOverviewFromDAS());
    EXPECT_EQ(harness.das.requests(),
              std::vector<std::string>{overviewMessage("<ReasonForMessage>ReadRequest</ReasonForMessage>")});
    EXPECT_EQ(plan.getIdentity(), "B2");
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(log.contains("result from DAS: \n" + response, 5));
    EXPECT_TRUE(log.contains("logDialPlanHeader", 5));
}

TEST_F(DialPlanStorage, OverviewReadWithoutIdentityLeavesThePlanAsItWas)
{
    plan.setIdentity("keep");
    plan.setEnabled(true);
    log.clear();
    EXPECT_FALSE(plan.readDialPlanOverviewFromDAS());  // nothing stored yet
    EXPECT_EQ(plan.getIdentity(), "keep");
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dial plan ID empty", 5));
}

TEST_F(DialPlanStorage, EntriesReadLoadsEntriesInOrderWithoutValidation)
{
    const std::string response = entriesMessage(
        "<Entry><DigitString>1</DigitString><Action>Q</Action></Entry>"
        "<Entry><DigitString>2</DigitString><Timer>42</Timer></Entry>"
        "<Entry><DigitString>3</DigitString><SpecialNumber>E</SpecialNumber></Entry>");
    harness.das.setReadResponse("DialPlanEntries", response);
    EXPECT_TRUE(plan.readDialPlanEntriesFromDAS());
    EXPECT_EQ(harness.das.requests(),
              std::vector<std::string>{entriesMessage("<ReasonForMessage>ReadRequest</ReasonForMessage>")});
    ASSERT_EQ(plan.getNumberOfEntries(), 3);
    EXPECT_EQ(plan.getEntry(0)->action, "Q");
    EXPECT_EQ(plan.getEntry(1)->timer, 42u);
    EXPECT_EQ(plan.getEntry(2)->digitString, "3");
    EXPECT_EQ(plan.getEmergencyNumbers(), "3");
    EXPECT_TRUE(log.contains("readDialPlanEntriesFromDAS", 5));
    EXPECT_TRUE(log.contains("result from DAS: \n" + response, 5));
    EXPECT_TRUE(log.contains("extractSpecialNumbers", 5));
    EXPECT_TRUE(log.contains("logDialPlan", 5));
}

TEST_F(DialPlanStorage, EntriesReadWithoutEntriesEmptiesThePlan)
{
    loadEntry(0, "1");
    plan.setNumberOfEntries(1);
    EXPECT_TRUE(plan.readDialPlanEntriesFromDAS());
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
}

TEST_F(DialPlanStorage, RereadingReplacesTheSpecialNumberLists)
{
    harness.das.setReadResponse(
        "DialPlanEntries",
        entriesMessage("<Entry><DigitString>112</DigitString><SpecialNumber>E</SpecialNumber></Entry>"
                       "<Entry><DigitString>0</DigitString><MaximumDigitLength>3</MaximumDigitLength>"
                       "<SpecialNumber>b</SpecialNumber></Entry>"));
    plan.readDialPlanEntriesFromDAS();
    plan.readDialPlanEntriesFromDAS();
    EXPECT_EQ(plan.getEmergencyNumbers(), "112");
    EXPECT_EQ(plan.getLockBypassNumbers(), "0xx");
}

TEST_F(DialPlanStorage, StorageReadReplacesListsFromAConfiguredPlan)
{
    ManageableData config;
    setRowItem(config, 1, "digit-string", "999");
    setRowItem(config, 1, "action", "S");
    setRowItem(config, 1, "spec-num-indic", "E");
    ASSERT_TRUE(plan.setData(config));
    ASSERT_EQ(plan.getEmergencyNumbers(), "999");
    plan.readDialPlanEntriesFromDAS();  // reads back what setData stored
    EXPECT_EQ(plan.getEmergencyNumbers(), "999");
}

TEST_F(DialPlanStorage, PlanWrittenAndReadBackIsTheSame)
{
    ManageableData config;
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-id", "Round");
    setRowItem(config, 1, "digit-string", "0");
    setRowItem(config, 1, "action", "S");
    setRowItem(config, 1, "timer", "3");
    setRowItem(config, 1, "terminating-char", "#");
    setRowItem(config, 1, "comment", "outside <line> & more");
    setRowItem(config, 1, "terminating-char-sent", "true");
    setRowItem(config, 2, "digit-string", "110");
    setRowItem(config, 2, "action", "C");
    setRowItem(config, 2, "spec-num-indic", "E");
    setRowItem(config, 3, "digit-string", "0xx");
    setRowItem(config, 3, "action", "S");
    setRowItem(config, 3, "max-digit-len", "3");  // padded to the same length before and after validation
    setRowItem(config, 3, "spec-num-indic", "b");
    ASSERT_TRUE(plan.setData(config));

    DialPlan copy;
    copy.setDAS(&harness.das);
    ASSERT_TRUE(copy.readDialPlanOverviewFromDAS());
    ASSERT_TRUE(copy.readDialPlanEntriesFromDAS());

    EXPECT_EQ(copy.getIdentity(), "Round");
    EXPECT_TRUE(copy.getEnabled());
    EXPECT_FALSE(copy.getError());
    EXPECT_EQ(copy.getErrorRow(), 0u);
    ASSERT_EQ(copy.getNumberOfEntries(), 3);
    for (int i = 0; i < 3; ++i) {
        const t_dialPlanEntry& original = *plan.getEntry(i);
        const t_dialPlanEntry& read = *copy.getEntry(i);
        EXPECT_EQ(read.digitString, original.digitString) << i;
        EXPECT_EQ(read.action, original.action) << i;
        EXPECT_EQ(read.minDigitLength, original.minDigitLength) << i;
        EXPECT_EQ(read.maxDigitLength, original.maxDigitLength) << i;
        EXPECT_EQ(read.timer, original.timer) << i;
        EXPECT_EQ(read.terminator, original.terminator) << i;
        EXPECT_EQ(read.specialNumberIndication, original.specialNumberIndication) << i;
        EXPECT_EQ(read.comment, original.comment) << i;
        EXPECT_EQ(read.terminatorSent, original.terminatorSent) << i;
    }
    EXPECT_EQ(copy.getEmergencyNumbers(), plan.getEmergencyNumbers());
    EXPECT_EQ(copy.getLockBypassNumbers(), plan.getLockBypassNumbers());
}

TEST_F(DialPlanStorage, FiftyEntriesRoundTrip)
{
    for (int i = 0; i < DialPlan::kMaxEntries; ++i) loadEntry(i, std::to_string(100 + i));
    plan.setNumberOfEntries(DialPlan::kMaxEntries);
    plan.writeDialPlanEntriesToDAS();

    DialPlan copy;
    copy.setDAS(&harness.das);
    copy.readDialPlanEntriesFromDAS();
    ASSERT_EQ(copy.getNumberOfEntries(), DialPlan::kMaxEntries);
    EXPECT_EQ(copy.getEntry(49)->digitString, "149");
}

TEST_F(DialPlanStorage, GarbledResponsesDoNotHarmThePlan)
{
    const std::vector<std::string> responses = {
        "",
        "<Entry>",
        "</Entry><Entry>",
        "<Entry><Entry><DigitString>1</DigitString></Entry>",
        std::string("<Entry><DigitString>\xFF\0\x80", 23) + "</DigitString></Entry>",
        std::string(1 << 20, '<'),
        "<Entry><MaximumDigitLength>99999999999</MaximumDigitLength><SpecialNumber>b</SpecialNumber></Entry>",
    };
    for (const std::string& response : responses) {
        harness.das.setReadResponse("DialPlanEntries", response);
        harness.das.setReadResponse("DialPlanOverview", response);
        plan.readDialPlanOverviewFromDAS();
        EXPECT_TRUE(plan.readDialPlanEntriesFromDAS());
        EXPECT_GE(plan.getNumberOfEntries(), 0);
        EXPECT_LE(plan.getNumberOfEntries(), 1);
        EXPECT_LE(plan.getLockBypassNumbers().size(), 65535u);
    }
}

}  // namespace
