// The wire: when bytes arrive and leave, and how many may wait.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;
using desk::Desk;
using desk::TimedByte;
using testing::ElementsAre;
using testing::Optional;
using testing::SizeIs;

TEST(DeskLine, ByteTime_IsTenBitsAt9600Baud) { EXPECT_EQ(byteTime, 1'041'667ns); }

TEST(DeskLine, Byte_IsHeardWhenItsLastBitHasArrived) {
    Desk desk({.running = true});
    desk.receive('?', 10ms);
    EXPECT_EQ(desk.nextEvent(), 10ms + byteTime);
    desk.advance(10ms + byteTime - 1ns);
    EXPECT_TRUE(desk.received().empty());
    desk.advance(10ms + byteTime);
    EXPECT_THAT(desk.received(), ElementsAre(TimedByte{10ms + byteTime, '?'}));
    EXPECT_EQ(desk.nextEvent(), std::nullopt);
}

TEST(DeskLine, BytesSentAtOnce_ArriveOneByteTimeApart) {
    Desk desk({.running = true});
    for (const int byte : {'a', 'b'}) desk.receive(static_cast<unsigned char>(byte), 0ms);
    desk.receive('c', 20ms);
    desk.advance(1s);
    EXPECT_THAT(desk.received(),
                ElementsAre(TimedByte{byteTime, 'a'}, TimedByte{2 * byteTime, 'b'}, TimedByte{20ms + byteTime, 'c'}));
}

TEST(DeskLine, Output_BearsTheTimeWhenItHasLeft) {
    Desk desk({.running = true});
    desk.press('E', 5ms);
    EXPECT_EQ(desk.nextEvent(), 5ms + byteTime);
    EXPECT_EQ(desk.takeOutput(5ms + byteTime - 1ns), std::nullopt);
    EXPECT_THAT(desk.takeOutput(5ms + byteTime), Optional(TimedByte{5ms + byteTime, 'E'}));
    EXPECT_EQ(desk.takeOutput(5ms + byteTime), std::nullopt);
    EXPECT_THAT(desk.takeOutput(1s), Optional(TimedByte{5ms + 2 * byteTime, ' '}));
}

TEST(DeskLine, Answer_BeginsWhenTheQuestionHasArrived) {
    DeskRig rig({.running = true});
    rig.say("? ");
    EXPECT_EQ(rig.run(1s), "V007 ");
    EXPECT_EQ(rig.lastByteAt, (2 + 5) * byteTime);
}

TEST(DeskLine, Unpaced_BytesTakeNoTime) {
    DeskRig rig({.running = true, .unpaced = true});
    rig.run(3ms);
    rig.say("? ");
    EXPECT_EQ(rig.run(0ms), "V007 ");
    EXPECT_EQ(rig.lastByteAt, 3ms);
}

TEST(DeskLine, EarlierTime_CountsAsTheLatest) {
    Desk desk({.running = true});
    desk.advance(1s);
    desk.press('E', 10ms);
    EXPECT_EQ(desk.nextEvent(), 1s + byteTime);
}

TEST(DeskLine, AnswersNobodyTakes_AreBounded) {
    Desk desk({.running = true, .unpaced = true});
    for (int i = 0; i < 10'000; ++i)
        for (const int byte : {'?', ' '}) desk.receive(static_cast<unsigned char>(byte), 0ms);
    std::string text;
    while (const auto byte = desk.takeOutput(1s)) text += static_cast<char>(byte->byte);
    EXPECT_EQ(text.size(), 4096U / 5U * 5U) << "a whole number of answers";
    EXPECT_TRUE(desk.active());
}

TEST(DeskLine, BytesWaitingToArrive_AreBounded) {
    Desk desk({.running = true});
    std::vector<int> losses;
    desk.watch([&](const desk::DeskEvent& happening) {
        if (happening.kind == desk::DeskEvent::Kind::inputLost) losses.push_back(happening.number);
    });
    for (int i = 0; i < 70'000; ++i) desk.receive('x', 0ms);
    EXPECT_EQ(desk.nextEvent(), byteTime);
    EXPECT_EQ(desk.lostInput(), 70'000U - Desk::sendBuffer);
    desk.advance(100s);
    EXPECT_EQ(desk.received().size(), Desk::sendBuffer);
    EXPECT_EQ(desk.received().back(), (TimedByte{Desk::sendBuffer * byteTime, 'x'}));
    EXPECT_THAT(losses, ElementsAre(70'000 - 4096)) << "told once, when the burst is over";
    desk.receive('y', 100s);
    desk.advance(101s);
    EXPECT_EQ(desk.received().back(), (TimedByte{100s + byteTime, 'y'}));
    EXPECT_THAT(losses, SizeIs(1));
}

TEST(DeskLine, Received_KeepsTheNewest) {
    Desk desk({.running = true, .unpaced = true});
    for (int i = 0; i < 70'000; ++i) desk.receive(i == 0 ? 'a' : 'x', 0ms);
    EXPECT_EQ(desk.received().size(), 65'536U);
    EXPECT_EQ(desk.received().front().byte, 'x');
    EXPECT_EQ(desk.lostInput(), 0U) << "what takes no time on the line waits nowhere";
}

TEST(DeskLine, CutLine_NothingThatIsOnItsWayArrives) {
    DeskRig rig({.running = true});
    rig.say("F2 F3 ");
    rig.run(3 * byteTime);
    rig.desk.dropInput(rig.now);
    EXPECT_EQ(rig.ask("? "), "V007 ");
    EXPECT_EQ(rig.lastByteAt, 10 * byteTime) << "nothing waits before it";
    EXPECT_EQ(rig.desk.lamp(2), 'F');
    EXPECT_EQ(rig.desk.lamp(3), 'O');
    EXPECT_EQ(rig.desk.lostInput(), 0U);
}

TEST(DeskLine, ForgetReceived_ForgetsAll) {
    DeskRig rig;
    rig.ask("x");
    rig.desk.forgetReceived();
    EXPECT_TRUE(rig.desk.received().empty());
}

TEST(DeskLine, Silent_HearsAndObeysButSendsNothing) {
    DeskRig rig({.silent = true});
    EXPECT_EQ(rig.run(1s), "");
    EXPECT_EQ(rig.ask("J 0100 0\r"), "");
    EXPECT_EQ(rig.ask("? F12 "), "");
    rig.desk.tap('E', rig.now);
    rig.desk.raw("x", rig.now);
    EXPECT_EQ(rig.run(1s), "");
    EXPECT_TRUE(rig.desk.active());
    EXPECT_EQ(rig.desk.lamp(12), 'F');
}

}  // namespace
