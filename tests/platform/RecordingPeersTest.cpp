// The recording peer services: the data access service answers reads from what was written,
// the media control, team service and clock answer as a phone's would, and all record.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RecordingPeers.h"

namespace {

const std::string kXmlHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string message(const std::string& schema, const std::string& reason, const std::string& fields = "")
{
    return kXmlHeader + "<Schema name=\"" + schema + "\">" + element("ReasonForMessage", reason) + fields +
           "</Schema>";
}

std::string overviewFields(const std::string& id)
{
    return element("DialPlanEnabled", "true") + element("DialPlanId", id) + element("DialPlanError", "false") +
           element("DialPlanErrorRow", "0");
}

std::string entry(int id, const std::string& digits)
{
    return element("Entry", element("Id", std::to_string(id)) + element(DASUtilsStrings::DigitStringTagName, digits) +
                                element(DASUtilsStrings::ActionTagName, "S"));
}

class RecordingDataAccessServiceTest : public ::testing::Test {
protected:
    RecordingDataAccessService das;
    const std::string& overview = DASUtilsStrings::DialPlanOverviewSchema;
    const std::string& entries = DASUtilsStrings::DialPlanEntriesSchema;

    std::string read(const std::string& schema)
    {
        return das.processRequest(message(schema, DASUtilsStrings::ReadRequest));
    }
};

}  // namespace

TEST_F(RecordingDataAccessServiceTest, AReadOfNothingStoredGivesAnEmptySchema)
{
    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + overview + "\"></Schema>", read(overview));
}

TEST_F(RecordingDataAccessServiceTest, AnOverviewUpdateIsAnsweredByTheNextRead)
{
    das.processRequest(message(overview, DASUtilsStrings::UpdateRequest, overviewFields("A1")));

    const std::string response = read(overview);

    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + overview + "\">" + overviewFields("A1") + "</Schema>", response);
    EXPECT_NE(std::string::npos, response.find(element("DialPlanId", "A1")));
}

TEST_F(RecordingDataAccessServiceTest, ALaterUpdateReplacesTheEarlierOne)
{
    das.processRequest(message(overview, DASUtilsStrings::UpdateRequest, overviewFields("A1")));
    das.processRequest(message(overview, DASUtilsStrings::UpdateRequest, overviewFields("B2")));

    const std::string response = read(overview);
    EXPECT_EQ(std::string::npos, response.find("A1"));
    EXPECT_NE(std::string::npos, response.find(element("DialPlanId", "B2")));
}

TEST_F(RecordingDataAccessServiceTest, WrittenEntriesAreReadBackInOrder)
{
    das.processRequest(message(entries, DASUtilsStrings::WriteRequest, entry(1, "110") + entry(2, "0xxx")));

    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + entries + "\">" + entry(1, "110") + entry(2, "0xxx") + "</Schema>",
              read(entries));
    EXPECT_EQ(entry(1, "110") + entry(2, "0xxx"), das.storedBody(entries));
}

TEST_F(RecordingDataAccessServiceTest, ADeleteEmptiesTheEntriesAndLeavesTheOverview)
{
    das.processRequest(message(overview, DASUtilsStrings::UpdateRequest, overviewFields("A1")));
    das.processRequest(message(entries, DASUtilsStrings::WriteRequest, entry(1, "110")));

    das.processRequest(message(entries, DASUtilsStrings::DeleteRequest));

    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + entries + "\"></Schema>", read(entries));
    EXPECT_NE(std::string::npos, read(overview).find(element("DialPlanId", "A1")));
}

TEST_F(RecordingDataAccessServiceTest, DeleteThenWriteStoresOnlyTheNewEntries)
{
    das.processRequest(message(entries, DASUtilsStrings::WriteRequest, entry(1, "110") + entry(2, "112")));
    das.processRequest(message(entries, DASUtilsStrings::DeleteRequest));
    das.processRequest(message(entries, DASUtilsStrings::WriteRequest, entry(1, "999")));

    EXPECT_EQ(entry(1, "999"), das.storedBody(entries));
}

TEST_F(RecordingDataAccessServiceTest, ChangesAreAcknowledged)
{
    const std::string response = das.processRequest(message(entries, DASUtilsStrings::DeleteRequest));
    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + entries + "\"><Result>OK</Result></Schema>", response);
}

TEST_F(RecordingDataAccessServiceTest, EveryRequestIsRecordedAsSent)
{
    const std::string first = message(entries, DASUtilsStrings::DeleteRequest);
    const std::string second = message(overview, DASUtilsStrings::ReadRequest);
    das.processRequest(first);
    das.processRequest(second);

    EXPECT_EQ((std::vector<std::string>{first, second}), das.requests());
    das.clearRequests();
    EXPECT_TRUE(das.requests().empty());
}

TEST_F(RecordingDataAccessServiceTest, ACannedReadAnswersAsItStands)
{
    das.processRequest(message(overview, DASUtilsStrings::UpdateRequest, overviewFields("A1")));
    das.setReadResponse(overview, "garbage");

    EXPECT_EQ("garbage", read(overview));
    EXPECT_EQ(kXmlHeader + "<Schema name=\"" + entries + "\"></Schema>", read(entries)) << "other schemas unaffected";
}

TEST_F(RecordingDataAccessServiceTest, NonsenseRequestsAreRecordedAndChangeNothing)
{
    das.processRequest(message(entries, DASUtilsStrings::WriteRequest, entry(1, "110")));
    for (const std::string request : {"", "<Schema", "no xml at all", "<ReasonForMessage>WriteRequest"}) {
        das.processRequest(request);
    }
    EXPECT_EQ(entry(1, "110"), das.storedBody(entries));
    EXPECT_EQ(5u, das.requests().size());
}

TEST(DASUtilsStrings, NamesAreDistinctAndNotEmpty)
{
    const std::vector<std::string> kinds = {DASUtilsStrings::ReadRequest, DASUtilsStrings::WriteRequest,
                                            DASUtilsStrings::UpdateRequest, DASUtilsStrings::DeleteRequest};
    const std::vector<std::string> tags = {
        DASUtilsStrings::DigitStringTagName,        DASUtilsStrings::ActionTagName,
        DASUtilsStrings::MinimumDigitLengthTagName, DASUtilsStrings::MaximumDigitLengthTagName,
        DASUtilsStrings::TimerTagName,              DASUtilsStrings::TerminatorTagName,
        DASUtilsStrings::SpecialNumberTagName,      DASUtilsStrings::CommentTagName,
        DASUtilsStrings::TerminatorSentTagName};
    for (const auto& names : {kinds, tags}) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_FALSE(names[i].empty());
            for (std::size_t j = i + 1; j < names.size(); ++j) EXPECT_NE(names[i], names[j]);
        }
    }
    EXPECT_NE(DASUtilsStrings::DialPlanOverviewSchema, DASUtilsStrings::DialPlanEntriesSchema);
}

TEST(RecordingMediaControl, RecordsPlayAndStopWithTheirArguments)
{
    RecordingMediaControl media;
    EXPECT_TRUE(media.playTone("<Tone>dial</Tone>", -1, -1, -1));
    EXPECT_TRUE(media.stopTone("<Tone>dial</Tone>"));

    EXPECT_EQ((std::vector<std::string>{"play <Tone>dial</Tone> -1 -1 -1", "stop <Tone>dial</Tone>"}), media.calls());
    media.clearCalls();
    EXPECT_TRUE(media.calls().empty());
}

TEST(RecordingTeamService, AnswersPerLineAndRecordsTheQueries)
{
    RecordingTeamService team;
    team.setLine("line1", 1, "2001");

    EXPECT_EQ(1, team.getHotWarmLineType("line1"));
    EXPECT_EQ("2001", team.getHotWarmLineDestination("line1"));
    EXPECT_EQ(0, team.getHotWarmLineType("line2"));
    EXPECT_EQ("??", team.getHotWarmLineDestination("line2"));

    EXPECT_EQ((std::vector<std::string>{"type line1", "destination line1", "type line2", "destination line2"}),
              team.queries());
}

TEST(FixedClock, AlwaysTellsTheSameDateAndTime)
{
    FixedClock clock(2026, 11, 22, 9, 5, 7);
    int day = 0, month = 0, year = 0, hour = 0, minute = 0, second = 0;
    clock.getDate(day, month, year);
    clock.getTime(hour, minute, second);

    EXPECT_EQ(22, day);
    EXPECT_EQ(11, month);
    EXPECT_EQ(2026, year);
    EXPECT_EQ(9, hour);
    EXPECT_EQ(5, minute);
    EXPECT_EQ(7, second);
}

TEST(RecordingPeers, AreFoundAsExecutablesAndCastToTheirInterfaces)
{
    RecordingDataAccessService das;
    RecordingMediaControl media;
    RecordingTeamService team;
    FixedClock clock(2026, 1, 1, 0, 0, 0);
    Executable* peers[] = {&das, &media, &team, &clock};

    EXPECT_NE(nullptr, dynamic_cast<DataAccessServiceIfc*>(peers[0]));
    EXPECT_NE(nullptr, dynamic_cast<MediaControlServiceIfc*>(peers[1]));
    EXPECT_NE(nullptr, dynamic_cast<TeamServiceIfc*>(peers[2]));
    EXPECT_NE(nullptr, dynamic_cast<ClockServiceIfc*>(peers[3]));
    EXPECT_EQ(nullptr, dynamic_cast<TeamServiceIfc*>(peers[0]));
}
