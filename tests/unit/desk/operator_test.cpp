// The operator's hands: keys, shuttle ring, jog wheel, and what else can be sent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;

class DeskOperator : public testing::Test {
protected:
    std::string sent() { return rig.run(1s); }
    DeskRig rig{{.running = true}};
};

TEST_F(DeskOperator, Press_SendsTheKey) {
    rig.desk.press('E', rig.now);
    EXPECT_EQ(sent(), "E ");
}

TEST_F(DeskOperator, Release_SendsTheKeyAndU) {
    rig.desk.release('E', rig.now);
    EXPECT_EQ(sent(), "EU ");
}

TEST_F(DeskOperator, Tap_SendsBoth) {
    rig.desk.tap('\\', rig.now);
    EXPECT_EQ(sent(), "\\ \\U ");
}

TEST_F(DeskOperator, Shuttle_SendsItsPositionWithoutJog) {
    rig.desk.shuttle(200, rig.now);
    EXPECT_EQ(sent(), "\\C8000000 ");
    rig.desk.shuttle(0, rig.now);
    EXPECT_EQ(sent(), "\\00000000 ");
    rig.desk.shuttle(255, rig.now);
    EXPECT_EQ(sent(), "\\FF000000 ");
}

struct JogRow {
    int counts;
    int fine;
    const char* packet;
};
void PrintTo(const JogRow& row, std::ostream* out) { *out << row.counts << ' ' << row.fine; }

class DeskJog : public testing::TestWithParam<JogRow> {};

TEST_P(DeskJog, Turned_SentInTwosComplementHex) {
    DeskRig rig({.running = true});
    rig.desk.jog(static_cast<std::int8_t>(GetParam().counts), static_cast<std::int16_t>(GetParam().fine), rig.now);
    EXPECT_EQ(rig.run(1s), GetParam().packet);
}

INSTANTIATE_TEST_SUITE_P(Movements, DeskJog,
                         testing::Values(JogRow{.counts = 0, .fine = 0, .packet = "\\7F000000 "},
                                         JogRow{.counts = 1, .fine = 0, .packet = "\\7F010000 "},
                                         JogRow{.counts = -1, .fine = 5000, .packet = "\\7FFF1388 "},
                                         JogRow{.counts = 127, .fine = 32767, .packet = "\\7F7F7FFF "},
                                         JogRow{.counts = -128, .fine = -32768, .packet = "\\7F808000 "},
                                         JogRow{.counts = 0, .fine = -1, .packet = "\\7F00FFFF "}));

TEST_F(DeskOperator, Jog_TellsWhereTheRingIs) {
    rig.desk.shuttle(65, rig.now);
    rig.desk.jog(2, 0, rig.now);
    EXPECT_EQ(sent(), "\\41000000 \\41020000 ");
}

TEST_F(DeskOperator, Jog_IsReportedWhetherTheWheelIsOnOrOff) {
    rig.desk.jog(6, 0, rig.now);
    EXPECT_EQ(sent(), "\\7F060000 ");
    rig.ask("W ");
    rig.desk.jog(6, 0, rig.now);
    EXPECT_EQ(sent(), "\\7F060000 ");
}

TEST(DeskStatusLead, OfFirmware8Alone_IsL) {
    for (int firmware = 5; firmware <= 9; ++firmware) {
        DeskRig rig({.firmware = firmware, .running = true});
        rig.desk.jog(1, 0, rig.now);
        EXPECT_EQ(rig.run(1s), firmware == 8 ? "L7F010000 " : "\\7F010000 ") << firmware;
    }
}

TEST_F(DeskOperator, Ring_StaysWhereItIsThroughAReset) {
    rig.desk.shuttle(90, rig.now);
    rig.reset();
    rig.run(1s);
    rig.ask("J 0100 0\r");
    rig.desk.jog(0, 0, rig.now);
    EXPECT_EQ(sent(), "\\5A000000 ");
}

TEST_F(DeskOperator, Forwarded_HasATildeBeforeAndASpaceAfter) {
    rig.desk.forward("VExpP", rig.now);
    EXPECT_EQ(sent(), "~VExpP ");
}

TEST_F(DeskOperator, Raw_SendsTheBytesAsTheyAre) {
    rig.desk.raw(std::string_view("a\0\xFF", 3), rig.now);
    EXPECT_EQ(sent(), std::string("a\0\xFF", 3));
}

TEST(DeskOperatorInMonitor, KeysAndWheel_DoNothingButRawIsSent) {
    DeskRig rig;
    rig.run(1s);
    rig.desk.tap('E', rig.now);
    rig.desk.jog(1, 0, rig.now);
    rig.desk.forward("E", rig.now);
    rig.desk.shuttle(200, rig.now);
    EXPECT_EQ(rig.run(1s), "");
    rig.desk.raw("x", rig.now);
    EXPECT_EQ(rig.run(1s), "x");
    rig.ask("J 0100 0\r");
    rig.desk.jog(0, 0, rig.now);
    EXPECT_EQ(rig.run(1s), "\\C8000000 ") << "but the ring was turned";
}

TEST_F(DeskOperator, PacketThatFindsNoRoom_IsLostWhole) {
    for (int i = 0; i < 1000; ++i) rig.desk.jog(1, 0, rig.now);
    const std::string all = rig.run(10s);
    EXPECT_EQ(all.size(), 4096U / 10U * 10U);
    EXPECT_TRUE(all.ends_with("\\7F010000 "));
}

TEST_F(DeskOperator, ReleaseThatFindsNoRoom_IsSentBeforeAnythingElse) {
    EXPECT_TRUE(rig.desk.press('E', rig.now));
    for (int i = 0; i < 1000; ++i) rig.desk.jog(1, 0, rig.now);
    EXPECT_TRUE(rig.desk.press('F', rig.now)) << "there is room for two more bytes";
    for (const char key : {'E', 'F', 'E'}) rig.desk.release(key, rig.now);
    EXPECT_FALSE(rig.desk.press('E', rig.now));
    const std::string first = rig.run(3ms);
    EXPECT_EQ(first, "E ");
    EXPECT_FALSE(rig.desk.press('E', rig.now)) << "there is room, but its release is waiting";
    EXPECT_TRUE(rig.run(10s).ends_with("\\7F010000 F EU FU "));
    EXPECT_TRUE(rig.desk.press('E', rig.now));
}

TEST_F(DeskOperator, ReleaseThatFindsNoRoom_IsForgottenAtAReset) {
    rig.desk.press('E', rig.now);
    for (int i = 0; i < 1000; ++i) rig.desk.jog(1, 0, rig.now);
    rig.desk.press('F', rig.now);
    rig.desk.release('E', rig.now);
    rig.desk.powerCycle(rig.now);
    rig.run(10s);
    rig.ask("J 0100 0\r");
    rig.desk.press('G', rig.now);
    EXPECT_EQ(sent(), "G ");
}

TEST_F(DeskOperator, Active_NeedsTheVersionAsked) {
    rig.desk.press('E', rig.now);
    EXPECT_EQ(sent(), "E ");
    EXPECT_FALSE(rig.desk.active());
}

}  // namespace
