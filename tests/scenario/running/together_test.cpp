// Two features at once.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class Together : public Running {};

}  // namespace

TEST_F(Together, TurnOn_WheelSuspended_PressesKey28AndStaysSuspended) {
    console().enable_wheel();
    console().suspend_wheel();
    rig.handle(47);
    rig.forget();
    rig.receives("\\7F080000 ");
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}})) << "suspended is off to the decoder";
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_TRUE(console().jog_suspended());
    EXPECT_FALSE(console().wheel_enabled());
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(Together, TurnOn_HandlerResumesTheWheel_MovementIsTold) {
    console().suspend_wheel();
    rig.handle(28, [this](int) {
        console().enable_suspended_wheel();
        return true;
    });
    rig.handle(47);
    rig.forget();
    rig.receives("\\7F080000 ");
    EXPECT_EQ(rig.handled(), (Codes{28, 47}));
    EXPECT_FALSE(console().jog_suspended());
    EXPECT_EQ(rig.sent(), "W F4 ");
}

TEST_F(Together, TurnOn_HandlerOfTheSpeedEndsTheConsole_ItsKeyPressIsNotUnderstood) {
    rig.handle(0, [this](int) {
        console().exit();
        return true;
    });
    rig.handle(28);
    rig.handle(47);
    rig.receives("\\C8080000 ");
    EXPECT_EQ(rig.handled(), Codes{0}) << "the press goes through the decoder, to which nothing counts now";
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_FALSE(console().key_is_down(28));
    EXPECT_EQ(console().get_jog_delta(), 8);
}

TEST_F(Together, TurnOn_HandlerOfTheSpeedHearsAnOldVersion_ItsKeyPressIsNotUnderstood) {
    rig.handle(0, [this](int) {
        parse("V006");
        return true;
    });
    rig.handle(28);
    rig.receives("\\C8080000 ");
    EXPECT_EQ(rig.handled(), Codes{0});
    EXPECT_FALSE(console().key_is_down(28));
}

TEST_F(Together, TurnOn_HandlerOfTheSpeedSwitchesTheWheelOn_TellsWithoutAPress) {
    rig.handle(0, [this](int) {
        console().enable_wheel();
        return true;
    });
    rig.handle(28);
    rig.handle(47);
    rig.receives("\\C8080000 ");
    EXPECT_EQ(rig.handled(), (Codes{0, 47}));
}

TEST_F(Together, TurnOn_KeyHeldAlready_PressedAgain) {
    rig.receives("\\ \\7F080000 ");
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}, {28, false, 1536}}));
    EXPECT_TRUE(console().key_is_down(28));
}

TEST_F(Together, TurnOn_TracingOn_LogsNoPacketForThePress) {
    rig.debug(true);
    parse("\\7F080000");
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}}));
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Together, FineJog_FullReverseAndForward_SpeedAndMovementOfOnePacket) {
    console().enable_wheel();
    rig.receives("\\00801388 ");
    EXPECT_EQ(console().get_ispeed(), -11994);
    EXPECT_EQ(console().get_jog_delta(), -128);
    EXPECT_EQ(console().get_jog_delta_exact(), -128.5);
    rig.receives("\\FF7F1388 ");
    EXPECT_EQ(console().get_ispeed(), 11994);
    EXPECT_EQ(console().get_jog_delta_exact(), 127.5);
}

TEST_F(Together, Forwarded_StatusWithTurnOn_IsAStatusAndAPress) {
    rig.receives("~\\C8080000 ");
    EXPECT_EQ(console().get_ispeed(), 1495);
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}}));
}

TEST_F(Together, Disabled_ForwardedStop_PassesAlone) {
    console().disable();
    rig.receives("~A ~L ");
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}}));
    EXPECT_TRUE(console().key_is_down(1));
}

TEST(TogetherInAProcess, Multiplier_TwoReceiveThreads_IsReadOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto body = [] {
        Rig::start_cold();
        {
            Rig rig(Rig::Scripted{});
            rig.set("BeyondPlayMultiplier", 2.0);
            rig.activate();
            rig.receives("\\FF000000 ");
            const int first = rig.console().get_ispeed();
            rig.console().exit();
            rig.set("BeyondPlayMultiplier", 1.0);
            rig.console().open_port();  // another receive thread
            rig.receives("V007 \\00000000 ");
            std::fprintf(stderr, "%d %d %zu\n", first, rig.console().get_ispeed(),
                         rig.calls("config_double(BeyondPlayMultiplier").size());
        }
        std::exit(0);
    };
    EXPECT_EXIT(body(), testing::ExitedWithCode(0), testing::HasSubstr("19914 -19914 1"));
}
