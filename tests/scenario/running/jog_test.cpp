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

INSTANTIATE_TEST_SUITE_P(
    Rows, JogExact,
    testing::Values(ExactRow{.name = "BackwardsAndAHalf", .packet = "\\7FFF1388", .delta = -1, .exact = -1.5},
                    ExactRow{.name = "ForwardsAndAHalf", .packet = "\\7F011388", .delta = 1, .exact = 1.5},
                    ExactRow{.name = "ZeroCountsAsPositive", .packet = "\\7F001388", .delta = 0, .exact = 0.5},
                    ExactRow{.name = "NegativeFineShortens", .packet = "\\7FFFEC78", .delta = -1, .exact = -0.5},
                    ExactRow{.name = "NegativeFineOfZero", .packet = "\\7F00EC78", .delta = 0, .exact = -0.5},
                    ExactRow{.name = "Highest", .packet = "\\7F7F7FFF", .delta = 127, .exact = 130.2767},
                    ExactRow{.name = "Lowest", .packet = "\\7F807FFF", .delta = -128, .exact = -131.2767},
                    ExactRow{.name = "Nothing", .packet = "\\7F000000", .delta = 0, .exact = 0.0}),
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
        TurnOnRow{.name = "AtLevel", .on = true, .level = 6, .count = 6, .fine = 0, .presses = true},
        TurnOnRow{.name = "BelowLevel", .on = true, .level = 6, .count = 5, .fine = 0, .presses = false},
        TurnOnRow{.name = "JustBelow", .on = true, .level = 6, .count = 5, .fine = 9999, .presses = false},
        TurnOnRow{.name = "FineReachesLevel", .on = true, .level = 6, .count = 5, .fine = 10000, .presses = true},
        TurnOnRow{.name = "FineFallsShort", .on = true, .level = 6, .count = 6, .fine = 0xFFFF, .presses = false},
        TurnOnRow{.name = "Backwards", .on = true, .level = 6, .count = 0xFA, .fine = 0, .presses = true},
        TurnOnRow{.name = "BackwardsBelow", .on = true, .level = 6, .count = 0xFB, .fine = 9999, .presses = false},
        TurnOnRow{
            .name = "BackwardsFineReachesLevel", .on = true, .level = 6, .count = 0xFB, .fine = 10000, .presses = true},
        TurnOnRow{.name = "Level1", .on = true, .level = 1, .count = 1, .fine = 0, .presses = true},
        TurnOnRow{.name = "Level1Backwards", .on = true, .level = 1, .count = 0xFF, .fine = 0, .presses = true},
        TurnOnRow{.name = "Level1FineAlone", .on = true, .level = 1, .count = 0, .fine = 0xD8F0, .presses = true},
        TurnOnRow{.name = "Level1NoMovement", .on = true, .level = 1, .count = 0, .fine = 0, .presses = false},
        TurnOnRow{.name = "Level130", .on = true, .level = 130, .count = 0x7F, .fine = 0x7FFF, .presses = true},
        TurnOnRow{.name = "Level131", .on = true, .level = 131, .count = 0x7F, .fine = 0x7FFF, .presses = false},
        TurnOnRow{.name = "Level131Backwards", .on = true, .level = 131, .count = 0x80, .fine = 0x7FFF, .presses = true},
        TurnOnRow{.name = "Level999", .on = true, .level = 999, .count = 0x80, .fine = 0x7FFF, .presses = false},
        TurnOnRow{.name = "Off", .on = false, .level = 6, .count = 0x40, .fine = 0, .presses = false}),
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
