// Wheel status, its shuttle half: the ring's position becomes a play speed.
#include <cmath>
#include <cstdio>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

std::string status(int position) {
    char packet[16];
    std::snprintf(packet, sizeof packet, "\\%02X000000", static_cast<unsigned>(position));
    return packet;
}

/// The speed law in its own words: nothing below five counts, a detent at play, quadratic to 2500, quartic above.
int speedOf(int position) {
    const int counts = std::abs(position - 127);
    double e = 111;
    if (counts < 5) {
        e = 0;
    } else if (counts < 54) {
        e = counts - 5;
    } else if (counts < 63) {
        e = 48;
    } else if (counts < 127) {
        e = counts - 15;
    }
    double speed = std::floor(e * e / 2.25);
    if (e >= 76) speed = std::floor(speed * speed / 2500);
    return static_cast<int>(position < 127 ? -speed : speed);
}

class Shuttle : public Running {};

class ShuttleAt : public Running, public testing::WithParamInterface<int> {};

struct SpeedRow {
    const char* name;
    int position;
    int speed;
};

class ShuttleSpeed : public Running, public testing::WithParamInterface<SpeedRow> {};

struct FormRow {
    const char* name;
    const char* packet;
    int speed;
    int delta;
    double exact;
};

class StatusForm : public Running, public testing::WithParamInterface<FormRow> {};

class StatusOfLength : public Running, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(ShuttleAt, ParsePacket_Position_GivesOffsetAndSpeedByTheLaw) {
    parse(status(GetParam()));
    EXPECT_EQ(console().get_ispeed(), speedOf(GetParam()));
    EXPECT_EQ(ConsoleTestAccess::shuttleOffset(console()), GetParam() - 127);
}

TEST_P(ShuttleAt, ParsePacket_PositionWhileDisabled_SpeedIsStoredAndTheHostNotTold) {
    console().disable();
    rig.handle(0);
    last_button_index = 99;
    parse(status(GetParam()));
    EXPECT_EQ(console().get_ispeed(), speedOf(GetParam()));
    EXPECT_EQ(ConsoleTestAccess::shuttleOffset(console()), GetParam() - 127);
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_EQ(last_button_index, 0);
}

INSTANTIATE_TEST_SUITE_P(Positions, ShuttleAt, testing::Range(0, 256));

TEST_P(ShuttleSpeed, ParsePacket_Position_GivesSpeed) {
    rig.receives(status(GetParam().position) + " ");
    EXPECT_EQ(console().get_ispeed(), GetParam().speed);
}

INSTANTIATE_TEST_SUITE_P(Rows, ShuttleSpeed,
                         testing::Values(SpeedRow{.name = "Centre", .position = 127, .speed = 0},
                                         SpeedRow{.name = "EndOfDeadBand", .position = 131, .speed = 0},
                                         SpeedRow{.name = "FirstCount", .position = 132, .speed = 0},
                                         SpeedRow{.name = "SecondCount", .position = 133, .speed = 0},
                                         SpeedRow{.name = "ThirdCount", .position = 134, .speed = 1},
                                         SpeedRow{.name = "Play", .position = 180, .speed = 1024},
                                         SpeedRow{.name = "PlayDetent", .position = 185, .speed = 1024},
                                         SpeedRow{.name = "EndOfPlay", .position = 189, .speed = 1024},
                                         SpeedRow{.name = "StillPlay", .position = 190, .speed = 1024},
                                         SpeedRow{.name = "BeyondPlay", .position = 191, .speed = 1067},
                                         SpeedRow{.name = "At200", .position = 200, .speed = 1495},
                                         SpeedRow{.name = "At203", .position = 203, .speed = 1653},
                                         SpeedRow{.name = "LastQuadratic", .position = 217, .speed = 2500},
                                         SpeedRow{.name = "FirstQuartic", .position = 218, .speed = 2635},
                                         SpeedRow{.name = "At253", .position = 253, .speed = 11994},
                                         SpeedRow{.name = "At254", .position = 254, .speed = 11994},
                                         SpeedRow{.name = "At255", .position = 255, .speed = 11994},
                                         SpeedRow{.name = "ReversePlay", .position = 65, .speed = -1024},
                                         SpeedRow{.name = "ReversePlayBegins", .position = 74, .speed = -1024},
                                         SpeedRow{.name = "ReverseFull", .position = 0, .speed = -11994},
                                         SpeedRow{.name = "ReverseDeadBand", .position = 123, .speed = 0},
                                         SpeedRow{.name = "ReverseThirdCount", .position = 120, .speed = -1}),
                         byName);

TEST_F(Shuttle, ParsePacket_SameStatusTwice_TellsTheHostAtMostOnce) {
    rig.handle(0);
    rig.receives("\\7F000000 \\7F000000 ");
    EXPECT_EQ(rig.handled(), Codes{}) << "the speed was 0 already";
    console().set_ispeed(1024);
    rig.receives("\\7F000000 \\7F000000 ");
    EXPECT_EQ(rig.handled(), Codes{0});
    EXPECT_EQ(console().get_ispeed(), 0);
}

TEST_F(Shuttle, ParsePacket_OtherPositionOfTheSameSpeed_DoesNotTellTheHost) {
    rig.handle(0);
    rig.receives(status(180) + " " + status(189) + " ");
    EXPECT_EQ(rig.handled(), Codes{0});
    EXPECT_EQ(ConsoleTestAccess::shuttleOffset(console()), 62);
}

TEST_F(Shuttle, ParsePacket_SpeedSetByTheHostInBetween_TellsTheHostAgain) {
    rig.handle(0);
    rig.receives(status(200) + " ");
    console().set_ispeed(5);
    rig.receives(status(200) + " ");
    EXPECT_EQ(rig.handled(), (Codes{0, 0}));
    EXPECT_EQ(console().get_ispeed(), 1495);
}

TEST_F(Shuttle, ParsePacket_HandlerOfCode0_SeesTheNewSpeedAndTheOldButton) {
    int speed = 0;
    int lastButton = 0;
    rig.handle(0, [&](int) {
        speed = console().get_ispeed();
        lastButton = last_button_index;
        return false;
    });
    last_button_index = 99;
    rig.receives(status(200) + " ");
    EXPECT_EQ(speed, 1495);
    EXPECT_EQ(lastButton, 99);
    EXPECT_EQ(last_button_index, 0);
    EXPECT_EQ(rig.keys(), Keys{}) << "a refused speed is not queued";
}

TEST_F(Shuttle, ParsePacket_SpeedUnchanged_LastButtonBecomes0AllTheSame) {
    last_button_index = 99;
    rig.receives("\\7F000000 ");
    EXPECT_EQ(last_button_index, 0);
}

TEST_F(Shuttle, ParsePacket_HandlerOfCode0Disables_JogStaysAsItWas) {
    rig.handle(0, [this](int) {
        console().disable();
        return true;
    });
    parse("\\C8051388");
    EXPECT_EQ(console().get_ispeed(), 1495);
    EXPECT_EQ(console().get_jog_delta(), 0);
    EXPECT_EQ(console().get_jog_delta_exact(), 0.0);
}

TEST_F(Shuttle, ParsePacket_HandlerOfCode0Enables_JogIsTaken) {
    console().disable();
    parse("\\C8051388");
    EXPECT_EQ(console().get_jog_delta(), 0);
    console().enable();
    parse("\\C8051388");
    EXPECT_EQ(console().get_jog_delta(), 5);
}

TEST_P(StatusForm, ParsePacket_Fields_AreReadWhereTheyStand) {
    parse(GetParam().packet);
    EXPECT_EQ(console().get_ispeed(), GetParam().speed);
    EXPECT_EQ(console().get_jog_delta(), GetParam().delta);
    EXPECT_EQ(console().get_jog_delta_exact(), GetParam().exact);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StatusForm,
    testing::Values(
        FormRow{.name = "Short", .packet = "\\C8051388", .speed = 1495, .delta = 5, .exact = 5.5},
        FormRow{.name = "ShortLowerCase", .packet = "\\c805abcd", .speed = 1495, .delta = 5, .exact = 5 - 2.1555},
        FormRow{.name = "ShortUpperCase", .packet = "\\C8051A2B", .speed = 1495, .delta = 5, .exact = 5.6699},
        FormRow{.name = "ShortNotHexadecimal", .packet = "\\xyC8zz!?", .speed = -11994, .delta = -56, .exact = -56.0},
        FormRow{.name = "Long", .packet = "\\pqrstuvC805", .speed = 1495, .delta = 5, .exact = 5.0},
        FormRow{.name = "LongWithDigitsBefore", .packet = "\\1234567C805", .speed = 1495, .delta = 5, .exact = 5.0},
        FormRow{.name = "LongNegative", .packet = "\\FFFFFFFC8FF", .speed = 1495, .delta = -1, .exact = -1.0},
        FormRow{.name = "LongNotHexadecimal", .packet = "\\1234567xyzz", .speed = -11994, .delta = 0, .exact = 0.0}),
    byName);

TEST_F(Shuttle, RxInterruptChar_LongFormOverTheLine_IsCutToElevenAndNotUnderstood) {
    rig.debug(true);
    rig.receives("\\1234567C805 ");
    EXPECT_EQ(
        rig.log().back(),
        "CON:   Unrecognised STATUS message from console - console has been disabled!\n(Msg: [\\1234567C80] Len 11)\n");
    EXPECT_EQ(console().get_ispeed(), 0);
}

TEST_P(StatusOfLength, ParsePacket_OtherLengths_LogAndChangeNothing) {
    const std::string packet = std::string("\\C80A0000C80A00C8").substr(0, static_cast<std::size_t>(GetParam()));
    rig.handle(0);
    rig.handle(47);
    console().enable_wheel();
    rig.forget();
    last_button_index = 99;
    const std::string before = bytesOf(console());
    parse(packet);
    EXPECT_EQ(rig.log(), Texts{});
    rig.debug(true);
    parse(packet);
    EXPECT_EQ(rig.log(), Texts{"CON:   Unrecognised STATUS message from console - console has been disabled!\n(Msg: [" +
                               packet + "] Len " + std::to_string(GetParam()) + ")\n"});
    EXPECT_EQ(bytesOf(console()), before);
    EXPECT_EQ(rig.handled(), Codes{});
    EXPECT_EQ(last_button_index, 99);
}

INSTANTIATE_TEST_SUITE_P(Lengths, StatusOfLength, testing::Values(3, 4, 5, 6, 7, 8, 10, 11, 13, 14, 16));

TEST_F(Shuttle, ParsePacket_StatusOfLengthTen_LogsAndChangesNothing) {
    rig.debug(true);
    parse("\\C80A00000");
    EXPECT_EQ(rig.log(), Texts{"CON:   Unrecognised STATUS message from console - console has been disabled!\n"
                               "(Msg: [\\C80A00000] Len 10)\n"});
    EXPECT_TRUE(console().enabled());
    EXPECT_TRUE(console().active());
    EXPECT_EQ(console().get_ispeed(), 0);
    parse("\\C80A0000");
    EXPECT_EQ(console().get_ispeed(), 1495) << "nothing has been disabled";
}

TEST(ShuttleOfTheDesk, RingTurned_SpeedFollowsAndTheHostIsToldOfEachChange) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    std::vector<int> speeds;
    rig.handle(0, [&](int) {
        speeds.push_back(rig.console().get_ispeed());
        return true;
    });
    for (const int position : {127, 200, 203, 255, 185, 127, 0}) {
        rig.desk.shuttle(static_cast<unsigned char>(position));
        rig.run_for(100ms);
    }
    EXPECT_EQ(speeds, (std::vector<int>{0, 1495, 1653, 11994, 1024, 0, -11994}));
}
