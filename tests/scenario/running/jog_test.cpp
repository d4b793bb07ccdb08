// Wheel status, its jog half: movement in counts, and what it sets off.
#include <cmath>
#include <cstdio>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

std::string status(unsigned count, unsigned fine = 0) {
    char packet[16];
    std::snprintf(packet, sizeof packet, "\\7F%02X%04X", count, fine);
    return packet;
}

class Jog : public Running {};

struct ExactRow {
    const char* name;
    const char* packet;
    int delta;
    double exact;
};

class JogExact : public Running, public testing::WithParamInterface<ExactRow> {};

struct TurnOnRow {
    const char* name;
    bool on;
    int level;
    unsigned count;
    unsigned fine;
    bool presses;
};

class AutomaticJogTurnOn : public Running, public testing::WithParamInterface<TurnOnRow> {};

}  // namespace

TEST_F(Jog, ParsePacket_EveryCountWithSomeFineCounts_GivesDeltaAndExactDelta) {
    for (const unsigned fine : {0x0000U, 0x0001U, 0x1388U, 0x270FU, 0x2710U, 0x7FFFU, 0x8000U, 0x8001U, 0xEC78U, 0xFFFFU}) {
        for (unsigned count = 0; count < 256; ++count) {
            SCOPED_TRACE(status(count, fine));
            console().corvane_console_parse_packet(status(count, fine).data(), 9);
            const int delta = count < 0x80 ? static_cast<int>(count) : static_cast<int>(count) - 256;
            const double part = (fine < 0x8000 ? fine : fine - 65536.0) / 10000.0;
            ASSERT_EQ(console().get_jog_delta(), delta);
            ASSERT_EQ(console().get_jog_delta_exact(), delta < 0 ? -(-delta + part) : delta + part);
            cvhost::keyQueue().clear();
        }
        rig.run_for(1ms);
    }
}

TEST_P(JogExact, ParsePacket_CountAndFineCount_FineExtendsTheMagnitude) {
    rig.receives(std::string(GetParam().packet) + " ");
    EXPECT_EQ(console().get_jog_delta(), GetParam().delta);
    EXPECT_EQ(console().get_jog_delta_exact(), GetParam().exact);
}

INSTANTIATE_TEST_SUITE_P(Rows, JogExact,
                         testing::Values(ExactRow{"BackwardsAndAHalf", "\\7FFF1388", -1, -1.5},
                                         ExactRow{"ForwardsAndAHalf", "\\7F011388", 1, 1.5},
                                         ExactRow{"ZeroCountsAsPositive", "\\7F001388", 0, 0.5},
                                         ExactRow{"NegativeFineShortens", "\\7FFFEC78", -1, -0.5},
                                         ExactRow{"NegativeFineOfZero", "\\7F00EC78", 0, -0.5},
                                         ExactRow{"Highest", "\\7F7F7FFF", 127, 130.2767},
                                         ExactRow{"Lowest", "\\7F807FFF", -128, -131.2767},
                                         ExactRow{"Nothing", "\\7F000000", 0, 0.0}),
                         byName);

TEST_F(Jog, ParsePacket_Disabled_JogStaysAsItWasAndNothingIsSetOff) {
    parse("\\7F051388");
    console().disable();
    console().enable_wheel();
    rig.handle(28);
    rig.handle(47);
    rig.forget();
    parse("\\C8400000");
    EXPECT_EQ(console().get_jog_delta(), 5);
    EXPECT_EQ(console().get_jog_delta_exact(), 5.5);
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_EQ(rig.keys(), Keys{});
}

TEST_F(Jog, ParsePacket_WheelOn_EachStatusRunsHandler47WithTheNewMovement) {
    std::vector<double> seen;
    rig.handle(47, [&](int) {
        seen.push_back(console().get_jog_delta());
        seen.push_back(console().get_jog_delta_exact());
        return false;
    });
    console().enable_wheel();
    rig.receives("\\7F051388 \\7FFF0000 \\7F000000 \\7F7F0000 ");
    EXPECT_EQ(seen, (std::vector<double>{5, 5.5, -1, -1.0, 0, 0.0, 127, 127.0}));
    EXPECT_EQ(rig.handled(), (Codes{47, 47, 47, 47})) << "and no synthetic press, however far the wheel moved";
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_EQ(last_button_index, 0);
}

TEST_F(Jog, ParsePacket_WheelOnAndSpeedChanged_Handler0BeforeHandler47) {
    rig.handle(0);
    rig.handle(47);
    console().enable_wheel();
    parse("\\C8010000");
    EXPECT_EQ(rig.handled(), (Codes{0, 47}));
}

TEST_F(Jog, ParsePacket_WheelOff_NoHandler47) {
    rig.handle(47);
    parse("\\7F050000");
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_EQ(console().get_jog_delta(), 5);
}

TEST_P(AutomaticJogTurnOn, ParsePacket_Movement_PressesKey28FromTheTriggerLevelOn) {
    rig.jog_turn_on(GetParam().on, GetParam().level);
    parse(status(GetParam().count, GetParam().fine));
    EXPECT_EQ(rig.keys(), GetParam().presses ? (Keys{{28, false, 1536}}) : Keys{});
    EXPECT_EQ(console().key_is_down(28), GetParam().presses);
    EXPECT_EQ(last_button_index, GetParam().presses ? 28 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AutomaticJogTurnOn,
    testing::Values(
        TurnOnRow{"AtLevel", true, 6, 6, 0, true}, TurnOnRow{"BelowLevel", true, 6, 5, 0, false},
        TurnOnRow{"JustBelow", true, 6, 5, 9999, false}, TurnOnRow{"FineReachesLevel", true, 6, 5, 10000, true},
        TurnOnRow{"FineFallsShort", true, 6, 6, 0xFFFF, false}, TurnOnRow{"Backwards", true, 6, 0xFA, 0, true},
        TurnOnRow{"BackwardsBelow", true, 6, 0xFB, 9999, false},
        TurnOnRow{"BackwardsFineReachesLevel", true, 6, 0xFB, 10000, true}, TurnOnRow{"Level1", true, 1, 1, 0, true},
        TurnOnRow{"Level1Backwards", true, 1, 0xFF, 0, true}, TurnOnRow{"Level1FineAlone", true, 1, 0, 0xD8F0, true},
        TurnOnRow{"Level1NoMovement", true, 1, 0, 0, false}, TurnOnRow{"Level130", true, 130, 0x7F, 0x7FFF, true},
        TurnOnRow{"Level131", true, 131, 0x7F, 0x7FFF, false}, TurnOnRow{"Level131Backwards", true, 131, 0x80, 0x7FFF, true},
        TurnOnRow{"Level999", true, 999, 0x80, 0x7FFF, false}, TurnOnRow{"Off", false, 6, 0x40, 0, false}),
    byName);

TEST_F(Jog, ParsePacket_AutomaticJogTurnOn_LeavesKey28Down) {
    rig.receives(status(6) + " ");
    EXPECT_TRUE(console().key_is_down(28));
    rig.receives(status(0) + " ");
    EXPECT_TRUE(console().key_is_down(28)) << "no release follows";
    rig.receives("\\U ");
    EXPECT_FALSE(console().key_is_down(28));
}

TEST_F(Jog, ParsePacket_TurnOnAndHandlerEnablesWheel_Handler47RunsForThisMovement) {
    rig.handle(28, [this](int) {
        console().enable_wheel();
        return true;
    });
    rig.handle(47);
    rig.receives(status(6) + " ");
    EXPECT_EQ(
        rig.transcript({Kind::note, Kind::key, Kind::sent}),
        (Texts{"0.000 note handler 28", "0.000 sent W ", "0.000 sent F4 ", "0.000 key 28 1 1536", "0.000 note handler 47"}));
    EXPECT_EQ(last_button_index, 28);
    rig.forget();
    rig.receives(status(6) + " ");
    EXPECT_EQ(rig.handled(), Codes{47}) << "the wheel is on: no further press";
}

TEST_F(Jog, ParsePacket_TurnOnAndWheelStaysOff_NoHandler47AndEachMovementPressesAgain) {
    rig.handle(28);
    rig.handle(47);
    rig.receives(status(6) + " " + status(0xF0) + " ");
    EXPECT_EQ(rig.handled(), (Codes{28, 28}));
    EXPECT_EQ(rig.keys(), (Keys{{28, true, 1536}, {28, true, 1536}}));
}

TEST_F(Jog, ParsePacket_TurnOnWhileAKeyWaits_PressIsQueued) {
    rig.handle(28);
    queueAKey();
    rig.receives(status(6) + " ");
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}}));
}

TEST_F(Jog, ParsePacket_TurnOnWithFirmware8_PressIsKey28AllTheSame) {
    rig.receives("V008 ");
    rig.receives("L7F060000 ");
    EXPECT_EQ(rig.keys(), (Keys{{28, false, 1536}}));
}

TEST_F(Jog, ParsePacket_AnyMovement_LogsNothing) {
    rig.debug(true);
    parse(status(6));
    console().set_ispeed(5);
    parse(status(5, 5));
    EXPECT_EQ(rig.log(), Texts{});
}

TEST(JogOfTheDesk, WheelTurned_SwitchesItselfOnAndReportsEachMovement) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.handle(28, [&](int) {
        rig.console().enable_wheel();
        return true;
    });
    std::vector<double> moved;
    rig.handle(47, [&](int) {
        moved.push_back(rig.console().get_jog_delta_exact());
        return true;
    });
    rig.desk.jog(3);
    rig.desk.jog(-7, 5000);
    rig.desk.jog(2);
    rig.run_for(1s);
    EXPECT_EQ(moved, (std::vector<double>{-7.5, 2.0}));
    EXPECT_TRUE(rig.desk.wheel_on());
    EXPECT_EQ(rig.desk.lamp(4), 'F');
}
