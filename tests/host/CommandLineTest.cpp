// The command-line conventions das-sim, dasd and dasctl share: --version, and one set of exit
// statuses (0 success, 1 refused or failed, 2 usage, 3 the daemon cannot be reached), checked
// on the shared parse and on each program as a user runs it.

#include <regex>
#include <string>

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "DaemonProcess.h"
#include "DigitAnalysisRequestKeywords.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"

namespace {

// Parses `arguments` (after the program's name) with an app of one option, one flag and
// one positional argument; returns the status parseCommandLine gives and what it printed.
struct Parse {
    int status;
    std::string output;
};

Parse parse(std::vector<std::string> arguments)
{
    CLI::App app{"test"};
    int number = 0;
    bool flag = false;
    std::string word;
    app.add_option("--number", number)->check(CLI::Range(1, 9));
    app.add_flag("--flag", flag);
    app.add_option("word", word);
    addVersionFlag(app, "prog");
    arguments.insert(arguments.begin(), "prog");
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = parseCommandLine(app, static_cast<int>(argv.size()), argv.data());
    Parse result{status, testing::internal::GetCapturedStdout()};
    result.output += testing::internal::GetCapturedStderr();
    return result;
}

bool isVersionLine(const std::string& program, const std::string& text)
{
    return std::regex_match(text, std::regex(program + " [0-9]+\\.[0-9]+\\.[0-9]+( \\([^)]+\\))?\n"));
}

}  // namespace

TEST(CommandLine, ParsedArgumentsLetTheProgramGoOn)
{
    EXPECT_EQ(parse({"--number", "3", "--flag", "word"}).status, -1);
}

TEST(CommandLine, EveryParseFaultIsTheUsageStatus)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--bogus"}, {"--number"}, {"--number", "abc"}, {"--number", "12"}, {"a", "b"}}) {
        const Parse result = parse(arguments);
        EXPECT_EQ(result.status, kExitUsage) << arguments.front();
        EXPECT_NE(result.output.find("Run with --help for more information."), std::string::npos) << result.output;
    }
}

TEST(CommandLine, HelpAndVersionSucceed)
{
    EXPECT_EQ(parse({"--help"}).status, kExitSuccess);
    const Parse version = parse({"--version"});
    EXPECT_EQ(version.status, kExitSuccess);
    EXPECT_TRUE(isVersionLine("prog", version.output)) << version.output;
}

TEST(CommandLine, ExitStatusHelpNamesTheUnreachableDaemonOnlyWhenAsked)
{
    EXPECT_EQ(exitStatusHelp(false).find("  3  "), std::string::npos);
    EXPECT_NE(exitStatusHelp(true).find("  3  the daemon cannot be reached\n"), std::string::npos);
    EXPECT_NE(exitStatusHelp(false).find("  2  usage"), std::string::npos);
}

TEST(HostPrograms, EachPrintsItsVersion)
{
    for (const auto& [program, path] : {std::pair<std::string, std::string>{"das-sim", DAS_SIM_PATH},
                                        {"dasd", DASD_PATH},
                                        {"dasctl", DASCTL_PATH}}) {
        const ProgramRun run = runCommand(path + " --version");
        EXPECT_EQ(run.status, 0) << program;
        EXPECT_TRUE(isVersionLine(program, run.output)) << run.output;
    }
}

TEST(HostPrograms, EachListsTheExitStatusesInItsHelp)
{
    for (const std::string& path : {std::string(DAS_SIM_PATH), std::string(DASD_PATH), std::string(DASCTL_PATH)}) {
        const ProgramRun run = runCommand(path + " --help");
        EXPECT_EQ(run.status, 0) << path;
        EXPECT_NE(run.output.find("Exit status:\n  0  success\n  1  the request was refused or failed\n  2  usage"),
                  std::string::npos)
            << run.output;
    }
    EXPECT_NE(runCommand(std::string(DASCTL_PATH) + " --help").output.find("  3  the daemon cannot be reached"),
              std::string::npos);
}

TEST(HostPrograms, AnUnknownOptionIsTheUsageStatusForEach)
{
    for (const std::string& path : {std::string(DAS_SIM_PATH), std::string(DASD_PATH), std::string(DASCTL_PATH)}) {
        EXPECT_EQ(runCommand(path + " --no-such-option 2>/dev/null").status, kExitUsage) << path;
    }
    EXPECT_EQ(runCommand(std::string(DASD_PATH) + " --threads 0 2>/dev/null").status, kExitUsage);
}

class DasctlExitStatus : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasctl-status-test"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory};

    ~DasctlExitStatus() override { daemon.stop(); }

    ProgramRun dasctl(const std::string& arguments)
    {
        return runCommand(std::string(DASCTL_PATH) + " --socket " + daemon.socket() + " " + arguments + " 2>&1");
    }
};

TEST_F(DasctlExitStatus, NoDaemonAtTheSocketIsStatusThree)
{
    const ProgramRun run = dasctl("isfacprefixrequest:1");
    EXPECT_EQ(run.status, kExitUnreachable);
    EXPECT_EQ(run.output, "dasctl: cannot connect to " + daemon.socket() + ": No such file or directory\n");
}

TEST_F(DasctlExitStatus, AFirstWordThatIsNeitherVerbNorRequestIsAUsageFaultAndNothingIsSent)
{
    daemon.start();
    const ProgramRun run = dasctl("--name prober frobnicate");
    EXPECT_EQ(run.status, kExitUsage);
    EXPECT_EQ(run.output, "dasctl: unknown command \"frobnicate\": neither a verb nor a request keyword "
                          "(\"send TEXT\" sends any text)\nRun with --help for more information.\n");
    // Nothing reached the daemon: the client never even connected under its name.
    EXPECT_EQ(readFile(daemon.log()).find("prober"), std::string::npos) << readFile(daemon.log());
}

TEST_F(DasctlExitStatus, EveryRequestOfABareCommandMustBeginWithAKeyword)
{
    daemon.start();
    EXPECT_EQ(dasctl("isfacprefixrequest:1 frobnicate").status, kExitUsage);
    // With the verb, any text is sent as it is.
    const ProgramRun sent = dasctl("send frobnicate");
    EXPECT_EQ(sent.status, kExitSuccess) << sent.output;
}

TEST_F(DasctlExitStatus, EveryKeywordOfTheInvokerIsAcceptedAsAFirstWord)
{
    for (const char* keyword : das_requests::kAllKeywords) {
        // No daemon runs: a keyword gets as far as connecting (status 3), a fault would be 2.
        EXPECT_EQ(dasctl(std::string(keyword) + ":x").status, kExitUnreachable) << keyword;
    }
}

TEST_F(DasctlExitStatus, AnErrorReplyIsStatusOne)
{
    daemon.start();
    const ProgramRun run = dasctl("startdiallingrequest");
    EXPECT_EQ(run.output, "reply \"errorresponse\"\n");
    EXPECT_EQ(run.status, kExitFailure);
    EXPECT_EQ(dasctl("isfacprefixrequest:1").status, kExitSuccess);
}

TEST_F(DasctlExitStatus, RefusedManagementWriteIsStatusOneWithItsReason)
{
    daemon.start();
    const ProgramRun run = dasctl(R"('mgmt-set' '{"dialPlanSettings": [{"digit-string": "0", "action": "X"}]}')");
    EXPECT_EQ(run.status, kExitFailure) << run.output;
    EXPECT_EQ(run.output.rfind("mgmt-set false\nreason \"the service refused the dial plan: row 1", 0), 0u) << run.output;
    EXPECT_EQ(dasctl(R"(mgmt-set '{"dial-plan-id": "OK"}')").status, kExitSuccess);
}

TEST_F(DasctlExitStatus, ManagementReadAnswersOnlyTheRootsAskedFor)
{
    daemon.start();
    const ProgramRun run = dasctl("mgmt-get dial-plan-enabled");
    EXPECT_EQ(run.status, kExitSuccess);
    EXPECT_EQ(run.output, "mgmt-get dial-plan-enabled/dialPlanEnabled \"true\"\n");
}
