// das-sim as a dial plan engineer runs it: script errors and configuration errors stop it
// with a message naming the place, the plug-in is found or named, and the same script
// always prints the same lines.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ProgramRun.h"
#include "ScratchDirectory.h"

namespace {

struct SimulatorRun {
    std::string output;  // standard output and standard error, in that order
    std::string errors;
    int status = -1;
};

class HostSimulator : public ::testing::Test {
protected:
    ScratchDirectory scratch{"das-sim-test"};
    const std::string directory = scratch.path();

    std::string file(const std::string& name, const std::string& text)
    {
        const std::string path = directory + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    SimulatorRun simulate(const std::string& arguments)
    {
        const std::string errorsFile = directory + "/stderr";
        const std::string command = std::string(DAS_SIM_PATH) + " " + arguments + " 2>" + errorsFile;
        SimulatorRun run;
        const ProgramRun program = runCommand(command);
        run.output = program.output;
        run.status = program.status;
        std::ifstream errors(errorsFile);
        run.errors.assign(std::istreambuf_iterator<char>(errors), std::istreambuf_iterator<char>());
        return run;
    }
};

}  // namespace

TEST_F(HostSimulator, UnknownCommandStopsWithItsLineAndStatusTwo)
{
    const std::string script = file("bad.das", "# comment\n\nwait 10\nfrobnicate now\nwait 10\n");
    const SimulatorRun run = simulate(script);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, script + ":4: unknown command \"frobnicate\"\n");
    EXPECT_EQ(run.output, "");
}

TEST_F(HostSimulator, NegativeWaitIsAScriptError)
{
    const SimulatorRun run = simulate(file("back.das", "wait -5\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find(":1: wait cannot go back in time: -5"), std::string::npos) << run.errors;
}

TEST_F(HostSimulator, BadJsonNamesLineAndColumn)
{
    const SimulatorRun run = simulate(file("json.das", "wait 1\nnotify {\"autodialtimer\" 8}\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find("json.das:2:25: "), std::string::npos) << run.errors;
}

TEST_F(HostSimulator, LinesBeforeTheFaultAreStillPrinted)
{
    const SimulatorRun run = simulate(file("partial.das", "mgmt-get dial-plan-id\nsend\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.output.find("mgmt-get dial-plan-id/dialPlanId"), std::string::npos) << run.output;
    EXPECT_NE(run.errors.find(":2: send needs a client name"), std::string::npos) << run.errors;
}

TEST_F(HostSimulator, MalformedConfigurationIsRefusedBeforeAnythingRuns)
{
    const std::string config = file("phone.json", "{\n  \"items\": {\n    \"autodialtimer\": \"6\",\n  }\n}\n");
    const SimulatorRun run = simulate("--config " + config + " " + file("s.das", "mgmt-get dial-plan-id\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors.rfind("das-sim: " + config + ":4:3: ", 0), 0u) << run.errors;
}

TEST_F(HostSimulator, UnknownConfigurationKeyIsNamed)
{
    const std::string config = file("phone.json", "{\"teamservice\": {}}");
    const SimulatorRun run = simulate("--config " + config + " " + file("s.das", ""));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "das-sim: " + config + ":1:2: unknown key \"teamservice\" in the configuration\n");
}

TEST_F(HostSimulator, MissingPluginIsReported)
{
    const SimulatorRun run = simulate("--plugin /nonexistent/libDigitAnalysisService.so " + file("s.das", ""));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("cannot load the plug-in /nonexistent/libDigitAnalysisService.so"), std::string::npos);
}

TEST_F(HostSimulator, FindsThePluginBuiltBesideIt)
{
    const SimulatorRun run = simulate(file("s.das", "mgmt-get dial-plan-id\n"));
    EXPECT_EQ(run.status, 0) << run.errors;
}

TEST_F(HostSimulator, ReadsTheScriptFromStandardInput)
{
    const SimulatorRun run = simulate("- < " + file("s.das", "mgmt-get dial-plan-id\n"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("mgmt-get dial-plan-id/dialPlanId"), std::string::npos);
}

TEST_F(HostSimulator, SameScriptPrintsTheSameLines)
{
    const std::string script =
        file("s.das", "send dialler set_dialler_request\nsend dialler startdiallingrequest:2,0\nwait 40000\n");
    const SimulatorRun first = simulate("--log 5 " + script);
    const SimulatorRun second = simulate("--log 5 " + script);
    EXPECT_EQ(first.status, 0);
    EXPECT_FALSE(first.output.empty());
    EXPECT_EQ(first.output, second.output);
}

TEST_F(HostSimulator, LogLinesAreFilteredByLevel)
{
    const std::string script = file("s.das", "send - dialstringrequest:1\n");
    const SimulatorRun errorsOnly = simulate("--log 2 " + script);
    const SimulatorRun none = simulate(script);
    EXPECT_EQ(errorsOnly.output.find("@0 log 5 "), std::string::npos);
    EXPECT_EQ(none.output.find(" log "), std::string::npos);
}

TEST_F(HostSimulator, EveryEventLineStartsWithTheVirtualTime)
{
    const SimulatorRun run = simulate(file("s.das", "wait 250\nmgmt-get dial-plan-id\n"));
    ASSERT_FALSE(run.output.empty());
    std::size_t start = 0;
    while (start < run.output.size()) {
        EXPECT_EQ(run.output.compare(start, 1, "@"), 0) << run.output.substr(start, 40);
        start = run.output.find('\n', start) + 1;
    }
    EXPECT_NE(run.output.find("@250 mgmt-get dial-plan-id/dialPlanId"), std::string::npos) << run.output;
}

TEST_F(HostSimulator, ExpectedLinesThatWerePrintedLetTheRunSucceed)
{
    const SimulatorRun run = simulate(file("ok.das",
                                           "send - isfacprefixrequest:*72\n"
                                           "expect @0 - reply \"isfacprefixresponse:*72,1\"\n"
                                           "wait 250\n"
                                           "mgmt-get dial-plan-id\n"
                                           "expect /^@250 mgmt-get dial-plan-id/dialPlanId \"DE-[0-9]\"$/\n"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
}

TEST_F(HostSimulator, AFailedExpectationNamesItsLineAndWhatWasSeenAndTheRunGoesOn)
{
    const std::string script = file("fail.das",
                                    "init\n"
                                    "expect @0 mgmt-set true\n"
                                    "send - isfacprefixrequest:*72\n"
                                    "expect @0 - reply \"isfacprefixresponse:*72,0\"\n"
                                    "mgmt-get dial-plan-id\n");
    const SimulatorRun run = simulate(script);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, script + ":4: expect failed: @0 - reply \"isfacprefixresponse:*72,0\"\n"
                                   "  seen: @0 - reply \"isfacprefixresponse:*72,1\"\n");
    EXPECT_NE(run.output.find("@0 mgmt-get dial-plan-id/dialPlanId"), std::string::npos) << "the script went on";
}

TEST_F(HostSimulator, ExpectReadsEachLineOnceAndInOrder)
{
    const std::string script = file("twice.das",
                                    "send - isfacprefixrequest:*72\n"
                                    "send - isfacprefixrequest:99\n"
                                    "expect /isfacprefixresponse:99/\n"
                                    "expect /isfacprefixresponse:\\*72/\n");
    const SimulatorRun run = simulate(script);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, script + ":4: expect failed: /isfacprefixresponse:\\*72/\n"
                                   "  seen: nothing since the last expected line\n");
}

TEST_F(HostSimulator, ExpectWithAMalformedExpressionIsAScriptError)
{
    const SimulatorRun run = simulate(file("regex.das", "expect /a[/\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find("regex.das:1:8: expect: not a regular expression"), std::string::npos) << run.errors;
    EXPECT_EQ(simulate(file("empty.das", "expect\n")).status, 2);
}

TEST_F(HostSimulator, QuietPrintsOnlyTheFailures)
{
    const std::string script = file("quiet.das",
                                    "send - isfacprefixrequest:*72\n"
                                    "expect /isfacprefixresponse/\n"
                                    "expect /never printed/\n");
    const SimulatorRun run = simulate("--quiet " + script);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, script + ":3: expect failed: /never printed/\n  seen: nothing since the last expected line\n");
    EXPECT_EQ(simulate("-q " + file("clean.das", "send - isfacprefixrequest:*72\n")).output, "");
}

TEST_F(HostSimulator, TheDialPlanLogGoesToTheDirectoryGiven)
{
    const std::string logs = directory + "/logs";
    ASSERT_EQ(mkdir(logs.c_str(), 0700), 0);
    const SimulatorRun run = simulate("--dial-plan-log " + logs + " " + file("plan.das", "init\n"));
    EXPECT_EQ(run.status, 0) << run.errors;
    std::ifstream log(logs + "/dial.plan.log");
    const std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("Dial Plan Log File"), std::string::npos) << text;
    EXPECT_NE(text.find("DE-1"), std::string::npos) << text;
}

TEST_F(HostSimulator, ADialPlanLogDirectoryThatDoesNotExistIsAUsageFault)
{
    const SimulatorRun run = simulate("--dial-plan-log " + directory + "/missing " + file("s.das", "init\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "das-sim: the dial plan log directory " + directory + "/missing is not a directory\n");
}

TEST_F(HostSimulator, CheckOfACleanFilePrintsNothingAndSucceeds)
{
    const SimulatorRun run = simulate("--check " + std::string(DAS_SOURCE_DIR) + "/examples/munich.json");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
}

TEST_F(HostSimulator, CheckPrintsEachFilesDiagnosticsAndASummaryAndFailsOnErrors)
{
    const std::string refused =
        file("refused.json", "{\"dialPlan\": {\"dial-plan-id\": \"R\",\n"
                             "  \"dialPlanSettings\": [{\"digit-string\": \"110\", \"action\": \"C\", \"timer\": \"0\"}]}}\n");
    const std::string coerced =
        file("coerced.json", "{\"dialPlan\": {\"dial-plan-id\": \"C\",\n"
                             "  \"dialPlanSettings\": [{\"digit-string\": \"0\", \"action\": \"S\", \"timer\": \"abc\"}]}}\n");
    const SimulatorRun run = simulate("--check " + refused + " " + coerced);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, refused + ":2:63: error: row 1: its timer is not allowed for its action (\"C\": 1 to 9 s, \"S\": 0 to 9 s): "
                                    "the phone refuses the dial plan, marks it faulty with error row 1 and disables it\n" +
                              refused + ":2:63: note: the service says: \"invalid timer value: 0\"\n" + coerced +
                              ":2:61: warning: \"timer\" of row 1 is \"abc\", not a whole number from 0 to 65535: the phone "
                              "reads it as 0\n"
                              "1 error, 1 warning\n");
}

TEST_F(HostSimulator, CheckWithWarningsOnlySucceedsUnlessStrict)
{
    const std::string coerced =
        file("coerced.json", "{\"dialPlan\": {\"dial-plan-id\": \"C\",\n"
                             "  \"dialPlanSettings\": [{\"digit-string\": \"0\", \"action\": \"S\", \"timer\": \"abc\"}]}}\n");
    EXPECT_EQ(simulate("--check " + coerced).status, 0);
    EXPECT_EQ(simulate("--check --strict " + coerced).status, 1);
}

TEST_F(HostSimulator, CheckWithoutFilesOrWithAnUnreadableOneIsAUsageFault)
{
    EXPECT_EQ(simulate("--check").status, 2);
    const SimulatorRun missing = simulate("--check " + directory + "/missing.json");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.errors, "das-sim: cannot read " + directory + "/missing.json\n");
}

TEST_F(HostSimulator, ExplainSaysWhatEachDigitDecidedAndWhatIsDialled)
{
    const SimulatorRun run = simulate("--explain 215");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "2: needs more digits: row 3 may still match; stops Initial Digit; arms Auto Dial 6000 ms\n"
                          "21: needs more digits: row 3 may still match; arms Auto Dial 6000 ms\n"
                          "215: complete: sent at once (row 3); stops Auto Dial\n"
                          "dials \"215\" after 0 ms: row 3 decided it at once\n");
    const SimulatorRun json = simulate("--explain 112 --on-hook --json");
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.output.find(R"("dialled":{"digits":"112","afterMs":0,"because":"row 1 decided it at once"})"),
              std::string::npos)
        << json.output;
    EXPECT_EQ(simulate("--explain 215 " + file("s.das", "")).status, 2) << "a script has no place beside --explain";
}

// The session docs/dial-plan.md and the README show, on the same file (tests/data/office.json).
TEST_F(HostSimulator, TheDocumentedCheckingSessionIsWhatDasSimSays)
{
    const std::string program = std::string("cd ") + DAS_SOURCE_DIR + "/tests/data && ";
    const ProgramRun check = runCommand(program + DAS_SIM_PATH + " --check office.json");
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.output,
              "office.json:9:9: warning: row 4 (\"0891\") can never decide: row 3 (\"0\") always decides its numbers first\n"
              "office.json:8:9: note: row 3 is here\n"
              "office.json:10:45: warning: \"timer\" of row 5 is \"abc\", not a whole number from 0 to 65535: the phone "
              "reads it as 0\n"
              "0 errors, 2 warnings\n");
    EXPECT_EQ(runCommand(program + DAS_SIM_PATH + " --check --strict office.json").status, 1);
    const ProgramRun explained = runCommand(program + DAS_SIM_PATH + " --explain 0891234 --config office.json");
    EXPECT_EQ(explained.status, 0);
    EXPECT_NE(explained.output.find("0891234: complete once the dial plan timer expires (row 3); arms Dial Plan 5000 ms\n"
                                    "dials \"0891234\" after 5000 ms: the Dial Plan timer expired\n"),
              std::string::npos)
        << explained.output;
}
