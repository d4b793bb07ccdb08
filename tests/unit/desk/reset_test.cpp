// Power, RTS, and the way from there into the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;
using desk::DeskEvent;
using testing::ElementsAre;

TEST(DeskReset, PowerOn_ShowsThePromptAfterTheBootTime) {
    DeskRig rig;
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
    EXPECT_EQ(rig.lastByteAt, 20ms + 8 * byteTime);
    EXPECT_TRUE(rig.desk.rts());
    EXPECT_EQ(rig.desk.resets(), 0U);
}

TEST(DeskReset, RtsRising_ShowsThePromptAfterTheBootTime) {
    DeskRig rig;
    rig.run(1s);
    rig.desk.setRts(false, rig.now);
    EXPECT_EQ(rig.run(10s), "");
    rig.desk.setRts(true, rig.now);
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
    EXPECT_EQ(rig.lastByteAt, 11s + 20ms + 8 * byteTime);
    EXPECT_EQ(rig.desk.resets(), 1U);
}

TEST(DeskReset, RtsAsItIsAlready_ChangesNothing) {
    DeskRig rig;
    rig.startProgram();
    rig.desk.setRts(true, rig.now);
    EXPECT_TRUE(rig.desk.programRunning());
    rig.desk.setRts(false, rig.now);
    rig.desk.setRts(false, rig.now);
    EXPECT_EQ(rig.desk.resets(), 1U);
}

TEST(DeskReset, ShortestPulse_ResetsToo) {
    DeskRig rig;
    rig.startProgram();
    rig.desk.setRts(false, rig.now);
    rig.desk.setRts(true, rig.now);
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
}

TEST(DeskReset, Reset_LosesLampsWheelAndVersion) {
    DeskRig rig;
    rig.startProgram();
    rig.ask("? F2 B46 W ");
    ASSERT_TRUE(rig.desk.active());
    rig.desk.setRts(false, rig.now);
    EXPECT_FALSE(rig.desk.programRunning());
    EXPECT_FALSE(rig.desk.active());
    EXPECT_FALSE(rig.desk.wheelOn());
    EXPECT_EQ(rig.desk.lamp(2), 'O');
    EXPECT_EQ(rig.desk.lamp(46), 'O');
}

TEST(DeskReset, WhileHeld_BothDirectionsAreLost) {
    DeskRig rig;
    rig.startProgram();
    rig.desk.tap('E', rig.now);
    rig.run(byteTime);
    rig.desk.setRts(false, rig.now + byteTime / 2);
    rig.say("? F2 ");
    rig.desk.press('A', rig.now);
    rig.desk.raw("x", rig.now);
    EXPECT_EQ(rig.run(1s), "");
    EXPECT_EQ(rig.desk.lamp(2), 'O');
    EXPECT_EQ(rig.desk.received().size(), 9U + 5U) << "on the line all the same";
}

TEST(DeskReset, WhatHasLeftBefore_CanStillBeTaken) {
    DeskRig rig;
    rig.startProgram();
    rig.desk.tap('E', rig.now);
    rig.desk.setRts(false, rig.now + byteTime);
    const auto byte = rig.desk.takeOutput(rig.now + 1s);
    ASSERT_TRUE(byte);
    EXPECT_EQ(byte->byte, 'E');
    EXPECT_FALSE(rig.desk.takeOutput(rig.now + 2s));
}

/// Far more than the line carries in the time that a host waits for an answer.
const std::string burst(65'536, 'x');

TEST(DeskReset, AfterABurst_TheConsoleAnswersAtOnce) {
    DeskRig rig;
    rig.startProgram();
    rig.say(burst);
    rig.reset();
    EXPECT_EQ(rig.run(20ms + 8 * byteTime), "\r\nEPROM>");
    EXPECT_EQ(rig.ask("H \r").substr(0, 3), "H \r");
    EXPECT_EQ(rig.desk.lostInput(), burst.size() - desk::Desk::sendBuffer);
}

TEST(DeskReset, BurstWhileHeld_DoesNotOutlastTheReset) {
    DeskRig rig;
    rig.startProgram();
    rig.desk.setRts(false, rig.now);
    rig.say(burst);
    rig.desk.setRts(true, rig.now);
    EXPECT_EQ(rig.run(20ms + 8 * byteTime), "\r\nEPROM>");
    EXPECT_EQ(rig.ask("J 0100 0\r"), "J 0100 0\r\r\n");
}

TEST(DeskReset, PowerCycleAfterABurst_TheConsoleAnswersAtOnce) {
    DeskRig rig;
    rig.startProgram();
    rig.say(burst);
    rig.desk.powerCycle(rig.now);
    EXPECT_EQ(rig.run(20ms + 8 * byteTime), "\r\nEPROM>");
    EXPECT_EQ(rig.ask("J 0100 0\r"), "J 0100 0\r\r\n");
}

TEST(DeskReset, WhileTheProgramStarts_SixteenBytesWaitAndTheRestIsCounted) {
    DeskRig rig({.startTime = 1s});
    rig.run(500ms);
    rig.ask("J 0100 0\r");
    rig.ask("F1 F2 F3 F4 F5 F6 F7 ");
    EXPECT_EQ(rig.desk.lostInput(), 5U);
    rig.run(1s);
    EXPECT_EQ(rig.desk.lamp(5), 'F');
    EXPECT_EQ(rig.desk.lamp(7), 'O');
}

TEST(DeskReset, WhileBooting_InputIsLost) {
    DeskRig rig;
    rig.say("H \r");
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
}

TEST(DeskReset, DuringBoot_StartsTheBootAgain) {
    DeskRig rig;
    rig.run(15ms);
    rig.desk.setRts(false, rig.now);
    rig.run(1ms);
    rig.desk.setRts(true, rig.now);
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
    EXPECT_EQ(rig.lastByteAt, 36ms + 8 * byteTime);
}

TEST(DeskReset, HalfALine_IsForgotten) {
    DeskRig rig;
    rig.run(1s);
    rig.ask("J 0100");
    rig.reset();
    rig.run(1s);
    rig.ask(" 0\r");
    EXPECT_FALSE(rig.desk.programRunning());
}

TEST(DeskReset, HalfACommand_IsForgotten) {
    DeskRig rig({.noMonitor = true});
    rig.run(1s);
    rig.ask("F1");
    rig.reset();
    rig.run(1s);
    rig.ask("2 ");
    EXPECT_EQ(rig.desk.lamp(12), 'O');
}

TEST(DeskReset, PowerCycle_BootsWithoutCountingAsAReset) {
    DeskRig rig;
    rig.startProgram();
    rig.ask("? F2 ");
    rig.desk.powerCycle(rig.now);
    EXPECT_FALSE(rig.desk.active());
    EXPECT_EQ(rig.desk.lamp(2), 'O');
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
    EXPECT_EQ(rig.desk.resets(), 0U);
}

TEST(DeskReset, PowerCycleWhileHeld_WaitsForRts) {
    DeskRig rig;
    rig.desk.setRts(false, rig.now);
    rig.desk.powerCycle(rig.now);
    EXPECT_EQ(rig.run(1s), "");
    rig.desk.setRts(true, rig.now);
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
}

TEST(DeskReset, Running_BeginsInTheProgramAndResetsIntoTheMonitor) {
    DeskRig rig({.running = true});
    EXPECT_TRUE(rig.desk.programRunning());
    EXPECT_FALSE(rig.desk.active());
    EXPECT_EQ(rig.ask("? "), "V007 ");
    rig.reset();
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
}

TEST(DeskReset, NoMonitor_BootsIntoTheProgram) {
    DeskRig rig({.noMonitor = true});
    EXPECT_FALSE(rig.desk.programRunning());
    EXPECT_EQ(rig.run(20ms), "");
    EXPECT_TRUE(rig.desk.programRunning());
    rig.reset();
    EXPECT_FALSE(rig.desk.programRunning());
    EXPECT_EQ(rig.run(20ms), "");
    EXPECT_TRUE(rig.desk.programRunning());
}

TEST(DeskReset, JumpedToTheProgram_StartsAfterTheReplyAndTheStartTime) {
    DeskRig rig;
    rig.run(1s);
    rig.say("J 0100 0\r");
    const Time replied = rig.now + (9 + 1 + 2) * byteTime;  // the reply follows the last echo
    rig.run(replied - rig.now + 5ms - 1ns);
    EXPECT_FALSE(rig.desk.programRunning());
    rig.run(1ns);
    EXPECT_TRUE(rig.desk.programRunning());
}

TEST(DeskReset, WhileTheProgramStarts_SixteenBytesAreKept) {
    DeskRig rig({.startTime = 100ms});
    rig.run(1s);
    rig.say("J 0100 0\r");
    rig.run(30ms);
    rig.say("F2      ? F3 F4 ");
    rig.run(50ms);
    rig.say("F5 ");
    EXPECT_EQ(rig.run(1s), "V007 ");
    EXPECT_EQ(rig.desk.lamp(2), 'F');
    EXPECT_EQ(rig.desk.lamp(4), 'F');
    EXPECT_EQ(rig.desk.lamp(5), 'O');
}

TEST(DeskReset, BootAndStartTimes_AreTheOptions) {
    DeskRig rig({.bootTime = 1s, .startTime = 2s});
    EXPECT_EQ(rig.run(1s), "");
    rig.run(1s);
    rig.say("J 0100 0\r");
    rig.run(1900ms);
    EXPECT_FALSE(rig.desk.programRunning());
    rig.run(1s);
    EXPECT_TRUE(rig.desk.programRunning());
}

TEST(DeskReset, Watcher_HearsTheWholeWay) {
    DeskRig rig;
    std::vector<DeskEvent::Kind> heard;
    rig.desk.watch([&](const DeskEvent& happening) { heard.push_back(happening.kind); });
    rig.reset();
    rig.run(1s);
    rig.ask("H \r");
    rig.ask("J 0100 0\r");
    rig.ask("? ");
    using Kind = DeskEvent::Kind;
    EXPECT_THAT(heard, ElementsAre(Kind::resetHeld, Kind::booting, Kind::prompted, Kind::identified, Kind::jumped,
                                   Kind::programStarted, Kind::versionAsked));
}

}  // namespace
