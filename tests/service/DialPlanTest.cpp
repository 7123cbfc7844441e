// The dial plan as configured: construction, switches, peer binding, validation of one
// entry, reading the plan from configuration (setData) and writing it back (getData).

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "ServiceHarness.h"

namespace {

// Sets one item of configuration row `row` ("dialPlanEntry[row]/item").
void setRowItem(ManageableData& data, int row, const std::string& item, const std::string& value)
{
    data.populate("dialPlanSettings", "dialPlanEntry[" + std::to_string(row) + "]/" + item, value);
}

void setItem(ManageableData& data, const std::string& key, const std::string& value)
{
    data.populate(key, key, value);
}

class DialPlanModel : public ::testing::Test {
protected:
    ServiceHarness harness;  // peers, and the plan's log file in a temporary directory
    CapturingLogSink log;
    DialPlan plan;

    void SetUp() override { log.clear(); }

    t_dialPlanEntry& entry(int index) { return *plan.getEntry(index); }

    // Puts an entry to be validated at index 0.
    t_dialPlanEntry& candidate(const std::string& action, const std::string& digits)
    {
        entry(0) = t_dialPlanEntry();
        entry(0).action = action;
        entry(0).digitString = digits;
        log.clear();
        return entry(0);
    }

    std::vector<std::string> storageRequests() const { return harness.das.requests(); }
};

// ---- Construction, switches, peers --------------------------------------------------------------

TEST(DialPlanConstruction, LogsAndDeletesAnOldLogFile)
{
    ServiceHarness harness;
    { std::ofstream(harness.logFilePath()) << "old plan"; }
    CapturingLogSink log;
    DialPlan plan;
    EXPECT_FALSE(std::ifstream(harness.logFilePath()).good());
    EXPECT_EQ(log.texts(5), std::vector<std::string>{"DialPlan()"});
}

TEST(DialPlanConstruction, StartsEmptyAndDisabled)
{
    ServiceHarness harness;
    DialPlan plan;
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_FALSE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 0u);
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
    EXPECT_EQ(plan.getIdentity(), "");
    EXPECT_EQ(plan.getDAS(), nullptr);
    EXPECT_FALSE(plan.getImmediateDiallingEnabled());
    EXPECT_FALSE(plan.getOnhookDialling());
    EXPECT_EQ(plan.getEmergencyNumbers(), "");
    EXPECT_EQ(plan.getLockBypassNumbers(), "");
    const t_dialPlanEntry* first = plan.getEntry(0);
    EXPECT_EQ(first->minDigitLength, 255u);
    EXPECT_EQ(first->maxDigitLength, 255u);
    EXPECT_EQ(first->timer, 255u);
    EXPECT_FALSE(first->terminatorSent);
}

TEST(DialPlanConstruction, DestructionLogs)
{
    ServiceHarness harness;
    auto plan = std::make_unique<DialPlan>();
    CapturingLogSink log;
    plan.reset();
    EXPECT_EQ(log.texts(5), std::vector<std::string>{"~DialPlan()"});
}

TEST_F(DialPlanModel, SwitchesAreStoredAndLogged)
{
    plan.setEnabled(true);
    plan.setImmediateDiallingEnabled(true);
    plan.setOnhookDialling(true);
    plan.setOnhookDialling(false);
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(plan.getImmediateDiallingEnabled());
    EXPECT_FALSE(plan.getOnhookDialling());
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"DialPlan::setEnabled - true",
                                                      "DialPlan::setImmediateDiallingEnabled - true",
                                                      "DialPlan::setOnhookDialling - true",
                                                      "DialPlan::setOnhookDialling - false"}));
}

TEST_F(DialPlanModel, DataAccessServiceIsStoredWithoutLog)
{
    plan.setDAS(&harness.das);
    EXPECT_EQ(plan.getDAS(), &harness.das);
    EXPECT_TRUE(log.texts().empty());
}

TEST_F(DialPlanModel, ContextSwitchesImmediateDiallingOn)
{
    harness.store.setItem("hot-keypad-dialling", "immediateDiallingEnabled", "true");
    plan.setContext(&harness.context);
    EXPECT_TRUE(plan.getImmediateDiallingEnabled());
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"setContext", "immediateDiallingEnabled is true"}));
}

TEST_F(DialPlanModel, ContextSwitchesImmediateDiallingOffForAnyOtherValue)
{
    harness.store.setItem("hot-keypad-dialling", "immediateDiallingEnabled", "TRUE");
    plan.setImmediateDiallingEnabled(true);
    log.clear();
    plan.setContext(&harness.context);
    EXPECT_FALSE(plan.getImmediateDiallingEnabled());
    EXPECT_TRUE(log.contains("immediateDiallingEnabled is false", 5));
}

TEST_F(DialPlanModel, ContextWithoutTheItemSwitchesImmediateDiallingOff)
{
    plan.setImmediateDiallingEnabled(true);
    log.clear();
    plan.setContext(&harness.context);
    EXPECT_FALSE(plan.getImmediateDiallingEnabled());
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"setContext", "hot-keypad-dialling item not found in database"}));
}

TEST_F(DialPlanModel, ContextWithoutTheValueSwitchesImmediateDiallingOff)
{
    harness.store.setItem("hot-keypad-dialling", "true");  // a plain item: no "immediateDiallingEnabled" node
    plan.setImmediateDiallingEnabled(true);
    log.clear();
    plan.setContext(&harness.context);
    EXPECT_FALSE(plan.getImmediateDiallingEnabled());
    EXPECT_TRUE(log.contains("immediateDiallingEnabled value not set", 5));
}

TEST(DialPlanContext, WithoutLocalManagementImmediateDiallingStaysAsItWas)
{
    ServiceHarness harness(false);
    DialPlan plan;
    plan.setImmediateDiallingEnabled(true);
    CapturingLogSink log;
    plan.setContext(&harness.context);
    EXPECT_TRUE(plan.getImmediateDiallingEnabled());
    EXPECT_EQ(log.texts(5), std::vector<std::string>{"setContext"});
}

TEST(DialPlanContext, NullContextIsIgnored)
{
    ServiceHarness harness;
    DialPlan plan;
    plan.setContext(nullptr);
    EXPECT_FALSE(plan.getImmediateDiallingEnabled());
}

// ---- validateEntry --------------------------------------------------------------------------------

TEST_F(DialPlanModel, CheckEntryWithoutLengthsOrTimerIsCompleted)
{
    candidate("C", "110");
    EXPECT_TRUE(plan.validateEntry(0));
    EXPECT_EQ(entry(0).minDigitLength, 3u);
    EXPECT_EQ(entry(0).maxDigitLength, 3u);
    EXPECT_EQ(entry(0).timer, 1u);
    EXPECT_EQ(log.texts(5), std::vector<std::string>{"DialPlan::validateEntry (1)"});
}

TEST_F(DialPlanModel, CheckEntryWithAnotherLengthFails)
{
    candidate("C", "110").minDigitLength = 4;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains(
        "\ninvalid digit length: \ndigit string:         110minimum digit length: 4maximum digit length: 3", 5));
    // The defaults filled in before the failure stay.
    EXPECT_EQ(entry(0).maxDigitLength, 3u);
    EXPECT_EQ(entry(0).timer, 1u);
}

TEST_F(DialPlanModel, CheckEntryWithTimerZeroFails)
{
    candidate("C", "110").timer = 0;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("invalid timer value: 0", 5));
}

TEST_F(DialPlanModel, CheckEntryWithTimerTenFails)
{
    candidate("C", "110").timer = 10;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("invalid timer value: 10", 5));
}

TEST_F(DialPlanModel, SendEntryWithTimerRunsFromPatternLengthToTwentyFour)
{
    candidate("S", "0").timer = 3;
    EXPECT_TRUE(plan.validateEntry(0));
    EXPECT_EQ(entry(0).minDigitLength, 1u);
    EXPECT_EQ(entry(0).maxDigitLength, 24u);
}

TEST_F(DialPlanModel, SendEntryWithTimerNeedsMinimumBelowMaximum)
{
    t_dialPlanEntry& e = candidate("S", "0");
    e.timer = 3;
    e.minDigitLength = 24;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains(
        "\ninvalid digit length: \ndigit string:         0minimum digit length: 24maximum digit length: 24", 5));
}

TEST_F(DialPlanModel, SendEntryWithTimerNeedsMinimumAtLeastThePatternLength)
{
    t_dialPlanEntry& e = candidate("S", "123");
    e.timer = 3;
    e.minDigitLength = 2;
    EXPECT_FALSE(plan.validateEntry(0));
}

TEST_F(DialPlanModel, SendEntryWithTimerMayExceedTwentyFour)
{
    t_dialPlanEntry& e = candidate("S", "0");
    e.timer = 9;
    e.maxDigitLength = 30;
    EXPECT_TRUE(plan.validateEntry(0));
}

TEST_F(DialPlanModel, SendEntryWithTimerTenFails)
{
    candidate("S", "0").timer = 10;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("invalid timer value: 10", 5));
}

TEST_F(DialPlanModel, SendEntryWithoutTimerIsAFixedLengthNumber)
{
    candidate("S", "11x");
    EXPECT_TRUE(plan.validateEntry(0));
    EXPECT_EQ(entry(0).timer, 0u);
    EXPECT_EQ(entry(0).minDigitLength, 3u);
    EXPECT_EQ(entry(0).maxDigitLength, 3u);
}

TEST_F(DialPlanModel, FixedLengthTakesTheOneLengthGivenForBoth)
{
    candidate("S", "11").maxDigitLength = 5;
    EXPECT_TRUE(plan.validateEntry(0));
    EXPECT_EQ(entry(0).minDigitLength, 5u);

    candidate("S", "11").minDigitLength = 6;
    EXPECT_TRUE(plan.validateEntry(0));
    EXPECT_EQ(entry(0).maxDigitLength, 6u);
}

TEST_F(DialPlanModel, FixedLengthWithTwoDifferentLengthsFails)
{
    t_dialPlanEntry& e = candidate("S", "11");
    e.timer = 0;
    e.minDigitLength = 4;
    e.maxDigitLength = 5;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("\ninvalid digit length: \nminimum digit length: 4maximum digit length: 5", 5));
}

TEST_F(DialPlanModel, FixedLengthAboveTwentyFourFails)
{
    t_dialPlanEntry& e = candidate("S", "0");
    e.timer = 0;
    e.maxDigitLength = 25;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("\ninvalid digit length: \ndigit string:         0minimum digit length: 25", 5));
}

TEST_F(DialPlanModel, FixedLengthShorterThanThePatternNamesDigitStringAndMinimum)
{
    t_dialPlanEntry& e = candidate("S", "12345");
    e.timer = 0;
    e.maxDigitLength = 4;
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{
                                "DialPlan::validateEntry (1)",
                                "\ninvalid digit length: \ndigit string:         12345minimum digit length: 4"}));
}

TEST_F(DialPlanModel, MissingDigitStringFails)
{
    candidate("S", "");
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("digit string missing!", 5));
}

TEST_F(DialPlanModel, UnknownActionFails)
{
    candidate("s", "1");
    EXPECT_FALSE(plan.validateEntry(0));
    EXPECT_TRUE(log.contains("unknown action: s", 5));
}

TEST_F(DialPlanModel, ValidationNumbersRowsFromOne)
{
    entry(4).digitString = "1";
    entry(4).action = "S";
    plan.validateEntry(4);
    EXPECT_TRUE(log.contains("DialPlan::validateEntry (5)", 5));
}

TEST_F(DialPlanModel, ValidationOutsideTheTableFails)
{
    EXPECT_FALSE(plan.validateEntry(50));
    EXPECT_FALSE(plan.validateEntry(-1));
}

// ---- setData and setDialPlanEntries ----------------------------------------------------------------

class DialPlanConfiguration : public DialPlanModel {
protected:
    ManageableData config;

    void SetUp() override
    {
        DialPlanModel::SetUp();
        plan.setDAS(&harness.das);
    }

    void addRow(int row, const std::string& digits, const std::string& action, const std::string& timer = "")
    {
        setRowItem(config, row, "digit-string", digits);
        setRowItem(config, row, "action", action);
        if (!timer.empty()) setRowItem(config, row, "timer", timer);
    }
};

TEST_F(DialPlanConfiguration, RowsAreReadUntilTheFirstWithoutDigitString)
{
    addRow(1, "110", "C");
    addRow(2, "0", "S", "3");
    addRow(4, "112", "S");
    EXPECT_TRUE(plan.setDialPlanEntries(&config));
    EXPECT_EQ(plan.getNumberOfEntries(), 2);
    EXPECT_EQ(entry(1).digitString, "0");
    EXPECT_TRUE(log.contains("setDialPlanEntries( ManageableData* manageableData )", 5));
    EXPECT_TRUE(log.contains("no digitString for entry 3 - exit loop", 5));
    EXPECT_FALSE(log.contains("DialPlan::validateEntry (4)"));
}

TEST_F(DialPlanConfiguration, CheckRowFromConfigurationIsCompletedOrRefused)
{
    addRow(1, "110", "C");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_EQ(entry(0).minDigitLength, 3u);
    EXPECT_EQ(entry(0).maxDigitLength, 3u);
    EXPECT_EQ(entry(0).timer, 1u);

    ManageableData change;
    setRowItem(change, 1, "digit-string", "110");
    setRowItem(change, 1, "action", "C");
    setRowItem(change, 1, "min-digit-len", "4");
    setRowItem(change, 1, "max-digit-len", "");
    log.clear();
    EXPECT_FALSE(plan.setData(change));
    EXPECT_TRUE(log.contains(
        "\ninvalid digit length: \ndigit string:         110minimum digit length: 4maximum digit length: 3", 5));
    EXPECT_EQ(plan.getErrorRow(), 1u);
}

TEST_F(DialPlanConfiguration, AcceptedRowIsLoggedWithItsCompletedFields)
{
    addRow(1, "0", "S", "3");
    setRowItem(config, 1, "terminating-char", "#");
    setRowItem(config, 1, "spec-num-indic", "E");
    setRowItem(config, 1, "comment", "trunk");
    setRowItem(config, 1, "terminating-char-sent", "true");
    EXPECT_TRUE(plan.setDialPlanEntries(&config));
    EXPECT_TRUE(log.contains("\n****** data of entry 1: ****\ndigit string:         0\naction:               S\n"
                             "minimum digit length: 1\nmaximum digit length: 24\ntimer:                3\n"
                             "terminator:           #\nspecial number:       E\ncomment:              trunk\n"
                             "terminator sent:      true\n",
                             5));
    EXPECT_TRUE(entry(0).terminatorSent);
    EXPECT_EQ(plan.getEmergencyNumbers(), "0");
}

TEST_F(DialPlanConfiguration, NoRowsIsAnEmptyPlan)
{
    EXPECT_TRUE(plan.setDialPlanEntries(&config));
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
    EXPECT_TRUE(log.contains("no digitString for entry 1 - exit loop", 5));
    EXPECT_TRUE(log.contains("no dial plan entry found!", 5));
}

TEST_F(DialPlanConfiguration, AtMostFiftyRowsAreRead)
{
    for (int row = 1; row <= 51; ++row) addRow(row, std::to_string(row), "S");
    EXPECT_TRUE(plan.setDialPlanEntries(&config));
    EXPECT_EQ(plan.getNumberOfEntries(), 50);
    EXPECT_FALSE(log.contains("DialPlan::validateEntry (51)"));
    EXPECT_FALSE(log.contains("no digitString for entry 51 - exit loop"));
}

TEST_F(DialPlanConfiguration, FaultyRowThreeDisablesThePlanAndStoresNothing)
{
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-id", "P1");
    addRow(1, "110", "C");
    addRow(2, "0", "S", "3");
    addRow(3, "12345", "S");
    setRowItem(config, 3, "max-digit-len", "4");
    addRow(4, "112", "S");

    EXPECT_FALSE(plan.setData(config));
    EXPECT_TRUE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 3u);
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_EQ(plan.getNumberOfEntries(), 3);
    EXPECT_EQ(entry(1).digitString, "0");
    EXPECT_TRUE(log.contains("error found in entry 3", 5));
    EXPECT_FALSE(log.contains("DialPlan::validateEntry (4)"));
    EXPECT_TRUE(storageRequests().empty());
}

TEST_F(DialPlanConfiguration, AcceptedChangeIsStoredOverviewFirst)
{
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-id", "P1");
    addRow(1, "110", "C");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_FALSE(plan.getError());
    const auto requests = storageRequests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_NE(requests[0].find("<ReasonForMessage>DeleteRequest</ReasonForMessage>"), std::string::npos);
    EXPECT_NE(requests[1].find("<ReasonForMessage>UpdateRequest</ReasonForMessage>"), std::string::npos);
    EXPECT_NE(requests[1].find("<DialPlanId>P1</DialPlanId>"), std::string::npos);
    EXPECT_NE(requests[2].find("<ReasonForMessage>WriteRequest</ReasonForMessage>"), std::string::npos);
    EXPECT_NE(requests[2].find("<DigitString>110</DigitString>"), std::string::npos);
}

TEST_F(DialPlanConfiguration, EmptyIdentityDisablesThePlanAndDropsAllEntries)
{
    setItem(config, "dial-plan-enabled", "true");
    addRow(1, "110", "C");
    ASSERT_TRUE(plan.setData(config));
    ASSERT_EQ(plan.getNumberOfEntries(), 1);

    ManageableData change;
    setItem(change, "dial-plan-id", "");
    log.clear();
    plan.setData(change);
    EXPECT_EQ(plan.getIdentity(), "");
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dialPlanIdentity is empty!", 5));
}

TEST_F(DialPlanConfiguration, IdentityIsStored)
{
    setItem(config, "dial-plan-id", "Office");
    plan.setData(config);
    EXPECT_EQ(plan.getIdentity(), "Office");
    EXPECT_TRUE(log.contains("dialPlanIdentity is Office", 5));
}

TEST_F(DialPlanConfiguration, EnabledOnlyByTheExactTextTrue)
{
    setItem(config, "dial-plan-enabled", "true");
    plan.setData(config);
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dialPlanEnabled is true", 5));

    ManageableData change;
    setItem(change, "dial-plan-enabled", "yes");
    plan.setData(change);
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dialPlanEnabled is false", 5));
}

TEST_F(DialPlanConfiguration, ErrorMarkedInConfigurationDisablesAndIsNotStored)
{
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-error", "true");
    setItem(config, "dial-plan-error-row", "5");
    EXPECT_FALSE(plan.setData(config));
    EXPECT_TRUE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 5u);
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dialPlanError is true", 5));
    EXPECT_TRUE(log.contains("dialPlanErrorRow is 5", 5));
    EXPECT_TRUE(storageRequests().empty());
}

TEST_F(DialPlanConfiguration, ErrorClearedByOtherOrEmptyValues)
{
    plan.setError(true);
    plan.setErrorRow(4);
    setItem(config, "dial-plan-error", "false");
    setItem(config, "dial-plan-error-row", "");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_FALSE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 0u);
    EXPECT_TRUE(log.contains("dialPlanError is false", 5));
    EXPECT_TRUE(log.contains("dialPlanErrorRow is empty", 5));

    ManageableData change;
    setItem(change, "dial-plan-error", "");
    plan.setError(true);
    EXPECT_TRUE(plan.setData(change));
    EXPECT_FALSE(plan.getError());
    EXPECT_TRUE(log.contains("dialPlanError is empty", 5));
}

TEST_F(DialPlanConfiguration, NonNumericErrorRowIsZero)
{
    setItem(config, "dial-plan-error-row", "x3");
    plan.setData(config);
    EXPECT_EQ(plan.getErrorRow(), 0u);
}

TEST_F(DialPlanConfiguration, UnknownItemIsLoggedAndIgnored)
{
    setItem(config, "dial-plan-colour", "blue");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_TRUE(log.contains("setData: unknown item: dial-plan-colour, value: blue\n", 5));
}

TEST_F(DialPlanConfiguration, NewSettingsReplaceEntriesAndSpecialNumbers)
{
    addRow(1, "112", "S");
    setRowItem(config, 1, "spec-num-indic", "E");
    addRow(2, "0", "S", "3");
    ASSERT_TRUE(plan.setData(config));
    ASSERT_EQ(plan.getEmergencyNumbers(), "112");

    ManageableData change;
    setRowItem(change, 1, "digit-string", "999");
    setRowItem(change, 1, "spec-num-indic", "E");
    EXPECT_TRUE(plan.setData(change));
    EXPECT_EQ(plan.getNumberOfEntries(), 1);
    EXPECT_EQ(plan.getEmergencyNumbers(), "999");
    EXPECT_TRUE(log.contains("dialPlanSettings", 5));
}

TEST_F(DialPlanConfiguration, AbsentItemsKeepTheFieldsOfTheEntryBefore)
{
    addRow(1, "0", "S", "3");
    ASSERT_TRUE(plan.setData(config));

    ManageableData change;
    setRowItem(change, 1, "digit-string", "1");
    EXPECT_TRUE(plan.setData(change));
    EXPECT_EQ(entry(0).digitString, "1");
    EXPECT_EQ(entry(0).action, "S");
    EXPECT_EQ(entry(0).timer, 3u);
}

TEST_F(DialPlanConfiguration, LockBypassRowWithEmptyMaximumIsPaddedTo255)
{
    addRow(1, "0", "S", "3");
    setRowItem(config, 1, "max-digit-len", "");
    setRowItem(config, 1, "spec-num-indic", "b");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_EQ(plan.getLockBypassNumbers(), "0" + std::string(254, 'x'));
    EXPECT_TRUE(log.contains("lock bypass number - list of lock bypass numbers is now: 0" + std::string(254, 'x'), 5));
    EXPECT_EQ(entry(0).maxDigitLength, 24u);  // validation completes it afterwards
}

TEST_F(DialPlanConfiguration, SpecialNumberOfAFaultyRowIsStillListed)
{
    addRow(1, "112", "X");
    setRowItem(config, 1, "spec-num-indic", "E");
    EXPECT_FALSE(plan.setData(config));
    EXPECT_EQ(plan.getEmergencyNumbers(), "112");
}

TEST_F(DialPlanConfiguration, NonNumericLengthsAndTimersReadAsZero)
{
    addRow(1, "5", "S", "3s");
    setRowItem(config, 1, "min-digit-len", "one");
    setRowItem(config, 1, "max-digit-len", "-1");
    EXPECT_FALSE(plan.setData(config));
    EXPECT_EQ(entry(0).timer, 0u);
    EXPECT_EQ(entry(0).minDigitLength, 0u);
    EXPECT_EQ(entry(0).maxDigitLength, 0u);
    EXPECT_TRUE(log.contains("\ninvalid digit length: \ndigit string:         5minimum digit length: 0", 5));
    EXPECT_EQ(plan.getErrorRow(), 1u);
}

TEST_F(DialPlanConfiguration, LengthsAboveSixteenBitsReadAsZero)
{
    addRow(1, "5", "S", "65536");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_EQ(entry(0).timer, 0u);
}

TEST_F(DialPlanConfiguration, ValuesWithHighAndNulBytesAreTakenAsTheyAre)
{
    const std::string digits("9\0\xF0", 3);
    addRow(1, digits, "S");
    setRowItem(config, 1, "comment", std::string("\xFF\0c", 3));
    EXPECT_TRUE(plan.setData(config));
    EXPECT_EQ(entry(0).digitString, digits);
    EXPECT_EQ(entry(0).comment, std::string("\xFF\0c", 3));
}

TEST_F(DialPlanConfiguration, NullContainerIsRefused)
{
    EXPECT_FALSE(plan.setDialPlanEntries(nullptr));
}

// ---- getData ----------------------------------------------------------------------------------------

class DialPlanSerialisation : public DialPlanConfiguration {
protected:
    ManageableData out;

    std::string value(const std::string& root, const std::string& path)
    {
        std::string text = "<absent>";
        // An absent item keeps the sentinel, which the tests compare.
        (void)out.interogate(root, path, text);
        return text;
    }
};

TEST_F(DialPlanSerialisation, OverviewItemsAreWrittenUnderTheirNodes)
{
    plan.setContext(&harness.context);
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-id", "P1");
    plan.setData(config);

    log.clear();
    EXPECT_TRUE(plan.getData(out));
    EXPECT_EQ(value("dial-plan-enabled", "dialPlanEnabled"), "true");
    EXPECT_EQ(value("dial-plan-id", "dialPlanId"), "P1");
    EXPECT_EQ(value("dial-plan-error", "dialPlanError"), "false");
    EXPECT_EQ(value("dial-plan-error-row", "dialPlanErrorRow"), "");
    EXPECT_EQ(out.getDictionary("dial-plan-id"), static_cast<DxlDictionary*>(&harness.store));
    EXPECT_EQ(out.getDictionary("dialPlanSettings"), static_cast<DxlDictionary*>(&harness.store));
    EXPECT_TRUE(log.contains("getData", 5));
    EXPECT_TRUE(log.contains("\n************ serialized dial plan data: **********\n " + out.serialize(), 5));
}

TEST_F(DialPlanSerialisation, ErrorRowIsWrittenOnlyWithAnError)
{
    plan.setError(true);
    plan.setErrorRow(12);
    plan.getData(out);
    EXPECT_EQ(value("dial-plan-error", "dialPlanError"), "true");
    EXPECT_EQ(value("dial-plan-error-row", "dialPlanErrorRow"), "12");
}

TEST_F(DialPlanSerialisation, EntriesAreWrittenRowByRow)
{
    addRow(1, "0", "S", "3");
    setRowItem(config, 1, "terminating-char", "#");
    setRowItem(config, 1, "spec-num-indic", "b");
    setRowItem(config, 1, "comment", "trunk");
    setRowItem(config, 1, "terminating-char-sent", "true");
    addRow(2, "110", "C");
    ASSERT_TRUE(plan.setData(config));

    plan.getData(out);
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/digit-string"), "0");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/action"), "S");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/min-digit-len"), "1");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/max-digit-len"), "24");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/timer"), "3");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/terminating-char"), "#");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/spec-num-indic"), "b");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/comment"), "trunk");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/terminating-char-sent"), "true");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[2]/timer"), "1");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[2]/terminating-char-sent"), "false");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[3]/digit-string"), "<absent>");
}

TEST_F(DialPlanSerialisation, TimerNotSetIsWrittenEmpty)
{
    t_dialPlanEntry& e = entry(0);
    e.digitString = "7";
    e.action = "S";
    e.minDigitLength = 255;
    e.maxDigitLength = 255;
    e.timer = 255;
    plan.setNumberOfEntries(1);
    plan.getData(out);
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/timer"), "");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/min-digit-len"), "");
    EXPECT_EQ(value("dialPlanSettings", "dialPlanEntry[1]/max-digit-len"), "");
}

TEST_F(DialPlanSerialisation, WrittenPlanReadsBackAsTheSamePlan)
{
    addRow(1, "0", "S", "3");
    setRowItem(config, 1, "terminating-char", "#");
    addRow(2, "110", "C");
    setRowItem(config, 2, "spec-num-indic", "E");
    ASSERT_TRUE(plan.setData(config));
    plan.getData(out);

    DialPlan copy;
    EXPECT_TRUE(copy.setData(out));
    ASSERT_EQ(copy.getNumberOfEntries(), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(copy.getEntry(i)->digitString, entry(i).digitString);
        EXPECT_EQ(copy.getEntry(i)->timer, entry(i).timer);
        EXPECT_EQ(copy.getEntry(i)->minDigitLength, entry(i).minDigitLength);
        EXPECT_EQ(copy.getEntry(i)->maxDigitLength, entry(i).maxDigitLength);
        EXPECT_EQ(copy.getEntry(i)->terminator, entry(i).terminator);
        EXPECT_EQ(copy.getEntry(i)->specialNumberIndication, entry(i).specialNumberIndication);
    }
    EXPECT_EQ(copy.getEmergencyNumbers(), "110");
}

}  // namespace
