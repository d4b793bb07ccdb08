// The host's own stop: as if the stop key were pressed, whatever the console does.
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class ForceStop : public Running {
protected:
    ForceStop() { last_button_index = 99; }
};

}  // namespace

TEST_F(ForceStop, HandlerTakesIt_NothingIsQueued) {
    int lastButton = 0;
    rig.handle(12, [&](int) {
        lastButton = last_button_index;
        return true;
    });
    console().force_stop();
    EXPECT_EQ(rig.handled(), Codes{12});
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(lastButton, 99);
    EXPECT_EQ(last_button_index, 12);
}

TEST_F(ForceStop, HandlerRefuses_QueuedAsNotHandled) {
    rig.handle(12, [](int) { return false; });
    console().force_stop();
    EXPECT_EQ(rig.handled(), Codes{12});
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}}));
    EXPECT_EQ(last_button_index, 12);
}

TEST_F(ForceStop, NoHandler_QueuedAsNotHandled) {
    console().force_stop();
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}}));
    EXPECT_EQ(last_button_index, 12);
}

TEST_F(ForceStop, KeyWaits_HandlerRunsAllTheSame) {
    rig.handle(12);
    queueAKey();
    console().force_stop();
    EXPECT_EQ(rig.handled(), Codes{12});
    EXPECT_EQ(rig.keys(), Keys{});
}

TEST_F(ForceStop, DisabledOrNotActive_WorksAllTheSame) {
    console().disable();
    console().force_stop();
    console().exit();
    console().force_stop();
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}, {12, false, 1536}}));
}

TEST_F(ForceStop, Always_MarksNoKeyAndSendsAndLogsNothing) {
    rig.debug(true);
    const std::string before = bytesOf(console());
    console().force_stop();
    EXPECT_EQ(bytesOf(console()), before);
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{});
}
