// The dial plan's storage messages: each built message byte for byte, and the reading of
// values out of responses, well-formed or not.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "ServiceHarness.h"
#include "StorageMessages.h"
#include "Utils.h"

namespace {

const std::string& kDeclaration = kStorageDeclaration;

t_dialPlanEntry sampleEntry()
{
    t_dialPlanEntry entry;
    entry.digitString = "0x";
    entry.action = "S";
    entry.minDigitLength = 2;
    entry.maxDigitLength = 24;
    entry.timer = 3;
    entry.terminator = "#";
    entry.specialNumberIndication = "b";
    entry.comment = "outside line";
    entry.terminatorSent = true;
    return entry;
}

const std::string kSampleEntryXml =
    "<Entry><Id>1</Id><DigitString>0x</DigitString><Action>S</Action><MinimumDigitLength>2</MinimumDigitLength>"
    "<MaximumDigitLength>24</MaximumDigitLength><Timer>3</Timer><Terminator>#</Terminator>"
    "<SpecialNumber>b</SpecialNumber><Comment>outside line</Comment><TerminatorSent>true</TerminatorSent></Entry>";

class UtilsMessages : public ::testing::Test {
protected:
    ServiceHarness harness;  // keeps the plan's log file in a temporary directory
    CapturingLogSink log;
};

// ---- Constants and elements -----------------------------------------------------------------

TEST(UtilsConstants, HoldTheirTexts)
{
    EXPECT_EQ(Utils::XMLHEADER, kDeclaration);
    EXPECT_EQ(Utils::ENTRY, "Entry");
    EXPECT_EQ(Utils::DIALPLANID, "DialPlanId");
    EXPECT_EQ(Utils::DIALPLANENABLED, "DialPlanEnabled");
    EXPECT_EQ(Utils::DIALPLANERROR, "DialPlanError");
    EXPECT_EQ(Utils::DIALPLANERRORROW, "DialPlanErrorRow");
    EXPECT_EQ(Utils::REASONFORMESSAGE, "ReasonForMessage");
    EXPECT_EQ(Utils::TRUE, "true");
    EXPECT_EQ(Utils::FALSE, "false");
}

TEST(UtilsElements, AreWrittenWithoutWhiteSpaceOrEscaping)
{
    EXPECT_EQ(Utils::createXMLBegin("A"), "<A>");
    EXPECT_EQ(Utils::createXMLClose("A"), "</A>");
    EXPECT_EQ(Utils::createXMLField("A", std::string("x <&> \"y\"")), "<A>x <&> \"y\"</A>");
    EXPECT_EQ(Utils::createXMLField("A", "text"), "<A>text</A>");
    EXPECT_EQ(Utils::createXMLField("A", true), "<A>true</A>");
    EXPECT_EQ(Utils::createXMLField("A", false), "<A>false</A>");
    EXPECT_EQ(Utils::createXMLField("A", 4294967295u), "<A>4294967295</A>");
    EXPECT_EQ(Utils::createXMLField("A", std::string()), "<A></A>");
}

TEST(UtilsElements, HeaderAndFooterWrapTheBodyInTheSchema)
{
    std::string body = "<B>1</B>";
    Utils::addXMLHeaderFooter(body, "S1");
    EXPECT_EQ(body, kDeclaration + "<Schema name=\"S1\"><B>1</B></Schema>");
}

TEST(UtilsElements, EmptySchemaNamePutsOnlyTheDeclarationInFront)
{
    std::string body = "<B>1</B>";
    Utils::addXMLHeaderFooter(body, "");
    EXPECT_EQ(body, kDeclaration + "<B>1</B>");
}

// ---- The five messages ------------------------------------------------------------------------

TEST_F(UtilsMessages, ReadOverviewRequest)
{
    const std::string expected = overviewMessage("<ReasonForMessage>ReadRequest</ReasonForMessage>");
    EXPECT_EQ(Utils::readDialPlanOverview(), expected);
    EXPECT_TRUE(log.contains("readDialPlanOverview = " + expected, 5));
}

TEST_F(UtilsMessages, OverviewUpdateListsReasonEnabledIdErrorAndRow)
{
    const std::string expected = overviewMessage(
        "<ReasonForMessage>UpdateRequest</ReasonForMessage><DialPlanEnabled>true</DialPlanEnabled>"
        "<DialPlanId>A1</DialPlanId><DialPlanError>false</DialPlanError><DialPlanErrorRow>0</DialPlanErrorRow>");
    EXPECT_EQ(Utils::writeDialPlanOverview("A1", true, false, 0), expected);
    EXPECT_TRUE(log.contains("writeDialPlanOverview = " + expected, 5));
}

TEST_F(UtilsMessages, OverviewUpdateWithErrorRow)
{
    EXPECT_EQ(Utils::writeDialPlanOverview("", false, true, 7),
              overviewMessage("<ReasonForMessage>UpdateRequest</ReasonForMessage><DialPlanEnabled>false"
                              "</DialPlanEnabled><DialPlanId></DialPlanId><DialPlanError>true</DialPlanError>"
                              "<DialPlanErrorRow>7</DialPlanErrorRow>"));
}

TEST_F(UtilsMessages, ReadEntriesRequest)
{
    EXPECT_EQ(Utils::readDialPlan(), entriesMessage("<ReasonForMessage>ReadRequest</ReasonForMessage>"));
}

TEST_F(UtilsMessages, DeleteEntriesRequest)
{
    const std::string expected = entriesMessage("<ReasonForMessage>DeleteRequest</ReasonForMessage>");
    EXPECT_EQ(Utils::deleteDialPlan(), expected);
    EXPECT_TRUE(log.contains("deleteDialPlan = " + expected, 5));
}

TEST_F(UtilsMessages, EntryElementHoldsIdThenFieldsInOrder)
{
    EXPECT_EQ(Utils::createXMLDialPlanEntry(0, sampleEntry()), kSampleEntryXml);
}

TEST_F(UtilsMessages, TwoEntriesAreWrittenWithIdsOneAndTwo)
{
    DialPlan plan;
    *plan.getEntry(0) = sampleEntry();
    t_dialPlanEntry second;  // nothing set: lengths and timer still 255
    second.digitString = "112";
    second.action = "S";
    *plan.getEntry(1) = second;
    plan.setNumberOfEntries(2);

    const std::string expected = entriesMessage(
        "<ReasonForMessage>WriteRequest</ReasonForMessage>" + kSampleEntryXml +
        "<Entry><Id>2</Id><DigitString>112</DigitString><Action>S</Action>"
        "<MinimumDigitLength>255</MinimumDigitLength><MaximumDigitLength>255</MaximumDigitLength>"
        "<Timer>255</Timer><Terminator></Terminator><SpecialNumber></SpecialNumber><Comment></Comment>"
        "<TerminatorSent>false</TerminatorSent></Entry>");
    EXPECT_EQ(Utils::writeDialPlan(&plan), expected);
    EXPECT_TRUE(log.contains("writeDialPlan = " + expected, 5));
}

TEST_F(UtilsMessages, EmptyPlanIsWrittenWithoutEntries)
{
    DialPlan plan;
    EXPECT_EQ(Utils::writeDialPlan(&plan), entriesMessage("<ReasonForMessage>WriteRequest</ReasonForMessage>"));
    EXPECT_EQ(Utils::writeDialPlan(nullptr), entriesMessage("<ReasonForMessage>WriteRequest</ReasonForMessage>"));
}

TEST_F(UtilsMessages, SingleEntryWriteWrapsTheEntryTwice)
{
    const std::string expected =
        entriesMessage("<ReasonForMessage>WriteRequest</ReasonForMessage><Entry>" + kSampleEntryXml + "</Entry>");
    EXPECT_EQ(Utils::writeDialPlanEntry(0, sampleEntry()), expected);
    EXPECT_TRUE(log.contains("Utils::writeDialPlanEntry = " + expected, 5));
}

// ---- getXMLValue ------------------------------------------------------------------------------

TEST_F(UtilsMessages, TextValueIsFoundAnywhere)
{
    std::string value = "old";
    EXPECT_TRUE(Utils::getXMLValue("junk<A>hello</A>more", "A", value));
    EXPECT_EQ(value, "hello");
    EXPECT_TRUE(log.contains("getXMLValue = hello", 5));
}

TEST_F(UtilsMessages, MissingTextValueLeavesTheOutputUnchanged)
{
    std::string value = "old";
    EXPECT_FALSE(Utils::getXMLValue("<B>x</B>", "A", value));
    EXPECT_FALSE(Utils::getXMLValue("<A>unclosed", "A", value));
    EXPECT_FALSE(Utils::getXMLValue("no opening</A>", "A", value));
    EXPECT_FALSE(Utils::getXMLValue("", "A", value));
    EXPECT_EQ(value, "old");
}

TEST_F(UtilsMessages, ClosingTagBeforeOpeningTagIsNotAValue)
{
    std::string value = "old";
    EXPECT_FALSE(Utils::getXMLValue("</A>x<A>y", "A", value));
    EXPECT_FALSE(Utils::getXMLValue("</A><A>y</A>", "A", value));  // the first closing tag is used
    EXPECT_EQ(value, "old");
}

TEST_F(UtilsMessages, RepeatedElementsGiveTheFirst)
{
    std::string value;
    EXPECT_TRUE(Utils::getXMLValue("<A>1</A><A>2</A>", "A", value));
    EXPECT_EQ(value, "1");
}

TEST_F(UtilsMessages, NestedElementsUseFirstOpeningAndFirstClosingTag)
{
    std::string value;
    EXPECT_TRUE(Utils::getXMLValue("<A>x<A>y</A>z</A>", "A", value));
    EXPECT_EQ(value, "x<A>y");
}

TEST_F(UtilsMessages, EmptyElementIsAnEmptyValue)
{
    std::string value = "old";
    EXPECT_TRUE(Utils::getXMLValue("<A></A>", "A", value));
    EXPECT_EQ(value, "");
}

TEST_F(UtilsMessages, SimilarTagNamesAreNotConfused)
{
    std::string value;
    EXPECT_TRUE(Utils::getXMLValue("<Entry1>no</Entry1><Entry>yes</Entry>", "Entry", value));
    EXPECT_EQ(value, "yes");
}

TEST_F(UtilsMessages, ValuesKeepHighBytesAndNulBytes)
{
    const std::string xml = std::string("<A>\xC3\xA9\0\xFF", 7) + "</A>";
    std::string value;
    EXPECT_TRUE(Utils::getXMLValue(xml, "A", value));
    EXPECT_EQ(value, std::string("\xC3\xA9\0\xFF", 4));
}

TEST_F(UtilsMessages, NumberIsTheLeadingDecimalDigits)
{
    unsigned int value = 99;
    EXPECT_TRUE(Utils::getXMLValue("<N>42abc</N>", "N", value));
    EXPECT_EQ(value, 42u);
    EXPECT_TRUE(log.contains("getXMLValue = 42", 5));
    EXPECT_TRUE(Utils::getXMLValue("<N> 7</N>", "N", value));
    EXPECT_EQ(value, 7u);
    EXPECT_TRUE(Utils::getXMLValue("<N>abc</N>", "N", value));
    EXPECT_EQ(value, 0u);
    EXPECT_TRUE(Utils::getXMLValue(std::string("<N>1\0002</N>", 10), "N", value));
    EXPECT_EQ(value, 1u);
}

TEST_F(UtilsMessages, MissingNumberIsZero)
{
    unsigned int value = 99;
    EXPECT_FALSE(Utils::getXMLValue("<M>5</M>", "N", value));
    EXPECT_EQ(value, 0u);
}

TEST_F(UtilsMessages, NumberBeyondThirtyTwoBitsIsCutTheSameWayEverywhere)
{
    unsigned int value = 0;
    EXPECT_TRUE(Utils::getXMLValue("<N>4294967295</N>", "N", value));
    EXPECT_EQ(value, 4294967295u);
    EXPECT_TRUE(Utils::getXMLValue("<N>4294967296</N>", "N", value));
    EXPECT_EQ(value, 0u);
    EXPECT_TRUE(Utils::getXMLValue("<N>-1</N>", "N", value));
    EXPECT_EQ(value, 4294967295u);
}

TEST_F(UtilsMessages, FlagIsTrueOnlyForTheExactText)
{
    bool value = false;
    EXPECT_TRUE(Utils::getXMLValue("<F>true</F>", "F", value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(log.contains("getXMLValue = 1", 5));
    EXPECT_TRUE(Utils::getXMLValue("<F>TRUE</F>", "F", value));
    EXPECT_FALSE(value);
    EXPECT_TRUE(Utils::getXMLValue("<F>true </F>", "F", value));
    EXPECT_FALSE(value);
}

TEST_F(UtilsMessages, MissingFlagLeavesTheOutputUnchanged)
{
    bool value = true;
    EXPECT_FALSE(Utils::getXMLValue("<G>false</G>", "F", value));
    EXPECT_TRUE(value);
}

// ---- getAndRemoveXMLValue ---------------------------------------------------------------------

TEST_F(UtilsMessages, TakingAValueRemovesTheWholeElement)
{
    std::string xml = "a<E>1</E>b<E>2</E>";
    std::string value;
    EXPECT_TRUE(Utils::getAndRemoveXMLValue(xml, "E", value));
    EXPECT_EQ(value, "1");
    EXPECT_EQ(xml, "ab<E>2</E>");
    EXPECT_TRUE(log.contains("getAndRemoveXMLValue = 1", 5));
    EXPECT_TRUE(Utils::getAndRemoveXMLValue(xml, "E", value));
    EXPECT_EQ(xml, "ab");
    EXPECT_FALSE(Utils::getAndRemoveXMLValue(xml, "E", value));
    EXPECT_EQ(value, "2");
}

TEST_F(UtilsMessages, TakingAValueNeedsBothTagsInOrder)
{
    std::string value = "old";
    for (std::string xml : {"<E>open", "close</E>", "</E>x<E>", ""}) {
        const std::string before = xml;
        EXPECT_FALSE(Utils::getAndRemoveXMLValue(xml, "E", value));
        EXPECT_EQ(xml, before);
    }
    EXPECT_EQ(value, "old");
}

// ---- Parsing the overview ---------------------------------------------------------------------

TEST_F(UtilsMessages, OverviewSetsIdentityFlagsAndRow)
{
    DialPlan plan;
    log.clear();
    EXPECT_TRUE(Utils::parseXMLDialPlanOverview(
        overviewMessage("<DialPlanEnabled>true</DialPlanEnabled><DialPlanId>P7</DialPlanId>"
                        "<DialPlanError>true</DialPlanError><DialPlanErrorRow>4</DialPlanErrorRow>"),
        plan));
    EXPECT_EQ(plan.getIdentity(), "P7");
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 4u);
    EXPECT_TRUE(log.contains("parseXMLDialPlanOverview: DIALPLANID = P7, DIALPLANENABLED = 1, DIALPLANERROR = 1, "
                             "DIALPLANERRORROW = 4",
                             5));
}

TEST_F(UtilsMessages, OverviewWithOnlyAnIdentityClearsTheOtherFields)
{
    DialPlan plan;
    plan.setEnabled(true);
    plan.setError(true);
    plan.setErrorRow(9);
    EXPECT_TRUE(Utils::parseXMLDialPlanOverview("<DialPlanId>P8</DialPlanId>", plan));
    EXPECT_EQ(plan.getIdentity(), "P8");
    EXPECT_FALSE(plan.getEnabled());
    EXPECT_FALSE(plan.getError());
    EXPECT_EQ(plan.getErrorRow(), 0u);
}

TEST_F(UtilsMessages, OverviewWithoutIdentityChangesNothing)
{
    DialPlan plan;
    plan.setIdentity("keep");
    plan.setEnabled(true);
    log.clear();
    EXPECT_FALSE(Utils::parseXMLDialPlanOverview(
        overviewMessage("<DialPlanEnabled>false</DialPlanEnabled><DialPlanId>unclosed"), plan));
    EXPECT_EQ(plan.getIdentity(), "keep");
    EXPECT_TRUE(plan.getEnabled());
    EXPECT_TRUE(log.contains("dial plan ID empty", 5));
}

// ---- Parsing entries --------------------------------------------------------------------------

std::string entryXml(const std::string& digits, const std::string& extra = "")
{
    return "<Entry><DigitString>" + digits + "</DigitString>" + extra + "</Entry>";
}

TEST_F(UtilsMessages, ThreeEntriesLoadInOrder)
{
    DialPlan plan;
    EXPECT_TRUE(Utils::parseXMLDialPlanEntries(entriesMessage(entryXml("1") + entryXml("2") + entryXml("3")), plan));
    ASSERT_EQ(plan.getNumberOfEntries(), 3);
    EXPECT_EQ(plan.getEntry(0)->digitString, "1");
    EXPECT_EQ(plan.getEntry(1)->digitString, "2");
    EXPECT_EQ(plan.getEntry(2)->digitString, "3");
}

TEST_F(UtilsMessages, ResponseWithoutEntriesEmptiesThePlan)
{
    DialPlan plan;
    plan.setNumberOfEntries(4);
    log.clear();
    const std::string response = entriesMessage("<Result>OK</Result>");
    EXPECT_FALSE(Utils::parseXMLDialPlanEntries(response, plan));
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
    EXPECT_TRUE(log.contains("parseXMLDialPlanEntries = " + response, 5));
}

TEST_F(UtilsMessages, EntryWithoutTimerLoadsTimerZero)
{
    DialPlan plan;
    plan.getEntry(0)->timer = 7;
    Utils::parseXMLDialPlanEntries(entryXml("5", "<Action>S</Action>"), plan);
    EXPECT_EQ(plan.getEntry(0)->timer, 0u);
}

TEST_F(UtilsMessages, EntryFieldsMissingFromTheResponseAreEmptyZeroOrFalse)
{
    t_dialPlanEntry entry = sampleEntry();
    EXPECT_TRUE(Utils::parseXMLDialPlanEntry("<Id>3</Id>", entry));
    EXPECT_EQ(entry.digitString, "");
    EXPECT_EQ(entry.action, "");
    EXPECT_EQ(entry.minDigitLength, 0u);
    EXPECT_EQ(entry.maxDigitLength, 0u);
    EXPECT_EQ(entry.timer, 0u);
    EXPECT_EQ(entry.terminator, "");
    EXPECT_EQ(entry.specialNumberIndication, "");
    EXPECT_EQ(entry.comment, "");
    EXPECT_FALSE(entry.terminatorSent);
}

TEST_F(UtilsMessages, EntryIsReadFieldByFieldAndLogged)
{
    t_dialPlanEntry entry;
    const std::string inner = kSampleEntryXml.substr(7, kSampleEntryXml.size() - 15);
    EXPECT_TRUE(Utils::parseXMLDialPlanEntry(inner, entry));
    EXPECT_EQ(Utils::createXMLDialPlanEntry(0, entry), kSampleEntryXml);
    EXPECT_TRUE(log.contains("parseXMLDialPlanEntry: DigitString = 0x, Action = S, Terminator = #, SpecialNumber = b, "
                             "Comment = outside line MinimumDigitLength = 2 MaximumDigitLength = 24, Timer = 3, "
                             "TerminatorSent = 1",
                             5));
}

TEST_F(UtilsMessages, AtMostFiftyEntriesAreLoaded)
{
    DialPlan plan;
    std::string body;
    for (int i = 1; i <= 60; ++i) body += entryXml(std::to_string(i));
    EXPECT_TRUE(Utils::parseXMLDialPlanEntries(entriesMessage(body), plan));
    ASSERT_EQ(plan.getNumberOfEntries(), 50);
    EXPECT_EQ(plan.getEntry(49)->digitString, "50");
}

TEST_F(UtilsMessages, UnclosedEntryEndsTheReading)
{
    DialPlan plan;
    Utils::parseXMLDialPlanEntries(entryXml("1") + "<Entry><DigitString>2</DigitString>", plan);
    ASSERT_EQ(plan.getNumberOfEntries(), 1);
    EXPECT_EQ(plan.getEntry(0)->digitString, "1");
}

TEST_F(UtilsMessages, OutOfOrderEntryTagsLoadNothing)
{
    DialPlan plan;
    Utils::parseXMLDialPlanEntries("</Entry>" + entryXml("1"), plan);
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
}

TEST_F(UtilsMessages, NestedEntryIsTakenUpToTheFirstClosingTag)
{
    DialPlan plan;
    Utils::parseXMLDialPlanEntries("<Entry><Entry><DigitString>7</DigitString></Entry></Entry>", plan);
    ASSERT_EQ(plan.getNumberOfEntries(), 1);
    EXPECT_EQ(plan.getEntry(0)->digitString, "7");
}

TEST_F(UtilsMessages, RepeatedFieldInAnEntryGivesTheFirst)
{
    DialPlan plan;
    Utils::parseXMLDialPlanEntries(entryXml("1", "<DigitString>2</DigitString><Timer>4</Timer><Timer>5</Timer>"), plan);
    ASSERT_EQ(plan.getNumberOfEntries(), 1);
    EXPECT_EQ(plan.getEntry(0)->digitString, "1");
    EXPECT_EQ(plan.getEntry(0)->timer, 4u);
}

TEST_F(UtilsMessages, HighBytesAndNulBytesSurviveInEntryValues)
{
    DialPlan plan;
    const std::string digits("1\0\xFE", 3);
    Utils::parseXMLDialPlanEntries(entryXml(digits, std::string("<Comment>\xE4\0z</Comment>", 22)), plan);
    ASSERT_EQ(plan.getNumberOfEntries(), 1);
    EXPECT_EQ(plan.getEntry(0)->digitString, digits);
    EXPECT_EQ(plan.getEntry(0)->comment, std::string("\xE4\0z", 3));
}

TEST_F(UtilsMessages, OneMegabyteResponseIsReadWithinTheCapacity)
{
    DialPlan plan;
    std::string response = entriesMessage(entryXml("1", "<Comment>" + std::string(1 << 20, 'c') + "</Comment>"));
    while (response.size() < (2u << 20)) response += entryXml("2");
    EXPECT_TRUE(Utils::parseXMLDialPlanEntries(response, plan));
    ASSERT_EQ(plan.getNumberOfEntries(), 50);
    EXPECT_EQ(plan.getEntry(0)->comment.size(), 1u << 20);
    EXPECT_EQ(plan.getEntry(49)->digitString, "2");
}

TEST_F(UtilsMessages, OneMegabyteOfUnclosedTagsLoadsNothing)
{
    DialPlan plan;
    std::string response;
    while (response.size() < (1u << 20)) response += "<Entry><DigitString>";
    EXPECT_FALSE(Utils::parseXMLDialPlanEntries(response, plan));
    EXPECT_EQ(plan.getNumberOfEntries(), 0);
}

}  // namespace
