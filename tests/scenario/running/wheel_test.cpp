// The jog wheel, switched on and off, suspended and resumed.
#include "tests/scenario/running/Spy.h"

using namespace running;

namespace {

class Wheel : public Running {};

class WheelSpied : public Spying {};

}  // namespace

TEST_F(Wheel, EnableWheel_Off_SendsWAndLamp4On) {
    console().enable_wheel();
    EXPECT_EQ(rig.writes(), (Texts{"W ", "F4 "}));
    EXPECT_TRUE(console().wheel_enabled());
}

TEST_F(Wheel, DisableWheel_On_SendsXAndLamp4Off) {
    console().enable_wheel();
    rig.forget();
    console().disable_wheel();
    EXPECT_EQ(rig.writes(), (Texts{"X ", "O4 "}));
    EXPECT_FALSE(console().wheel_enabled());
}

TEST_F(Wheel, EnableAndDisable_Repeated_CommandIsSentAgainAndTheLampIsNot) {
    console().enable_wheel();
    console().enable_wheel();
    console().disable_wheel();
    console().disable_wheel();
    EXPECT_EQ(rig.sent(), "W F4 W X O4 X ");
}

TEST_F(Wheel, EnableWheel_NotActive_SendsWWithoutTheLamp) {
    ConsoleTestAccess::state(console()) = 0;
    console().enable_wheel();
    EXPECT_EQ(rig.sent(), "W ");
    EXPECT_TRUE(console().wheel_enabled());
    console().disable_wheel();
    EXPECT_EQ(rig.sent(), "W X ");
    EXPECT_FALSE(console().wheel_enabled());
}

TEST_F(Wheel, EnableWheel_PortClosed_SendsNothingAndSetsCacheAndFlag) {
    console().close_port();
    rig.forget();
    console().enable_wheel();
    EXPECT_EQ(rig.sent(), "");
    EXPECT_TRUE(console().wheel_enabled());
    EXPECT_EQ(ConsoleTestAccess::lampState(console(), 4), 'F');
    console().open_port();
    console().lamp_set(4, 'F');
    EXPECT_EQ(rig.sent(), "");
    console().close_port();
    console().disable_wheel();
    EXPECT_FALSE(console().wheel_enabled());
    EXPECT_EQ(ConsoleTestAccess::lampState(console(), 4), 'O');
}

TEST_F(Wheel, EnableWheel_WriteFails_SetsCacheAndFlag) {
    rig.port.failingWrites = 1'000'000;
    console().enable_wheel();
    EXPECT_TRUE(console().wheel_enabled());
    EXPECT_EQ(ConsoleTestAccess::lampState(console(), 4), 'F');
}

TEST_F(Wheel, EnableWheel_Debug_LogsBothCommands) {
    rig.debug(true);
    console().enable_wheel();
    EXPECT_EQ(rig.log(), (Texts{"CON:   tx: W \"\n", "CON:   tx: F4 \"\n"}));
}

TEST_F(Wheel, SuspendAndResume_Sequence_SendsAtEachChangeAlone) {
    console().enable_suspended_wheel();
    EXPECT_EQ(rig.sent(), "") << "not suspended";
    console().enable_wheel();
    rig.forget();
    console().suspend_wheel();
    EXPECT_EQ(rig.sent(), "X O4 ");
    EXPECT_TRUE(console().jog_suspended());
    EXPECT_FALSE(console().wheel_enabled());
    console().suspend_wheel();
    EXPECT_EQ(rig.sent(), "X O4 ");
    rig.forget();
    console().enable_suspended_wheel();
    EXPECT_EQ(rig.sent(), "W F4 ");
    EXPECT_FALSE(console().jog_suspended());
    EXPECT_TRUE(console().wheel_enabled());
    console().enable_suspended_wheel();
    EXPECT_EQ(rig.sent(), "W F4 ");
}

TEST_F(Wheel, SuspendWheel_WheelOffAlready_SwitchesOffAgainAndResumingSwitchesOn) {
    console().suspend_wheel();
    console().enable_suspended_wheel();
    EXPECT_EQ(rig.sent(), "X O4 W F4 ");
    EXPECT_TRUE(console().wheel_enabled());
}

TEST_F(Wheel, EnableWheel_Suspended_StaysSuspended) {
    console().suspend_wheel();
    console().enable_wheel();
    EXPECT_TRUE(console().jog_suspended());
    console().disable_wheel();
    EXPECT_TRUE(console().jog_suspended());
}

TEST_F(Wheel, JogSetSuspended_Either_SetsTheFlagAndSendsNothing) {
    console().jog_setSuspended(true);
    EXPECT_TRUE(console().jog_suspended());
    console().suspend_wheel();
    EXPECT_EQ(rig.sent(), "");
    console().jog_setSuspended(false);
    EXPECT_FALSE(console().jog_suspended());
    console().enable_suspended_wheel();
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(WheelSpied, SuspendWheel_AsksAndSwitchesOffVirtually) {
    console.suspend_wheel();
    EXPECT_EQ(console.calls, (Texts{"jog_suspended()", "disable_wheel()", "lamp_set(4, O)"}));
    console.calls.clear();
    console.suspend_wheel();
    EXPECT_EQ(console.calls, Texts{"jog_suspended()"});
}

TEST_F(WheelSpied, EnableSuspendedWheel_AsksAndSwitchesOnVirtually) {
    console.enable_suspended_wheel();
    EXPECT_EQ(console.calls, Texts{"jog_suspended()"});
    console.jog_setSuspended(true);
    console.calls.clear();
    console.enable_suspended_wheel();
    EXPECT_EQ(console.calls, (Texts{"jog_suspended()", "enable_wheel()", "lamp_set(4, F)"}));
}

TEST_F(WheelSpied, SuspendAndResume_FlagChanges_BeforeTheWheelIsSwitched) {
    std::vector<bool> suspended;
    console.onLampSet = [&](int, int) { suspended.push_back(console.Console::jog_suspended()); };
    console.suspend_wheel();
    console.enable_suspended_wheel();
    EXPECT_EQ(suspended, (std::vector<bool>{true, false}));
}

TEST_F(WheelSpied, WheelFlag_CoversTheTimeInWhichTheConsoleReports) {
    Texts states;
    console.onLampSet = [&](int, int) { states.push_back(console.wheel_enabled() ? "on" : "off"); };
    console.enable_wheel();
    console.disable_wheel();
    EXPECT_EQ(states, (Texts{"on", "on"})) << "set before the command, cleared after the lamp";
}

TEST(WheelOfTheDesk, SwitchedByTheHost_FollowsWithItsLamp) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    for (const bool on : {true, false}) {
        on ? rig.console().enable_wheel() : rig.console().disable_wheel();
        rig.run_for(1s);
        EXPECT_EQ(rig.desk.wheel_on(), on);
        EXPECT_EQ(rig.desk.lamp(4), on ? 'F' : 'O');
    }
    rig.console().enable_wheel();
    rig.console().suspend_wheel();
    rig.run_for(1s);
    EXPECT_FALSE(rig.desk.wheel_on());
    rig.console().enable_suspended_wheel();
    rig.run_for(1s);
    EXPECT_TRUE(rig.desk.wheel_on());
}
