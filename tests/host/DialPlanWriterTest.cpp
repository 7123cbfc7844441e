// Dial plan writes through the service's management face into the SQLite store, all or
// nothing: after every answer the plan the service uses is the plan the store holds, which
// is the plan a restart loads. Faults are injected for real, into the store's file system layer.

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DialPlanWriter.h"
#include "FaultyVfs.h"
#include "ManageableData.h"
#include "ScratchDirectory.h"
#include "ServiceHarness.h"
#include "SqliteDataAccessService.h"

namespace {

struct Row {
    std::string digits;
    std::string action;
    std::string timer;
    std::string comment;
};

ManageableData planData(const std::string& id, const std::vector<Row>& rows)
{
    ManageableData data;
    data.populate("dial-plan-enabled", "dial-plan-enabled", "true");
    data.populate("dial-plan-id", "dial-plan-id", id);
    data.populate("dialPlanSettings", "dialPlanSettings", "");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string prefix = "dialPlanEntry[" + std::to_string(i + 1) + "]/";
        data.populate("dialPlanSettings", prefix + "digit-string", rows[i].digits);
        data.populate("dialPlanSettings", prefix + "action", rows[i].action);
        data.populate("dialPlanSettings", prefix + "timer", rows[i].timer);
        data.populate("dialPlanSettings", prefix + "comment", rows[i].comment);
        // Every field given: one left out would keep the value that row had in the old plan.
        for (const char* unset : {"min-digit-len", "max-digit-len", "terminating-char", "spec-num-indic"})
            data.populate("dialPlanSettings", prefix + unset, "");
        data.populate("dialPlanSettings", prefix + "terminating-char-sent", "false");
    }
    return data;
}

const std::vector<Row> kOldRows = {{"112", "S", "0", "emergency"}, {"0", "S", "5", "outside line"}};
const std::vector<Row> kNewRows = {{"110", "S", "0", "police"}, {"9", "S", "3", "new outside"}, {"2xx", "S", "0", ""}};

class HostDialPlanWriter : public ::testing::Test {
protected:
    ScratchDirectory scratch{"das-writer"};
    const std::string path = scratch.path() + "/store.sqlite";
    FaultyVfs vfs;
    ServiceHarness harness;
    std::unique_ptr<SqliteDataAccessService> store;

    HostDialPlanWriter() { start(); }
    ~HostDialPlanWriter() override { harness.destroy(); }

    // Starts the service on the store, as dasd does at start-up; faults can be injected.
    void start()
    {
        store = std::make_unique<SqliteDataAccessService>(path, FaultyVfs::name());
        harness.context.registerExecutable("DataAccessServiceIfc", store.get());
        harness.start();
    }

    void restart()
    {
        harness.destroy();
        store.reset();
        start();
    }

    StoreOutcome write(ManageableData plan) { return DialPlanWriter(harness.service(), *store).write(plan); }

    // The plan in force, as a management read shows it.
    std::string planInForce()
    {
        ManageableData data;
        for (const char* root : {"dial-plan-enabled", "dial-plan-id", "dial-plan-error", "dial-plan-error-row",
                                 "dialPlanSettings"})
            data.addRootId(root);
        EXPECT_TRUE(harness.service().getData(data));
        std::string text;
        for (const auto& [item, value] : data.items()) text += item + "=" + value + "\n";
        return text;
    }
};

}  // namespace

TEST_F(HostDialPlanWriter, AcceptedPlanIsInForceAndSurvivesARestart)
{
    const StoreOutcome outcome = write(planData("DE-2", kNewRows));
    EXPECT_TRUE(outcome.committed);
    EXPECT_EQ(outcome.reason, "");
    const std::string written = planInForce();
    EXPECT_NE(written.find("dial-plan-id/dialPlanId=DE-2"), std::string::npos) << written;
    restart();
    EXPECT_EQ(planInForce(), written);
}

// The service writes its texts into the storage messages without escaping; the store must
// still keep them exactly, or an acknowledged plan comes back mixed with the old one.
TEST_F(HostDialPlanWriter, PlanWithMarkupCharactersSurvivesARestart)
{
    ASSERT_TRUE(write(planData("OLD", kOldRows)).committed);
    const StoreOutcome outcome = write(planData("A<B & \"C\" ]]>", {{"0", "S", "5", "<b>bold</b> & 'more'"}}));
    EXPECT_TRUE(outcome.committed) << outcome.reason;
    const std::string written = planInForce();
    EXPECT_NE(written.find("dial-plan-id/dialPlanId=A<B & \"C\" ]]>"), std::string::npos) << written;
    EXPECT_NE(written.find("=<b>bold</b> & 'more'"), std::string::npos) << written;
    restart();
    EXPECT_EQ(planInForce(), written);
}

TEST_F(HostDialPlanWriter, RefusedPlanLeavesTheOldPlanInForceAndNamesTheRow)
{
    ASSERT_TRUE(write(planData("OLD", kOldRows)).committed);
    const std::string old = planInForce();
    const StoreOutcome outcome = write(planData("BAD", {{"110", "S", "0", ""}, {"0", "X", "5", ""}}));
    EXPECT_FALSE(outcome.committed);
    EXPECT_EQ(outcome.reason, "the service refused the dial plan: row 2 is not valid");
    EXPECT_EQ(planInForce(), old);
    restart();
    EXPECT_EQ(planInForce(), old);
}

TEST_F(HostDialPlanWriter, RefusedFirstPlanLeavesThePlanTheServiceStartsWith)
{
    const std::string empty = planInForce();
    const StoreOutcome outcome = write(planData("BAD", {{"0", "S", "10", ""}}));
    EXPECT_FALSE(outcome.committed);
    EXPECT_EQ(outcome.reason, "the service refused the dial plan: row 1 is not valid");
    EXPECT_EQ(planInForce(), empty);
    EXPECT_FALSE(store->hasDialPlan());
}

TEST_F(HostDialPlanWriter, TextTheStoreCannotKeepRefusesTheWholePlan)
{
    ASSERT_TRUE(write(planData("OLD", kOldRows)).committed);
    const std::string old = planInForce();
    const StoreOutcome outcome = write(planData("NEW", {{"0", "S", "5", "ends </Comment> early"}}));
    EXPECT_FALSE(outcome.committed);
    EXPECT_EQ(outcome.reason.rfind("the store refused a request: malformed request at byte ", 0), 0u) << outcome.reason;
    EXPECT_EQ(planInForce(), old);
    restart();
    EXPECT_EQ(planInForce(), old);
}

// A full disk or an I/O error at each write or sync of a plan change in turn (swept until a
// change runs through without reaching the fault), with a stored plan before and with none:
// the answer says whether the new plan is stored, the service uses exactly the plan the answer
// implies, and a restart loads that same plan.
TEST_F(HostDialPlanWriter, EveryStoreFaultLeavesExactlyTheOldOrTheNewPlanInForceAndStored)
{
    std::string newPlan;
    {
        ASSERT_TRUE(write(planData("NEW", kNewRows)).committed);
        newPlan = planInForce();
    }
    for (const bool planStoredBefore : {true, false}) {
        for (const auto fault : {FaultyVfs::Fault::DiskFull, FaultyVfs::Fault::IoError}) {
            int refused = 0;
            int nth = 1;
            for (bool reachedTheFault = true; reachedTheFault; ++nth) {
                ASSERT_LT(nth, 100) << "a plan change never ran through";
                SCOPED_TRACE(std::string(planStoredBefore ? "old plan stored" : "nothing stored") + ", fault at " +
                             std::to_string(nth) + (fault == FaultyVfs::Fault::DiskFull ? " (disk full)" : " (I/O error)"));
                // The state before: the old plan, or an empty store.
                harness.destroy();
                store.reset();
                std::remove(path.c_str());
                std::remove((path + "-wal").c_str());
                std::remove((path + "-shm").c_str());
                start();
                if (planStoredBefore) {
                    ASSERT_TRUE(write(planData("OLD", kOldRows)).committed);
                }
                const std::string before = planInForce();

                vfs.arm(nth, fault);
                const StoreOutcome outcome = write(planData("NEW", kNewRows));
                reachedTheFault = vfs.fired();
                vfs.disarm();

                if (!reachedTheFault) {
                    EXPECT_TRUE(outcome.committed) << outcome.reason;
                }
                if (!outcome.committed) {
                    ++refused;
                    EXPECT_NE(outcome.reason.find("store"), std::string::npos) << outcome.reason;
                }
                const std::string expected = outcome.committed ? newPlan : before;
                EXPECT_EQ(planInForce(), expected) << "in force after the answer";
                restart();
                EXPECT_EQ(planInForce(), expected) << "after a restart";
            }
            EXPECT_GT(refused, 0);
            std::printf("%s, %s: %d faulty plan writes, %d answered not written\n",
                        planStoredBefore ? "old plan stored" : "nothing stored",
                        fault == FaultyVfs::Fault::DiskFull ? "disk full" : "I/O error", nth - 2, refused);
        }
    }
}
