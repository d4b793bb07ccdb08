// The program's commands and what shows of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;
using desk::DeskEvent;
using testing::ElementsAre;
using testing::IsEmpty;

class DeskProgram : public testing::Test {
protected:
    DeskRig rig{{.running = true}};
};

struct VersionRow {
    int firmware;
    const char* answer;
};

class DeskVersion : public testing::TestWithParam<VersionRow> {};

TEST_P(DeskVersion, Asked_IsThreeHexDigits) {
    DeskRig rig({.firmware = GetParam().firmware, .running = true});
    EXPECT_FALSE(rig.desk.active());
    EXPECT_EQ(rig.ask("? "), GetParam().answer);
    EXPECT_TRUE(rig.desk.active());
}

INSTANTIATE_TEST_SUITE_P(
    Firmwares, DeskVersion,
    testing::Values(VersionRow{.firmware = 5, .answer = "V005 "}, VersionRow{.firmware = 6, .answer = "V006 "},
                    VersionRow{.firmware = 7, .answer = "V007 "}, VersionRow{.firmware = 8, .answer = "V008 "},
                    VersionRow{.firmware = 0, .answer = "V000 "}, VersionRow{.firmware = 0xABC, .answer = "VABC "},
                    VersionRow{.firmware = 0x1007, .answer = "V007 "}, VersionRow{.firmware = -1, .answer = "VFFF "}));

TEST_F(DeskProgram, EveryLampAndState_ShowsAndOnlyThatLampChanges) {
    for (const char state : std::string_view("FHBO")) {
        for (int lamp = 1; lamp <= 46; ++lamp) {
            rig.ask(state + std::to_string(lamp) + ' ');
            EXPECT_EQ(rig.desk.lamp(lamp), state) << lamp;
            EXPECT_EQ(rig.desk.lamp(lamp % 46 + 1) == state, lamp == 46) << "the next one, after " << lamp;
        }
    }
    EXPECT_EQ(rig.desk.unknownCommands(), 0U);
}

TEST_F(DeskProgram, LampsBeforeAnyCommand_AreOff) {
    for (int lamp = 1; lamp <= 46; ++lamp) EXPECT_EQ(rig.desk.lamp(lamp), 'O');
    for (const int none : {-1, 0, 47}) EXPECT_EQ(rig.desk.lamp(none), '\0');
}

TEST_F(DeskProgram, W_SwitchesTheWheelOnAndX_Off) {
    EXPECT_FALSE(rig.desk.wheelOn());
    rig.ask("W ");
    EXPECT_TRUE(rig.desk.wheelOn());
    rig.ask("X ");
    EXPECT_FALSE(rig.desk.wheelOn());
}

TEST_F(DeskProgram, KAndBlanks_AreAcceptedAndSayNothing) {
    EXPECT_EQ(rig.ask("K      "), "");
    EXPECT_EQ(rig.desk.unknownCommands(), 0U);
}

TEST_F(DeskProgram, CommandWithoutItsSpace_Waits) {
    rig.ask("F1");
    EXPECT_EQ(rig.desk.lamp(1), 'O');
    rig.ask("2");
    rig.ask(" ");
    EXPECT_EQ(rig.desk.lamp(12), 'F');
    EXPECT_EQ(rig.desk.lamp(1), 'O');
}

class DeskUnknownCommand : public testing::TestWithParam<std::string> {};

TEST_P(DeskUnknownCommand, Is_IgnoredAndCounted) {
    DeskRig rig({.running = true});
    std::string ignored;
    rig.desk.watch([&](const DeskEvent& happening) {
        ASSERT_EQ(happening.kind, DeskEvent::Kind::ignored);
        ignored = happening.text;
    });
    EXPECT_EQ(rig.ask(GetParam() + ' '), "");
    EXPECT_EQ(rig.desk.unknownCommands(), 1U);
    EXPECT_EQ(ignored, GetParam().substr(0, 16));
    for (int lamp = 1; lamp <= 46; ++lamp) EXPECT_EQ(rig.desk.lamp(lamp), 'O');
    EXPECT_FALSE(rig.desk.wheelOn());
    EXPECT_FALSE(rig.desk.active());
    rig.desk.watch({});
    EXPECT_EQ(rig.ask("? "), "V007 ");
}

INSTANTIATE_TEST_SUITE_P(Commands, DeskUnknownCommand,
                         testing::Values("F", "F0", "F47", "F02", "F1x", "F-1", "F+1", "f1", "G1", "F99999999999", "WW", "w",
                                         "??", "KK", "J", "0\rF2", std::string(17, 'F'), std::string(200, 'W'),
                                         std::string("\0", 1), "\xFF\xFE"));

TEST_F(DeskProgram, UnknownCommands_AreCountedThroughResets) {
    rig.ask("a b c ");
    rig.reset();
    EXPECT_EQ(rig.desk.unknownCommands(), 3U);
}

TEST_F(DeskProgram, Watcher_HearsChangesOnly) {
    std::vector<std::string> heard;
    rig.desk.watch([&](const DeskEvent& happening) {
        if (happening.kind == DeskEvent::Kind::lampSet)
            heard.push_back(happening.letter + std::to_string(happening.number));
        else if (happening.kind == DeskEvent::Kind::wheelSet)
            heard.push_back(happening.number != 0 ? "on" : "off");
        else
            heard.push_back("version " + std::to_string(happening.number));
    });
    rig.ask("O1 F1 F1 B46 X W W X K ? ");
    EXPECT_THAT(heard, ElementsAre("F1", "B46", "on", "off", "version 7"));
}

}  // namespace
