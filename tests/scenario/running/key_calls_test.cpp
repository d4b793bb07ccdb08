// Which of the host's functions a key, the ring and the wheel go through: another host may tell its two ways to a handler
// apart.
#include "tests/scenario/running/HostSeams.h"
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class KeyCalls : public Running {
protected:
    /// What the driver called for this packet.
    Texts callsFor(std::string packet) {
        keyCalls().clear();
        parse(std::move(packet));
        return keyCalls();
    }
};

}  // namespace

TEST_F(KeyCalls, ParsePacket_KeyWithHandler_TheManagerRunsItAndTheQueueGetsOne) {
    rig.handle(5);
    EXPECT_EQ(callsFor("E"), (Texts{"console_has_handler(5)", "executeHandler(5)", "addToKeyPressQueue(5, 1, 1536)"}));
}

TEST_F(KeyCalls, ParsePacket_KeyWithoutHandler_TheHostIsAskedAndTheQueueGetsZero) {
    EXPECT_EQ(callsFor("E"), (Texts{"console_has_handler(5)", "addToKeyPressQueue(5, 0, 1536)"}));
}

TEST_F(KeyCalls, ParsePacket_KeyWhileOneWaits_TheHostIsNotAskedForAHandler) {
    rig.handle(5);
    queueAKey();
    EXPECT_EQ(callsFor("E"), Texts{"addToKeyPressQueue(5, 0, 1536)"});
}

TEST_F(KeyCalls, ParsePacket_NewSpeedAndMovement_TheHostRunsTheSpeedsHandlerAndTheManagerTheWheels) {
    console().enable_wheel();
    EXPECT_EQ(callsFor("\\FF010000"), (Texts{"console_call_handler(0)", "executeHandler(47)"}));
    EXPECT_EQ(callsFor("\\FF010000"), Texts{"executeHandler(47)"}) << "the same speed again";
}

TEST_F(KeyCalls, ForceStop_Always_TheHostRunsTheHandlerAndTheQueueGetsWhatNoneTook) {
    keyCalls().clear();
    console().force_stop();
    EXPECT_EQ(keyCalls(), (Texts{"console_call_handler(12)", "addToKeyPressQueue(12, 0, 1536)"}));
}
