// A recording's console, played again: in step with the host, and what the host does otherwise is reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "desk/Replay.h"

namespace {

using namespace std::chrono_literals;
using desk::Replay;
using desk::Time;
using testing::ElementsAre;
using testing::IsEmpty;

class DeskReplay : public testing::Test {
protected:
    /// What the console has sent by `now`.
    static std::string sent(Replay& replay, Time now) {
        std::string bytes;
        while (const auto byte = replay.takeOutput(now)) bytes += static_cast<char>(byte->byte);
        return bytes;
    }
    static void hostSends(Replay& replay, const std::string& bytes, Time now) {
        for (const char byte : bytes) replay.receive(static_cast<unsigned char>(byte), now);
    }

    Replay::Steps steps;
};

TEST_F(DeskReplay, Console_BeforeTheHostsFirstByte_CountsFromTheBeginning) {
    steps.consoleSends(2ms, "ab");
    steps.consoleSends(3ms, "c");
    Replay replay(steps, 10s);
    EXPECT_EQ(replay.nextEvent(), Time(10s + 2ms));
    EXPECT_EQ(sent(replay, 10s + 1ms), "");
    EXPECT_EQ(sent(replay, 10s + 2ms), "ab");
    EXPECT_FALSE(replay.done());
    EXPECT_EQ(sent(replay, 10s + 3ms), "c");
    EXPECT_TRUE(replay.done());
    EXPECT_EQ(replay.nextEvent(), std::nullopt);
}

TEST_F(DeskReplay, Console_AfterASlowHost_IsAsMuchLaterAsItWas) {
    steps.hostSends(1ms, "? ");
    steps.consoleSends(5ms, "V007 ");
    Replay replay(steps);
    hostSends(replay, "?", 1s);
    EXPECT_EQ(replay.nextEvent(), std::nullopt);
    EXPECT_EQ(replay.missing(), 1U);
    hostSends(replay, " ", 2s);
    EXPECT_EQ(replay.nextEvent(), Time(2s + 4ms));
    EXPECT_EQ(sent(replay, 2s + 4ms), "V007 ");
    EXPECT_TRUE(replay.done());
    EXPECT_THAT(replay.differences(), IsEmpty());
}

TEST_F(DeskReplay, Console_AfterAFastHost_KeepsItsOrder) {
    steps.consoleSends(10ms, "a");
    steps.hostSends(20ms, "1");
    steps.consoleSends(21ms, "b");
    steps.hostSends(30ms, "2");
    steps.consoleSends(30ms, "c");
    Replay replay(steps);
    hostSends(replay, "12", 0ms);
    EXPECT_EQ(replay.nextEvent(), Time(10ms));
    EXPECT_EQ(sent(replay, 9ms), "");
    EXPECT_EQ(sent(replay, 10ms), "abc");
}

TEST_F(DeskReplay, Mark_BetweenBytes_IsTakenInItsPlace) {
    steps.consoleSends(1ms, "a");
    steps.consoleDoes(1ms, 7);
    steps.consoleDoes(1ms, 8);
    steps.consoleSends(1ms, "b");
    Replay replay(steps);
    EXPECT_EQ(replay.takeMark(1ms), std::nullopt);
    EXPECT_EQ(sent(replay, 1ms), "a");
    EXPECT_TRUE(replay.markDue(1ms));
    EXPECT_EQ(replay.takeMark(1ms), 7U);
    EXPECT_EQ(sent(replay, 1ms), "");
    EXPECT_TRUE(replay.takeHangUp(1ms));
    EXPECT_EQ(sent(replay, 1ms), "b");
    EXPECT_TRUE(replay.done());
}

/// The recorded host tried to connect again, and could not.
TEST_F(DeskReplay, Host_GoesOnAfterTheLastHangUp_IsNoDifference) {
    steps.hostSends(1ms, "a");
    steps.consoleDoes(2ms, 0);
    Replay replay(steps);
    hostSends(replay, "a", 1ms);
    EXPECT_TRUE(replay.takeHangUp(2ms));
    replay.setRts(false, 3ms);
    replay.setRts(true, 4ms);
    hostSends(replay, "more", 5ms);
    EXPECT_THAT(replay.differences(), IsEmpty());
    EXPECT_TRUE(replay.done());
}

TEST_F(DeskReplay, Host_GoesOnTooSoonOrAfterAnotherConnection_IsADifference) {
    steps.hostSends(1ms, "a");
    steps.consoleDoes(2ms, 0);
    steps.hostSends(3ms, "b");
    Replay replay(steps);
    hostSends(replay, "a", 1ms);
    EXPECT_TRUE(replay.takeHangUp(2ms));
    hostSends(replay, "b", 3ms);
    EXPECT_TRUE(replay.done());
    hostSends(replay, "c", 4ms);
    EXPECT_THAT(replay.differences(), ElementsAre("at 0.003000 s the host sends 'c', and nothing more is recorded"));

    Replay::Steps hangsUp;
    hangsUp.hostSends(1ms, "a");
    hangsUp.consoleDoes(2ms, 0);
    Replay early(hangsUp);
    hostSends(early, "ab", 1ms);
    EXPECT_THAT(early.differences(), ElementsAre("at 0.002000 s the host sends 'b', and nothing more is recorded"));
}

TEST_F(DeskReplay, Host_SendsOtherBytes_EachIsADifferenceAndCounts) {
    steps.hostSends(1500us, "ab");
    steps.consoleSends(2ms, "x");
    Replay replay(steps);
    hostSends(replay, "a\x02", 0ms);
    EXPECT_EQ(sent(replay, 500us), "x");
    hostSends(replay, "c", 1s);
    EXPECT_EQ(replay.differenceCount(), 2U);
    EXPECT_THAT(replay.differences(), ElementsAre("at 0.001500 s the host sends \\x02 in place of 'b'",
                                                  "at 0.002000 s the host sends 'c', and nothing more is recorded"));
}

TEST_F(DeskReplay, Host_LeavesBytesOutBeforeRts_TheyAreCounted) {
    steps.hostSends(1ms, "abc");
    steps.consoleSends(2ms, "x");
    steps.hostSends(3ms, "d");
    steps.hostDrivesRts(4ms, false);
    steps.hostDrivesRts(5ms, true);
    steps.hostSends(6ms, "e");
    Replay replay(steps);
    EXPECT_EQ(replay.missing(), 7U);
    hostSends(replay, "a", 0ms);
    replay.setRts(true, 0ms);  // as it was
    replay.setRts(false, 10ms);
    EXPECT_EQ(replay.missing(), 2U);
    hostSends(replay, "e", 11ms);
    replay.setRts(true, 12ms);
    hostSends(replay, "e", 13ms);
    replay.setRts(false, 14ms);
    EXPECT_EQ(replay.missing(), 0U);
    EXPECT_THAT(replay.differences(), ElementsAre("at 0.004000 s the host has left out 3 steps before it drives RTS",
                                                  "at 0.005000 s the host sends 'e' in place of an RTS level",
                                                  "at 0.006000 s the host drives RTS low once more"));
    EXPECT_EQ(sent(replay, 14ms), "x");
}

}  // namespace
