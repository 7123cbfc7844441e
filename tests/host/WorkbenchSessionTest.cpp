// The browser workbench's phone session, natively: the keypad, the handset and the clock are
// das-sim script commands run by das-sim's own runner, and what the session says about
// decisions, timers and the number dialled is what the service's trace and the clock say.

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "HostConfig.h"
#include "JsonText.h"
#include "ProgramRun.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"
#include "WorkbenchSession.h"

namespace {

class Workbench : public ::testing::Test {
protected:
    std::unique_ptr<WorkbenchSession> phone = open(defaultConfigText());

    static std::unique_ptr<WorkbenchSession> open(const std::string& config)
    {
        return std::make_unique<WorkbenchSession>(config, std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE));
    }

    void press(const std::string& keys)
    {
        for (const char key : keys) phone->press(key);
    }

    const TimelineEvent* find(const std::string& kind, const std::string& label) const
    {
        const auto& timeline = phone->timeline();
        const auto found = std::find_if(timeline.begin(), timeline.end(),
                                        [&](const TimelineEvent& event) { return event.kind == kind && event.label == label; });
        return found == timeline.end() ? nullptr : &*found;
    }
};

}  // namespace

TEST_F(Workbench, AnExternalNumberIsDialledWhenTheDialPlanTimerExpires)
{
    phone->liftHandset("2");
    press("089");
    ASSERT_TRUE(phone->lastDecision().has_value());
    EXPECT_EQ(phone->lastDecision()->decision, "complete once the dial plan timer expires");
    EXPECT_EQ(phone->lastDecision()->row, 5);
    EXPECT_EQ(phone->lastDecision()->timersArmed, std::vector<std::string>{"Dial Plan 5000 ms"});
    EXPECT_EQ(phone->dialled(), "");

    phone->advanceToNextTimer();

    EXPECT_EQ(phone->now(), 5000);
    EXPECT_EQ(phone->dialled(), "089");
    const TimelineEvent* timer = find("timer", "Dial Plan");
    ASSERT_NE(timer, nullptr);
    const TimelineEvent* dialled = find("dialled", "089");
    ASSERT_NE(dialled, nullptr);
    EXPECT_EQ(dialled->startMs, 5000);
    EXPECT_NE(phone->trace().find("@5000 dialler event \"089\"\n"), std::string::npos) << phone->trace();
}

TEST_F(Workbench, EachTimerBarEndsAsTheTimerDid)
{
    phone->liftHandset("2");
    press("0");
    press("8");  // the Dial Plan timer starts again
    phone->advance(5000);

    std::vector<std::string> outcomes;
    for (const auto& event : phone->timeline()) {
        if (event.kind == "timer") outcomes.push_back(event.label + " " + event.outcome + " " + std::to_string(event.endMs));
    }
    EXPECT_EQ(outcomes, (std::vector<std::string>{"Initial Digit stopped 0", "Dial Plan restarted 0", "Dial Plan expired 5000"}));
    const TimelineEvent* tone = find("tone", "dialtone");
    ASSERT_NE(tone, nullptr);
    EXPECT_EQ(tone->outcome, "stopped") << "the first digit stops the dial tone";
}

TEST_F(Workbench, TheRunningTimersAreListedWithTheTimeLeft)
{
    phone->liftHandset("2");
    phone->advance(1000);
    const Json state = parseJsonText(phone->stateJson());
    ASSERT_EQ(state["timers"].size(), 1u);
    EXPECT_EQ(state["timers"][0]["name"], "Initial Digit");
    EXPECT_EQ(state["timers"][0]["remainingMs"], 29000);
    EXPECT_EQ(state["phase"], "dialling");
}

TEST_F(Workbench, AnInternalNumberIsDialledAtOnceByItsRow)
{
    phone->liftHandset("2");
    press("215");
    EXPECT_EQ(phone->dialled(), "215");
    EXPECT_EQ(phone->lastDecision()->decision, "complete: sent at once");
    EXPECT_EQ(phone->lastDecision()->row, 3);
    press("9");
    EXPECT_EQ(phone->script().find("dialstringrequest:2159"), std::string::npos) << "keys after the number went are not sent";
}

TEST_F(Workbench, AHotLineDialsItsDestinationWhenTheHandsetIsLifted)
{
    const Json lines = parseJsonText(phone->stateJson())["lines"];
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1]["line"], "1");
    EXPECT_EQ(lines[1]["kind"], "hot line");
    phone->liftHandset("1");
    EXPECT_EQ(phone->dialled(), "200");
}

TEST_F(Workbench, AKeyOnHookStartsOnHookDiallingAndAnEmergencyNumberGoesAtOnce)
{
    press("112");
    EXPECT_NE(phone->script().find("send dialler startonhookdiallingrequest\n"), std::string::npos);
    EXPECT_EQ(phone->dialled(), "112");
}

TEST_F(Workbench, ALetterIsTheKeyItIsPrintedOn)
{
    phone->liftHandset("2");
    press("Ad");
    EXPECT_NE(phone->script().find("dialstringrequest:23,0"), std::string::npos) << phone->script();
    press("-");
    EXPECT_EQ(phone->script().find("dialstringrequest:23-"), std::string::npos) << "other characters are no keys";
}

TEST_F(Workbench, HangingUpStopsDialling)
{
    phone->liftHandset("2");
    press("0");
    phone->hangUp();
    EXPECT_NE(phone->trace().find("dialler event \"handledialingstoppedevent\""), std::string::npos);
    EXPECT_EQ(parseJsonText(phone->stateJson())["phase"], "on hook");
    EXPECT_EQ(parseJsonText(phone->stateJson())["digits"], "");
}

TEST_F(Workbench, LockingThePhoneNotifiesTheLockItem)
{
    phone->setLocked(true);
    EXPECT_NE(phone->script().find("notify {\"phone-lock-active\": \"true\"}\n"), std::string::npos);
    EXPECT_EQ(parseJsonText(phone->stateJson())["locked"], true);
    phone->liftHandset("2");
    press("0891");
    EXPECT_NE(phone->trace().find("dialler reply \"dialstringresponse:,0\""), std::string::npos);
    phone->runUntilIdle();
    EXPECT_EQ(phone->dialled(), "") << "a locked phone dials no ordinary number";
}

TEST_F(Workbench, RunningUntilIdleLetsEveryTimerRunOut)
{
    phone->liftHandset("2");
    press("5");  // no row decides: the Auto Dial timer sends it
    phone->runUntilIdle();
    EXPECT_EQ(phone->dialled(), "5");
    EXPECT_EQ(phone->now(), 6000);
    EXPECT_TRUE(parseJsonText(phone->stateJson())["timers"].empty());
}

TEST_F(Workbench, AScriptRunsInTheSessionWithDasSimsStatus)
{
    EXPECT_EQ(phone->runScript("send - isEmergencyNumberRequest:true:112\nexpect /isEmergencyNumberResponse:1/"), 0);
    EXPECT_EQ(phone->runScript("expect nothing like this"), 1);
    EXPECT_NE(phone->errors().find("script:1: expect failed: nothing like this"), std::string::npos) << phone->errors();
    EXPECT_EQ(phone->runScript("frobnicate"), 2);
    EXPECT_EQ(phone->errors(), "script:1: unknown command \"frobnicate\"\n");
}

// The session's trace is das-sim's output for the session's script, byte for byte.
TEST_F(Workbench, TheTraceIsWhatDasSimPrintsForTheSessionsScript)
{
    phone->liftHandset("2");
    press("08");
    phone->advance(700);
    press("9");
    phone->runUntilIdle();
    phone->hangUp();
    press("215");
    ScratchDirectory scratch("das-workbench");
    const std::string script = writeTextFile(scratch.path() + "/session.das", phone->script());
    const ProgramRun native = runCommand(std::string(DAS_SIM_PATH) + " " + script);
    EXPECT_EQ(native.status, 0);
    EXPECT_EQ(native.output, phone->trace());
}

TEST(WorkbenchOpening, AConfigurationDasSimRefusesIsRefusedAtItsPlace)
{
    try {
        WorkbenchSession session("{\"items\": {},\n  \"colour\": 1}", std::make_unique<PluginLibrary>(DAS_PLUGIN_FILE));
        FAIL() << "the configuration was taken";
    } catch (const JsonTextError& error) {
        EXPECT_EQ(error.line(), 2);
        EXPECT_EQ(error.column(), 3);
        EXPECT_NE(std::string(error.what()).find("colour"), std::string::npos) << error.what();
    }
}

TEST_F(Workbench, AScriptRunsAsDasSimRunsItFromItsFirstLine)
{
    EXPECT_EQ(phone->runScript("config {\"dialPlan\": {\"dial-plan-enabled\": \"true\", \"dial-plan-id\": \"X\", \"dialPlanSettings\": "
                               "[{\"digit-string\": \"7\", \"action\": \"S\", \"timer\": \"0\"}]}}\n"
                               "init\n"
                               "send dialler set_dialler_request\n"
                               "send dialler startdiallingrequest:2,0\n"
                               "send dialler dialstringrequest:7,0\n"),
              0)
        << phone->errors();
    EXPECT_EQ(phone->dialled(), "7");
    ASSERT_TRUE(phone->lastDecision().has_value()) << "a script's dialstringrequest is read as a key is";
    EXPECT_EQ(phone->lastDecision()->row, 1);
    EXPECT_EQ(phone->lastDecision()->decision, "complete: sent at once");
}

TEST_F(Workbench, AScriptErrorNamesItsLineAndEndsTheScript)
{
    EXPECT_EQ(phone->runScript("send - getEmergencyNumbersDialStringRequest\n\nwait soon\nsend - isEmergencyNumberRequest:true:112\n"), 2);
    EXPECT_EQ(phone->errors(), "script:3: wait needs a number of milliseconds, not \"soon\"\n");
    EXPECT_EQ(phone->trace().find("isEmergencyNumberResponse"), std::string::npos) << "nothing after the error runs";
}
