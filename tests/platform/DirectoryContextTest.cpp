#include <gtest/gtest.h>

#include "DirectoryContext.h"
#include "RecordingPeers.h"

namespace {
// The directory without timers: enough to look peers up.
class DirectoryOnly : public DirectoryContext {
public:
    int createTimer(Executable*, int) override { return kNoTimer; }
    void startTimer(int) override {}
    void stopTimer(int) override {}
    void resetTimer(int) override {}
    void deleteTimer(int) override {}
};
}  // namespace

TEST(DirectoryContext, ANullPeerOrAnEmptyNameRemovesTheEntry)
{
    DirectoryOnly directory;
    RecordingTeamService team;
    directory.registerExecutable("TeamServiceIfc", &team);
    directory.registerProxy("EventIfc", "alice", &team);
    directory.setChannelName(&team, "alice");

    directory.registerExecutable("TeamServiceIfc", nullptr);
    directory.registerProxy("EventIfc", "alice", nullptr);
    directory.setChannelName(&team, "");

    EXPECT_EQ(directory.findExecutable("TeamServiceIfc"), nullptr);
    EXPECT_EQ(directory.findProxy("EventIfc", "alice"), nullptr);
    EXPECT_EQ(directory.findChannel(&team), "");
}

TEST(DirectoryContext, ALaterRegistrationReplacesTheEarlierOne)
{
    DirectoryOnly directory;
    RecordingTeamService first;
    RecordingTeamService second;
    directory.registerExecutable("TeamServiceIfc", &first);
    directory.registerExecutable("TeamServiceIfc", &second);
    EXPECT_EQ(directory.findExecutable("TeamServiceIfc"), &second);
    directory.unregisterExecutable("TeamServiceIfc");
    EXPECT_EQ(directory.findExecutable("TeamServiceIfc"), nullptr);
}
