// The dial plan log file: its layout byte for byte, when it is deleted and written, and
// what happens when it cannot be written.

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "DialPlan.h"
#include "DialPlanLoggerTexts.h"
#include "ServiceHarness.h"
#include "TextFiles.h"

namespace {

const std::string kHeaderStart =
    "############## Tarnwheel Dial Plan Log File ##############\n"
    "creation date:   \n";
const std::string kHeaderEnd = "\n#########################################################\n";
// The harness clock: 22 November 2026, 09:05:07.
const std::string kHeader = kHeaderStart + "2026-11-22  09:05:07" + kHeaderEnd;
const std::string kEntryStart =
    "\n---------------------------------------------\n"
    "      Dial plan entry details:        \n";

bool fileExists(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

void setItem(ManageableData& data, const std::string& key, const std::string& value)
{
    data.populate(key, key, value);
}

void setRowItem(ManageableData& data, int row, const std::string& item, const std::string& value)
{
    data.populate("dialPlanSettings", "dialPlanEntry[" + std::to_string(row) + "]/" + item, value);
}

// Points the log file somewhere else for the life of the object.
class LogFileNameOverride {
public:
    explicit LogFileNameOverride(const std::string& path) : m_path(path), m_previous(dialPlanLoggerTexts_FileNameMips)
    {
        dialPlanLoggerTexts_FileNameMips = m_path.c_str();
    }
    ~LogFileNameOverride() { dialPlanLoggerTexts_FileNameMips = m_previous; }
    LogFileNameOverride(const LogFileNameOverride&) = delete;
    LogFileNameOverride& operator=(const LogFileNameOverride&) = delete;

private:
    std::string m_path;
    const char* m_previous;
};

class DialPlanLogFile : public ::testing::Test {
protected:
    ServiceHarness harness;
    DialPlan plan;

    void SetUp() override
    {
        plan.setContext(&harness.context);
        plan.setDAS(&harness.das);
    }

    std::string logFile() const { return readFile(harness.logFilePath()); }
};

TEST_F(DialPlanLogFile, PlanReadFromStorage)
{
    harness.das.setReadResponse(
        "DialPlanOverview",
        "<Schema name=\"DialPlanOverview\"><DialPlanEnabled>true</DialPlanEnabled><DialPlanId>Office</DialPlanId>"
        "<DialPlanError>false</DialPlanError><DialPlanErrorRow>0</DialPlanErrorRow></Schema>");
    harness.das.setReadResponse(
        "DialPlanEntries",
        "<Schema name=\"DialPlanEntries\"><Entry><Id>1</Id><DigitString>0</DigitString><Action>S</Action>"
        "<MinimumDigitLength>1</MinimumDigitLength><MaximumDigitLength>24</MaximumDigitLength><Timer>3</Timer>"
        "<Terminator>#</Terminator><SpecialNumber></SpecialNumber><Comment>trunk</Comment>"
        "<TerminatorSent>false</TerminatorSent></Entry><Entry><Id>2</Id><DigitString>112</DigitString>"
        "<Action>S</Action><MinimumDigitLength>3</MinimumDigitLength><MaximumDigitLength>3</MaximumDigitLength>"
        "<SpecialNumber>E</SpecialNumber><TerminatorSent>true</TerminatorSent></Entry></Schema>");

    ASSERT_TRUE(plan.readDialPlanOverviewFromDAS());
    EXPECT_FALSE(fileExists(harness.logFilePath()));
    ASSERT_TRUE(plan.readDialPlanEntriesFromDAS());

    EXPECT_EQ(logFile(), kHeader +
                             "\nenabled:    true"
                             "\nidentity:   Office"
                             "\nerror:      false"
                             "\nerror row:  " +
                             kEntryStart +
                             "\nentry number: ++++++++ 1"
                             "\ndigit string:          0"
                             "\naction:                S"
                             "\nminimum digit length:  1"
                             "\nmaximum digit length:  24"
                             "\ntimer:                 3"
                             "\nterminator:            #"
                             "\nspecial number:        "
                             "\ncomment:               trunk"
                             "\nterminator sent:       false" +
                             kEntryStart +
                             "\nentry number: ++++++++ 2"
                             "\ndigit string:          112"
                             "\naction:                S"
                             "\nminimum digit length:  3"
                             "\nmaximum digit length:  3"
                             "\ntimer:                 0"
                             "\nterminator:            "
                             "\nspecial number:        E"
                             "\ncomment:               "
                             "\nterminator sent:       true");
}

TEST_F(DialPlanLogFile, PlanSetFromConfigurationShowsTheRawValuesGiven)
{
    ManageableData config;
    setItem(config, "dial-plan-enabled", "true");
    setItem(config, "dial-plan-id", "P9");
    setRowItem(config, 1, "digit-string", "0");
    setRowItem(config, 1, "action", "S");
    setRowItem(config, 1, "max-digit-len", "");
    setRowItem(config, 1, "timer", "03");
    setRowItem(config, 1, "terminating-char-sent", "yes");
    setRowItem(config, 2, "digit-string", "110");
    setRowItem(config, 2, "action", "C");
    setRowItem(config, 2, "spec-num-indic", "E");
    setRowItem(config, 2, "comment", "police");

    ASSERT_TRUE(plan.setData(config));
    EXPECT_EQ(logFile(), kHeader +
                             "\nenabled:    true"
                             "\nidentity:   P9"
                             "\nerror:      false"
                             "\nerror row:  " +
                             kEntryStart +
                             "\nentry number: ++++++++ 1"
                             "\ndigit string:          0"
                             "\naction:                S"
                             "\nmaximum digit length:  "
                             "\ntimer:                 03"
                             "\nterminator sent:       yes" +
                             kEntryStart +
                             "\nentry number: ++++++++ 2"
                             "\ndigit string:          110"
                             "\naction:                C"
                             "\nspecial number:        E"
                             "\ncomment:               police");
}

TEST_F(DialPlanLogFile, FaultyPlanShowsErrorAndRow)
{
    ManageableData config;
    setItem(config, "dial-plan-id", "P9");
    setRowItem(config, 1, "digit-string", "1");
    setRowItem(config, 1, "action", "Z");

    ASSERT_FALSE(plan.setData(config));
    EXPECT_EQ(logFile(), kHeader +
                             "\nenabled:    false"
                             "\nidentity:   P9"
                             "\nerror:      true"
                             "\nerror row:  1" +
                             kEntryStart +
                             "\nentry number: ++++++++ 1"
                             "\ndigit string:          1"
                             "\naction:                Z");
}

TEST(DialPlanLogFileWithoutClock, HeaderHasNoDate)
{
    ServiceHarness harness;
    DialPlan plan;  // no context: no clock service
    ManageableData config;
    setItem(config, "dial-plan-id", "P1");
    ASSERT_TRUE(plan.setData(config));
    EXPECT_EQ(readFile(harness.logFilePath()),
              "############## Tarnwheel Dial Plan Log File ##############\n"
              "creation date:   \n"
              "\n#########################################################\n"
              "\nenabled:    false"
              "\nidentity:   P1"
              "\nerror:      false"
              "\nerror row:  ");
}

TEST_F(DialPlanLogFile, ErrorFalseLeavesTheErrorRowLabelBare)
{
    plan.setErrorRow(7);  // a row number without an error is not shown
    plan.logDialPlanHeader();
    plan.logDialPlan();
    const std::string content = logFile();
    ASSERT_GE(content.size(), 13u);
    EXPECT_EQ(content.substr(content.size() - 13), "\nerror row:  ");
}

TEST_F(DialPlanLogFile, SecondWriteWithoutNewHeaderHasNoHeader)
{
    ManageableData config;
    setItem(config, "dial-plan-id", "P1");
    setRowItem(config, 1, "digit-string", "5");
    setRowItem(config, 1, "action", "S");
    ASSERT_TRUE(plan.setData(config));
    const std::string plan1 = "\nenabled:    false\nidentity:   P1\nerror:      false\nerror row:  ";
    const std::string entries =
        kEntryStart + "\nentry number: ++++++++ 1\ndigit string:          5\naction:                S";
    ASSERT_EQ(logFile(), kHeader + plan1 + entries);

    plan.logDialPlan();
    EXPECT_EQ(logFile(), plan1 + entries);
}

TEST_F(DialPlanLogFile, WritingLogsItsSteps)
{
    CapturingLogSink log;
    plan.logDialPlanHeader();
    plan.logDialPlanEntries();
    plan.logDialPlan();
    EXPECT_EQ(log.texts(5), (std::vector<std::string>{"logDialPlanHeader", "logDialPlan"}));
}

TEST_F(DialPlanLogFile, EntriesWithoutValuesPrintTheNotSetMarker)
{
    plan.getEntry(0)->digitString = "7";
    plan.setNumberOfEntries(1);
    plan.logDialPlanEntries();
    plan.logDialPlan();
    const std::string content = logFile();
    EXPECT_NE(content.find("\nminimum digit length:  255\nmaximum digit length:  255\ntimer:                 255"),
              std::string::npos);
}

TEST_F(DialPlanLogFile, EntriesTextIsAddedToNotReplaced)
{
    plan.getEntry(0)->digitString = "7";
    plan.setNumberOfEntries(1);
    plan.logDialPlanEntries();
    plan.logDialPlanEntries();
    plan.logDialPlan();
    const std::string content = logFile();
    const auto first = content.find("\nentry number: ++++++++ 1");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(content.find("\nentry number: ++++++++ 1", first + 1), std::string::npos);
}

TEST_F(DialPlanLogFile, ConfigurationChangeDeletesTheOldFileFirst)
{
    { std::ofstream(harness.logFilePath()) << "stale"; }
    ManageableData config;
    setItem(config, "dial-plan-id", "P1");
    plan.setData(config);
    EXPECT_EQ(logFile().find("stale"), std::string::npos);
}

TEST_F(DialPlanLogFile, SymbolicLinkAtThePathIsNotFollowed)
{
    const std::string target = harness.logFilePath() + ".target";
    { std::ofstream(target) << "keep"; }
    ASSERT_EQ(::symlink(target.c_str(), harness.logFilePath().c_str()), 0);

    plan.logDialPlanHeader();
    plan.logDialPlan();
    EXPECT_EQ(readFile(target), "keep");

    // A storage read writes without deleting first: the link is still not followed.
    harness.das.setReadResponse("DialPlanEntries", "<Entry><DigitString>1</DigitString></Entry>");
    EXPECT_TRUE(plan.readDialPlanEntriesFromDAS());
    EXPECT_EQ(readFile(target), "keep");
    ::unlink(target.c_str());
}

TEST_F(DialPlanLogFile, SymbolicLinkAtTheDirectoryIsNotFollowed)
{
    // The plug-in's directory (/tmp/logs) planted as a link to another directory.
    const std::string elsewhere = harness.logFilePath() + ".elsewhere";
    const std::string linked = harness.logFilePath() + ".logs";
    ASSERT_EQ(::mkdir(elsewhere.c_str(), 0700), 0);
    ASSERT_EQ(::symlink(elsewhere.c_str(), linked.c_str()), 0);
    { std::ofstream(elsewhere + "/dial.plan.log") << "keep"; }
    LogFileNameOverride throughLink(linked + "/dial.plan.log");

    // A configuration change deletes the file and writes it anew; a storage read writes only.
    ManageableData config;
    setItem(config, "dial-plan-id", "P1");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_EQ(readFile(elsewhere + "/dial.plan.log"), "keep");
    harness.das.setReadResponse("DialPlanEntries", "<Entry><DigitString>1</DigitString></Entry>");
    EXPECT_TRUE(plan.readDialPlanEntriesFromDAS());
    EXPECT_EQ(readFile(elsewhere + "/dial.plan.log"), "keep");

    ::unlink((elsewhere + "/dial.plan.log").c_str());
    EXPECT_TRUE(plan.setData(config));
    EXPECT_FALSE(fileExists(elsewhere + "/dial.plan.log")) << "nothing is created through the link";
    EXPECT_EQ(plan.getIdentity(), "P1");
}

TEST_F(DialPlanLogFile, RealDirectoryOtherThanTheDefaultIsWritten)
{
    const std::string directory = harness.logFilePath() + ".logs";
    ASSERT_EQ(::mkdir(directory.c_str(), 0700), 0);
    LogFileNameOverride moved(directory + "/dial.plan.log");
    plan.logDialPlan();
    EXPECT_EQ(readFile(directory + "/dial.plan.log").substr(0, 10), "\nenabled: ");
}

TEST_F(DialPlanLogFile, MissingDirectoryMeansNoFile)
{
    const std::string directory = harness.logFilePath() + ".dir";
    LogFileNameOverride missing(directory + "/dial.plan.log");
    ManageableData config;
    setItem(config, "dial-plan-id", "P1");
    EXPECT_TRUE(plan.setData(config));
    EXPECT_FALSE(fileExists(directory));
    EXPECT_EQ(plan.getIdentity(), "P1");
}

TEST_F(DialPlanLogFile, FileNameIsTakenAfreshAtEveryWrite)
{
    const std::string other = harness.logFilePath() + ".other";
    {
        LogFileNameOverride moved(other);
        plan.logDialPlan();
    }
    EXPECT_TRUE(fileExists(other));
    EXPECT_FALSE(fileExists(harness.logFilePath()));
    ::unlink(other.c_str());
}

TEST_F(DialPlanLogFile, LabelsMayBeReplaced)
{
    const char* previous = dialPlanLoggerTexts_enabled;
    dialPlanLoggerTexts_enabled = "\nON: ";
    plan.logDialPlan();
    dialPlanLoggerTexts_enabled = previous;
    EXPECT_EQ(logFile().substr(0, 10), "\nON: false");
}

TEST(DialPlanLogFileClock, DateOutOfRangeIsCutToTwentyCharacters)
{
    ServiceHarness harness;
    InProcessContext context;
    FixedClock clock{123456, 1, 2, 3, 4, 5};
    context.registerExecutable("ClockServiceIfc", &clock);
    DialPlan plan;
    plan.setContext(&context);
    plan.logDialPlanHeader();
    plan.logDialPlan();
    const std::string content = readFile(harness.logFilePath());
    EXPECT_EQ(content.substr(0, kHeaderStart.size() + 20 + kHeaderEnd.size()),
              kHeaderStart + "123456-01-02  03:04:" + kHeaderEnd);
}

}  // namespace
