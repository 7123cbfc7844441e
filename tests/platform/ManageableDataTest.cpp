// The managed configuration container: its text form, its paths and rows, and how a
// deserialised change merges into what it holds.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ManageableData.h"

namespace {

std::vector<std::string> rootIdsOf(const ManageableData& data)
{
    std::vector<std::string> ids;
    data.getRootIds(ids);
    return ids;
}

std::string valueAt(const ManageableData& data, const std::string& path)
{
    std::string value = "<absent>";
    // An absent path keeps the sentinel, which the tests compare.
    (void)data.interogate(path, value);
    return value;
}

// Reads a column of a document row by row as text, "<null>" for a null row.
std::vector<std::string> column(ManageableData& data, const std::string& rootId, const std::string& path)
{
    std::vector<std::string> values;
    DxlDocument* document = data.getDocument(rootId);
    if (document == nullptr) return values;
    auto rows = document->select(path);
    for (; !rows->eof(); rows->next()) {
        std::string value;
        bool isNull = false;
        EXPECT_TRUE(rows->getValue(value, &isNull));
        values.push_back(isNull ? "<null>" : value);
    }
    return values;
}

ManageableData canonicalSettingsWithTwoLookUpRows()
{
    ManageableData data;
    EXPECT_TRUE(data.deserialize("canonicalDialSettings{countryCode=\"49\";areaCode=\"89\";"
                                 "lookUp{localCode=\"89\";internationalCode=\"4989\"};"
                                 "lookUp{localCode=\"30\";internationalCode=\"4930\"}}"));
    return data;
}

}  // namespace

// ---- text form ---------------------------------------------------------------------------

TEST(ManageableDataText, PlainItemsSerialiseAsNameEqualsQuotedValue)
{
    ManageableData data;
    data.populate("software-type", "software-type", "Valtrek SIP");
    data.populate("server-type", "server-type", "7");

    EXPECT_EQ("software-type=\"Valtrek SIP\";server-type=\"7\"", data.serialize());
}

TEST(ManageableDataText, StructuredItemsSerialiseTheirChildrenInBraces)
{
    ManageableData data;
    data.populate("canonicalDialSettings", "countryCode", "49");
    data.populate("canonicalDialSettings", "lookUp[1]/localCode", "89");

    EXPECT_EQ("canonicalDialSettings{countryCode=\"49\";lookUp[1]{localCode=\"89\"}}", data.serialize());
}

TEST(ManageableDataText, AnEmptyContainerSerialisesToAnEmptyText)
{
    EXPECT_EQ("", ManageableData().serialize());
}

TEST(ManageableDataText, RoundTripKeepsNamesValuesAndOrder)
{
    ManageableData original = canonicalSettingsWithTwoLookUpRows();
    original.populate("emergency-e164", "emergency-e164", "+4989112");
    original.setRootId("hot-keypad-dialling");  // a root without value or children

    ManageableData copy;
    ASSERT_TRUE(copy.deserialize(original.serialize()));

    EXPECT_EQ(original.serialize(), copy.serialize());
    EXPECT_EQ(original.items(), copy.items());
    EXPECT_EQ(rootIdsOf(original), rootIdsOf(copy));
}

TEST(ManageableDataText, RoundTripKeepsQuotesEscapesControlBytesAndHighBytes)
{
    std::string awkward = "say \"hi\" \\ back\\slash\nnew line\r\ttab";
    awkward += '\0';
    awkward += "after NUL \x01\x1f\x7f ";
    awkward += "\xc3\xa4\xe2\x82\xac\xff";  // UTF-8 and a stray byte above 127
    ManageableData original;
    original.populate("comment", "comment", awkward);

    const std::string text = original.serialize();
    ManageableData copy;
    ASSERT_TRUE(copy.deserialize(text));

    std::string value;
    ASSERT_TRUE(copy.interogate("comment", "comment", value));
    EXPECT_EQ(awkward, value);
    EXPECT_EQ(std::string::npos, text.find('\0')) << "control bytes are escaped in the text";
    EXPECT_EQ(std::string::npos, text.find('\n'));
}

TEST(ManageableDataText, OddNamesAreQuotedAndSurviveTheRoundTrip)
{
    const std::vector<std::string> names = {"with blank", "a=b", "semi;colon", "{brace}", "quote\"d",
                                            "back\\slash", "", "caf\xc3\xa9", "tab\there", "sl/ash"};
    ManageableData original;
    DataNode& odd = original.getOrAddRoot("odd");
    for (const auto& name : names) odd.addChild(name).setValue("v:" + name);

    ManageableData copy;
    ASSERT_TRUE(copy.deserialize(original.serialize())) << original.serialize();

    const DataNode* copied = copy.getRoot("odd");
    ASSERT_NE(nullptr, copied);
    ASSERT_EQ(names.size(), copied->getChildren().size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(names[i], copied->getChildren()[i]->getName());
        EXPECT_EQ("v:" + names[i], copied->getChildren()[i]->getValue());
    }
}

TEST(ManageableDataText, OnlyNamesThatNeedItAreQuoted)
{
    ManageableData data;
    data.getOrAddRoot("r").addChild("with blank").setValue("1");
    data.getOrAddRoot("r").addChild("").setValue("2");
    data.getOrAddRoot("r").addChild("dialPlanEntry[1]").setValue("3");

    EXPECT_EQ(R"(r{"with blank"="1";""="2";dialPlanEntry[1]="3"})", data.serialize());
}

TEST(ManageableDataText, NamesWithHighBytesNeedNoQuotes)
{
    ManageableData data;
    data.populate("caf\xc3\xa9", "caf\xc3\xa9", "1");
    EXPECT_EQ("caf\xc3\xa9=\"1\"", data.serialize());
}

TEST(ManageableDataText, BlanksBetweenTokensAreAllowed)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize(" a = \"1\" ;\n b {\n\tc = \"2\" ; d\r\n} "));

    EXPECT_EQ("1", valueAt(data, "a"));
    EXPECT_EQ("2", valueAt(data, "b/c"));
    EXPECT_NE(nullptr, data.interogate("b/d"));
}

TEST(ManageableDataText, HexEscapesAcceptEitherCase)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("a=\"\\x4a\\x4B\""));
    EXPECT_EQ("JK", valueAt(data, "a"));
}

TEST(ManageableDataText, EmptyBracesAreAccepted)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("a{}"));
    const DataNode* a = data.getRoot("a");
    ASSERT_NE(nullptr, a);
    EXPECT_FALSE(a->hasValue());
    EXPECT_TRUE(a->getChildren().empty());
}

TEST(ManageableDataText, AnEmptyTextIsAcceptedAndChangesNothing)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    const std::string before = data.serialize();
    EXPECT_TRUE(data.deserialize(""));
    EXPECT_TRUE(data.deserialize("  \n"));
    EXPECT_EQ(before, data.serialize());
}

TEST(ManageableDataText, MalformedTextsAreRefusedAndLeaveTheContainerUnchanged)
{
    const std::vector<std::string> malformed = {
        "a=\"unterminated",     // no closing quote
        "a=\"x\\",              // escape at the end
        "a=\"bad \\q escape\"",  // unknown escape
        "a=\"\\x4\"",           // short hex escape
        "a=\"\\xZZ\"",          // not hex
        "a=unquoted",           // values are always quoted
        "a=",                   // no value after '='
        "a{b=\"1\"",            // missing '}'
        "a{b=\"1\"}}",          // one '}' too many
        "}",                    // stray '}'
        "a;",                   // trailing separator
        ";a",                   // leading separator
        "a;;b",                 // empty node
        "a b",                  // two nodes without separator
        "a=\"1\"=\"2\"",        // two values
        "a{b;}",                // separator before '}'
        "=\"1\"",               // value without name
        "a=\"1\" junk",         // trailing junk
    };
    for (const auto& text : malformed) {
        ManageableData data = canonicalSettingsWithTwoLookUpRows();
        data.setRootId("canonicalDialSettings");
        const std::string before = data.serialize();

        EXPECT_FALSE(data.deserialize(text)) << text;
        EXPECT_EQ(before, data.serialize()) << text;
        EXPECT_EQ("canonicalDialSettings", data.getCurrentRootId()) << text;
    }
}

TEST(ManageableDataText, AMalformedTailRefusesTheWholeTextEvenAfterGoodRoots)
{
    ManageableData data;
    data.populate("a", "a", "old");

    EXPECT_FALSE(data.deserialize("a=\"new\";b=\"2\";c=\"oops"));

    EXPECT_EQ("old", valueAt(data, "a"));
    EXPECT_EQ(nullptr, data.getRoot("b"));
}

// ---- nesting bounds ------------------------------------------------------------------------

namespace {
std::string nested(int levels)
{
    std::string text;
    for (int i = 0; i < levels; ++i) text += "n{";
    text += "leaf=\"x\"";
    for (int i = 0; i < levels; ++i) text += "}";
    return text;
}
}  // namespace

TEST(ManageableDataNesting, SixtyFourLevelsBelowARootAreAccepted)
{
    ManageableData data;
    EXPECT_TRUE(data.deserialize(nested(64)));
}

TEST(ManageableDataNesting, DeeperTextsAreRefused)
{
    ManageableData data;
    EXPECT_FALSE(data.deserialize(nested(65)));
    EXPECT_TRUE(rootIdsOf(data).empty());
}

TEST(ManageableDataNesting, HostilelyDeepTextIsRefusedWithoutExhaustingTheStack)
{
    ManageableData data;
    EXPECT_FALSE(data.deserialize(std::string(200000, '{')));
    EXPECT_FALSE(data.deserialize(nested(100000)));
    EXPECT_TRUE(rootIdsOf(data).empty());
}

TEST(ManageableDataNesting, PathsAreBoundedLikeTexts)
{
    std::string path = "n";
    for (int i = 1; i < 64; ++i) path += "/n";
    ManageableData data;
    EXPECT_TRUE(data.populate("root", path, "deep"));
    EXPECT_EQ("deep", valueAt(data, "root/" + path));

    EXPECT_FALSE(data.populate("root", path + "/n", "too deep"));
    EXPECT_EQ(nullptr, data.interogate("root/" + path + "/n"));
}

// ---- paths ------------------------------------------------------------------------------

TEST(ManageableDataPaths, IndexedRowsAreFoundByTheirNumber)
{
    ManageableData data;
    data.setRootId("dialPlanSettings");
    for (int n = 1; n <= 3; ++n) {
        const std::string row = "dialPlanEntry[" + std::to_string(n) + "]/";
        ASSERT_TRUE(data.populate(row + "digit-string", "10" + std::to_string(n)));
        ASSERT_TRUE(data.populate(row + "timer", std::to_string(n + 4)));
    }

    EXPECT_EQ("7", valueAt(data, "dialPlanEntry[3]/timer"));
    EXPECT_EQ("101", valueAt(data, "dialPlanEntry[1]/digit-string"));
    EXPECT_EQ("7", valueAt(data, "dialPlanSettings/dialPlanEntry[3]/timer"));
    EXPECT_EQ(nullptr, data.interogate("dialPlanEntry[4]/timer"));
}

TEST(ManageableDataPaths, AGapInTheRowsIsAGap)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("dialPlanSettings{dialPlanEntry[1]{digit-string=\"1\"};"
                                 "dialPlanEntry[2]{digit-string=\"2\"};dialPlanEntry[4]{digit-string=\"4\"}}"));
    data.setRootId("dialPlanSettings");

    EXPECT_EQ("2", valueAt(data, "dialPlanEntry[2]/digit-string"));
    EXPECT_EQ(nullptr, data.interogate("dialPlanEntry[3]/digit-string"));
    EXPECT_EQ("4", valueAt(data, "dialPlanEntry[4]/digit-string"));
}

TEST(ManageableDataPaths, AnIndexCountsRepeatedChildrenOfTheSameName)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();

    EXPECT_EQ("89", valueAt(data, "lookUp/localCode")) << "without an index: the first row";
    EXPECT_EQ("89", valueAt(data, "lookUp[1]/localCode"));
    EXPECT_EQ("4930", valueAt(data, "lookUp[2]/internationalCode"));
    EXPECT_EQ(nullptr, data.interogate("lookUp[3]/localCode"));
    EXPECT_EQ(nullptr, data.interogate("lookUp[0]/localCode"));
}

TEST(ManageableDataPaths, MalformedPathsFindNothing)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    for (const std::string path : {"", "/", "/countryCode", "countryCode/", "lookUp//localCode", "lookUp[]/localCode",
                                   "lookUp[x]/localCode", "[1]/localCode", "lookUp[0]/localCode", "lookUp[1/localCode",
                                   "lookUp]1[/localCode", "lookUp[1][2]/localCode"}) {
        EXPECT_EQ(nullptr, data.interogate(path)) << path;
        EXPECT_FALSE(data.populate("canonicalDialSettings", path, "v")) << path;
    }
}

TEST(ManageableDataPaths, TheCurrentRootIsSearchedFirst)
{
    ManageableData data;
    data.populate("first", "shared", "from first");
    data.populate("second", "shared", "from second");

    EXPECT_EQ("from first", valueAt(data, "shared")) << "no current root: roots in order";
    data.setRootId("second");
    EXPECT_EQ("from second", valueAt(data, "shared"));
    EXPECT_EQ("from first", valueAt(data, "first/shared"));
}

TEST(ManageableDataPaths, ARootIdNamesTheRootsOwnNode)
{
    ManageableData data;
    data.populate("server-type", "server-type", "7");
    data.setRootId("server-type");

    const DataNode* node = data.interogate("server-type");
    ASSERT_NE(nullptr, node);
    EXPECT_EQ("7", node->getValue());
    EXPECT_EQ(nullptr, data.interogate("fac-prefix-numbers"));
}

TEST(ManageableDataPaths, ThreeArgumentInterogateReadsOneRootOnly)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    data.populate("emergency-e164", "emergency-e164", "+4989112");
    std::string value;

    EXPECT_TRUE(data.interogate("emergency-e164", "emergency-e164", value));
    EXPECT_EQ("+4989112", value);
    EXPECT_TRUE(data.interogate("canonicalDialSettings", "areaCode", value));
    EXPECT_EQ("89", value);

    value = "untouched";
    EXPECT_FALSE(data.interogate("emergency-e164", "areaCode", value));
    EXPECT_FALSE(data.interogate("absent", "absent", value));
    EXPECT_EQ("untouched", value);
}

TEST(ManageableDataPaths, ANodeWithoutValueIsPresentWithAnEmptyValue)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("hot-keypad-dialling{immediateDiallingEnabled}"));
    data.setRootId("hot-keypad-dialling");

    const DataNode* node = data.interogate("immediateDiallingEnabled");
    ASSERT_NE(nullptr, node);
    EXPECT_FALSE(node->hasValue());
    EXPECT_EQ("", node->getValue());
}

// ---- documents and rows -------------------------------------------------------------------

TEST(ManageableDataDocument, SelectReadsAColumnOverEveryRow)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();

    EXPECT_EQ((std::vector<std::string>{"89", "30"}), column(data, "canonicalDialSettings", "lookUp/localCode"));
    EXPECT_EQ((std::vector<std::string>{"4989", "4930"}),
              column(data, "canonicalDialSettings", "lookUp/internationalCode"));
}

TEST(ManageableDataDocument, ARowWithoutTheItemOrWithoutValueIsNull)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("canonicalDialSettings{lookUp{localCode=\"89\";internationalCode=\"4989\"};"
                                 "lookUp{localCode=\"30\"};lookUp{localCode=\"40\";internationalCode};"
                                 "lookUp{localCode=\"\";internationalCode=\"\"}}"));

    EXPECT_EQ((std::vector<std::string>{"89", "30", "40", ""}),
              column(data, "canonicalDialSettings", "lookUp/localCode"));
    EXPECT_EQ((std::vector<std::string>{"4989", "<null>", "<null>", ""}),
              column(data, "canonicalDialSettings", "lookUp/internationalCode"))
        << "an empty value is a value, not null";
}

TEST(ManageableDataDocument, IndexedRowsBelongToTheirGroup)
{
    ManageableData data;
    data.populate("canonicalDialSettings", "lookUp[1]/localCode", "89");
    data.populate("canonicalDialSettings", "lookUp[2]/localCode", "30");
    data.populate("canonicalDialSettings", "lookUpOther/localCode", "99");

    EXPECT_EQ((std::vector<std::string>{"89", "30"}), column(data, "canonicalDialSettings", "lookUp/localCode"));
}

TEST(ManageableDataDocument, AnAbsentGroupSelectsNoRows)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    EXPECT_TRUE(column(data, "canonicalDialSettings", "nothing/localCode").empty());
}

TEST(ManageableDataDocument, AnAbsentRootHasNoDocument)
{
    ManageableData data;
    EXPECT_EQ(nullptr, data.getDocument("canonicalDialSettings"));
}

TEST(ManageableDataDocument, AskingAgainGivesTheSameDocument)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    DxlDocument* first = data.getDocument("canonicalDialSettings");
    EXPECT_EQ(first, data.getDocument("canonicalDialSettings"));
}

TEST(ManageableDataDocument, ADocumentSeesLaterChangesOfItsRoot)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    DxlDocument* document = data.getDocument("canonicalDialSettings");
    ASSERT_TRUE(data.deserialize("canonicalDialSettings{lookUp{localCode=\"40\";internationalCode=\"4940\"}}"));

    auto rows = document->select("lookUp/localCode");
    std::string value;
    ASSERT_FALSE(rows->eof());
    EXPECT_TRUE(rows->getValue(value, nullptr));
    EXPECT_EQ("40", value);
    rows->next();
    EXPECT_TRUE(rows->eof());
}

TEST(ManageableDataDocument, AResultSetAtItsEndReportsNullAndStaysThere)
{
    DxlResultSet rows({{false, "a"}});
    rows.next();
    rows.next();
    std::string value = "x";
    bool isNull = false;
    EXPECT_TRUE(rows.eof());
    EXPECT_FALSE(rows.getValue(value, &isNull));
    EXPECT_TRUE(isNull);
    EXPECT_EQ("", value);
}

// ---- roots ----------------------------------------------------------------------------------

TEST(ManageableDataRoots, RootIdsComeInInsertionOrder)
{
    ManageableData data;
    data.setRootId("new-canonical-settings");
    data.addRootId("canonicalDialSettings");
    data.populate("autodialtimer", "autodialtimer", "4");
    data.setRootId("new-canonical-settings");  // already there: keeps its place

    EXPECT_EQ((std::vector<std::string>{"new-canonical-settings", "canonicalDialSettings", "autodialtimer"}),
              rootIdsOf(data));
}

TEST(ManageableDataRoots, SetRootIdKeepsTheOtherRoots)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    data.populate("emergency-e164", "emergency-e164", "112");

    data.setRootId("dialPlanSettings");

    EXPECT_EQ("dialPlanSettings", data.getCurrentRootId());
    EXPECT_EQ((std::vector<std::string>{"canonicalDialSettings", "emergency-e164", "dialPlanSettings"}),
              rootIdsOf(data));
    EXPECT_EQ("89", valueAt(data, "canonicalDialSettings/areaCode"));
}

TEST(ManageableDataRoots, AddRootIdLeavesTheCurrentRoot)
{
    ManageableData data;
    data.setRootId("a");
    data.addRootId("b");
    EXPECT_EQ("a", data.getCurrentRootId());
}

TEST(ManageableDataRoots, TheDictionaryIsKeptPerRoot)
{
    struct Store : DxlDictionary {} store;
    ManageableData data;
    data.setRootId("a", &store);
    data.addRootId("b");
    data.setRootId("a");  // no dictionary given: the one held stays

    EXPECT_EQ(&store, data.getDictionary("a"));
    EXPECT_EQ(nullptr, data.getDictionary("b"));
    EXPECT_EQ(nullptr, data.getDictionary("absent"));
}

TEST(ManageableDataRoots, RemoveRootIdRemovesOnlyThatRoot)
{
    ManageableData data;
    data.populate("new-canonical-settings", "new-canonical-settings", "");
    data.populate("canonicalDialSettings", "areaCode", "89");
    data.setRootId("new-canonical-settings");

    EXPECT_TRUE(data.removeRootId("new-canonical-settings"));
    EXPECT_FALSE(data.removeRootId("new-canonical-settings"));

    EXPECT_EQ((std::vector<std::string>{"canonicalDialSettings"}), rootIdsOf(data));
    EXPECT_EQ("", data.getCurrentRootId());
    EXPECT_EQ("canonicalDialSettings{areaCode=\"89\"}", data.serialize());
}

TEST(ManageableDataRoots, ClearAllRemovesEverything)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    data.setRootId("canonicalDialSettings");

    data.clearAll();

    EXPECT_TRUE(rootIdsOf(data).empty());
    EXPECT_EQ("", data.getCurrentRootId());
    EXPECT_EQ("", data.serialize());
    EXPECT_EQ(nullptr, data.interogate("areaCode"));
}

TEST(ManageableDataRoots, CopiesAreIndependent)
{
    ManageableData original = canonicalSettingsWithTwoLookUpRows();
    ManageableData copy = original;
    copy.populate("canonicalDialSettings", "areaCode", "30");

    EXPECT_EQ("89", valueAt(original, "canonicalDialSettings/areaCode"));
    EXPECT_EQ("30", valueAt(copy, "canonicalDialSettings/areaCode"));
}

TEST(ManageableDataRoots, ItemsListEveryValueWithItsPath)
{
    ManageableData data;
    data.populate("a", "a", "1");
    data.populate("b", "c/d", "2");

    const std::vector<std::pair<std::string, std::string>> expected = {{"a", "1"}, {"b/c/d", "2"}};
    EXPECT_EQ(expected, data.items());
}

// ---- populate -----------------------------------------------------------------------------

TEST(ManageableDataPopulate, AddsTheRootAndTheNodesOnThePath)
{
    ManageableData data;
    EXPECT_TRUE(data.populate("dial-plan-enabled", "dialPlanEnabled", "true"));

    EXPECT_EQ((std::vector<std::string>{"dial-plan-enabled"}), rootIdsOf(data));
    EXPECT_EQ("dial-plan-enabled{dialPlanEnabled=\"true\"}", data.serialize());
}

TEST(ManageableDataPopulate, ReplacesAValueAlreadyThere)
{
    ManageableData data;
    data.populate("r", "a/b", "1");
    data.populate("r", "a/b", "2");
    EXPECT_EQ("r{a{b=\"2\"}}", data.serialize());
}

TEST(ManageableDataPopulate, TheRootIdAsPathSetsTheRootsOwnValue)
{
    ManageableData data;
    EXPECT_TRUE(data.populate("emergency-e164", "emergency-e164", "112"));
    EXPECT_EQ("emergency-e164=\"112\"", data.serialize());
}

TEST(ManageableDataPopulate, TheShortFormWritesIntoTheCurrentRoot)
{
    ManageableData data;
    EXPECT_FALSE(data.populate("dialNeedsAccessCode", "1")) << "no current root yet";

    data.setRootId("canonicalDialSettings");
    EXPECT_TRUE(data.populate("dialNeedsAccessCode", "1"));
    EXPECT_EQ("canonicalDialSettings{dialNeedsAccessCode=\"1\"}", data.serialize());
}

TEST(ManageableDataPopulate, AnEmptyRootIdIsRefused)
{
    ManageableData data;
    EXPECT_FALSE(data.populate("", "a", "1"));
    EXPECT_TRUE(rootIdsOf(data).empty());
}

// ---- merging -------------------------------------------------------------------------------

TEST(ManageableDataMerge, AChangedItemReplacesItsValueAndTheOthersStay)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();

    ASSERT_TRUE(data.deserialize("canonicalDialSettings{areaCode=\"30\";nationalPrefix=\"0\"}"));

    EXPECT_EQ("49", valueAt(data, "canonicalDialSettings/countryCode"));
    EXPECT_EQ("30", valueAt(data, "canonicalDialSettings/areaCode"));
    EXPECT_EQ("0", valueAt(data, "canonicalDialSettings/nationalPrefix"));
    EXPECT_EQ((std::vector<std::string>{"89", "30"}), column(data, "canonicalDialSettings", "lookUp/localCode"));
}

TEST(ManageableDataMerge, AnItemWithoutValueLeavesTheHeldValue)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    ASSERT_TRUE(data.deserialize("canonicalDialSettings{areaCode}"));
    EXPECT_EQ("89", valueAt(data, "canonicalDialSettings/areaCode"));
}

TEST(ManageableDataMerge, AnEmptyValueIsAValue)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    ASSERT_TRUE(data.deserialize("canonicalDialSettings{areaCode=\"\"}"));
    EXPECT_EQ("", valueAt(data, "canonicalDialSettings/areaCode"));
}

TEST(ManageableDataMerge, RowsReplaceTheHeldRowsWhole)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();

    ASSERT_TRUE(data.deserialize("canonicalDialSettings{lookUp{localCode=\"40\";internationalCode=\"4940\"};"
                                 "lookUp{localCode=\"40\";internationalCode=\"4941\"};"
                                 "lookUp{localCode=\"69\";internationalCode=\"4969\"}}"));

    EXPECT_EQ((std::vector<std::string>{"40", "40", "69"}), column(data, "canonicalDialSettings", "lookUp/localCode"));
    EXPECT_EQ(R"(canonicalDialSettings{countryCode="49";areaCode="89";)"
              R"(lookUp{localCode="40";internationalCode="4940"};)"
              R"(lookUp{localCode="40";internationalCode="4941"};)"
              R"(lookUp{localCode="69";internationalCode="4969"}})",
              data.serialize())
        << "the new rows stand where the old ones stood";
}

TEST(ManageableDataMerge, ASingleRowReplacesASingleHeldRowWhole)
{
    ManageableData data;
    ASSERT_TRUE(data.deserialize("canonicalDialSettings{lookUp{localCode=\"89\";internationalCode=\"4989\"}}"));

    ASSERT_TRUE(data.deserialize("canonicalDialSettings{lookUp{localCode=\"30\"}}"));

    EXPECT_EQ((std::vector<std::string>{"<null>"}), column(data, "canonicalDialSettings", "lookUp/internationalCode"))
        << "no column of the old row survives";
}

TEST(ManageableDataMerge, NewRootsAreAppendedAndUnmentionedRootsStay)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    data.populate("emergency-e164", "emergency-e164", "112");

    ASSERT_TRUE(data.deserialize("autodialtimer=\"4\";emergency-e164=\"999\""));

    EXPECT_EQ((std::vector<std::string>{"canonicalDialSettings", "emergency-e164", "autodialtimer"}),
              rootIdsOf(data));
    EXPECT_EQ("999", valueAt(data, "emergency-e164"));
    EXPECT_EQ("4", valueAt(data, "autodialtimer"));
    EXPECT_EQ("89", valueAt(data, "canonicalDialSettings/areaCode"));
}

TEST(ManageableDataMerge, IntoAClearedContainerGivesExactlyTheText)
{
    ManageableData data = canonicalSettingsWithTwoLookUpRows();
    const std::string replacement = "canonicalDialSettings{countryCode=\"1\";areaCode=\"212\"}";

    data.clearAll();
    ASSERT_TRUE(data.deserialize(replacement));

    EXPECT_EQ(replacement, data.serialize());
}
