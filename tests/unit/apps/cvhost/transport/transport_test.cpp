// What each key, the ring and the wheel do to the playhead.
#include "apps/cvhost/transport/Transport.h"

#include <gtest/gtest.h>

#include <climits>
#include <ostream>
#include <set>

using cvhost::transport::Clip;
using cvhost::transport::State;
using cvhost::transport::Time;
using cvhost::transport::Transport;

namespace keys = cvhost::transport::keys;

using namespace std::chrono_literals;

namespace cvhost::transport {

void PrintTo(const State& state, std::ostream* out) {
    *out << "frame " << state.frame << " speed " << state.speed << " marks " << state.markIn.value_or(-1) << " "
         << state.markOut.value_or(-1);
}

}  // namespace cvhost::transport

namespace {

constexpr std::int64_t count = cvhost::transport::Playhead::jogParts;  ///< a frame

State at(std::int64_t frame, int speed) { return {.frame = frame, .speed = speed, .markIn = {}, .markOut = {}}; }

class TransportTest : public testing::Test {
protected:
    State after(Time time) {
        m_transport.advance(m_now += time);
        return m_transport.state();
    }
    State key(int code) {
        m_transport.key(code, m_now);
        return m_transport.state();
    }
    State shuttle(int speed) {
        m_transport.shuttle(speed, m_now);
        return m_transport.state();
    }
    State jog(std::int64_t parts) {
        m_transport.jog(parts, m_now);
        return m_transport.state();
    }

    Transport m_transport{Clip{}, 7500};
    Time m_now = 5s;
};

}  // namespace

TEST_F(TransportTest, Begin_Untouched_StaysWhereItIs) { EXPECT_EQ(after(1h), at(7500, 0)); }

TEST_F(TransportTest, Key_EachTransportKey_GivesItsSpeedAtOnce) {
    const struct {
        int code;
        int speed;
        std::int64_t frameAfterASecond;
    } rows[] = {
        {keys::play, 1024, 7525}, {keys::reverse, -1024, 7475},      {keys::fastForward, 30000, 8232},
        {keys::stop, 0, 7500},    {keys::fastReverse, -30000, 6768},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        Transport transport(Clip{}, 7500);
        transport.key(row.code, 5s);
        EXPECT_EQ(transport.state(), at(7500, row.speed));
        transport.advance(6s);
        EXPECT_EQ(transport.state(), at(row.frameAfterASecond, row.speed));
    }
}

TEST_F(TransportTest, Key_NotOfTheTransport_DoesNothing) {
    key(keys::play);
    const std::set<int> taken{7, 8, 9, 11, 12, 13, 15};
    for (int code = -1; code <= 48; ++code) {
        if (taken.contains(code)) continue;
        EXPECT_EQ(key(code), at(7500, 1024)) << code;
    }
}

TEST_F(TransportTest, Key_PlayAgain_GoesOnPlaying) {
    key(keys::play);
    after(30ms);
    key(keys::play);
    EXPECT_EQ(after(10ms), at(7501, 1024));
}

TEST_F(TransportTest, Shuttle_Turned_RunsAtItsSpeedUntilTheCentre) {
    EXPECT_EQ(shuttle(1495), at(7500, 1495));
    EXPECT_EQ(after(1024ms), at(7537, 1495));  // 1.024 * 25 * 1495 / 1024 = 37.4
    shuttle(-11994);
    EXPECT_EQ(after(1024ms), at(7238, -11994));  // 7537.375 - 299.85 = 7237.5
    EXPECT_EQ(shuttle(0), at(7238, 0));
    EXPECT_EQ(after(1h), at(7238, 0));
}

TEST_F(TransportTest, Shuttle_SpeedAskedForBefore_LeavesWhatAKeyHasDone) {
    shuttle(1495);
    key(keys::stop);
    EXPECT_EQ(shuttle(1495).speed, 0);
    EXPECT_EQ(shuttle(1653).speed, 1653);
    EXPECT_EQ(shuttle(0).speed, 0);
    key(keys::play);
    EXPECT_EQ(shuttle(0).speed, 1024);
}

TEST_F(TransportTest, ReleaseRing_Turned_EndsWhatItHasStartedAlone) {
    shuttle(1495);
    m_transport.releaseRing(m_now);
    EXPECT_EQ(after(1s).speed, 0);
    EXPECT_EQ(shuttle(1495).speed, 1495) << "it counted as back at its centre";
    key(keys::play);
    m_transport.releaseRing(m_now);
    EXPECT_EQ(after(1s).speed, 1024);
}

TEST_F(TransportTest, Shuttle_AnyInteger_IsKeptWithinTheFastest) {
    EXPECT_EQ(shuttle(INT_MAX).speed, cvhost::transport::fastestSpeed);
    EXPECT_EQ(shuttle(INT_MIN).speed, -cvhost::transport::fastestSpeed);
    EXPECT_EQ(after(1h), at(0, 0));
}

TEST_F(TransportTest, Jog_Counts_MovesAFrameForEachAndStopsWhatRuns) {
    key(keys::play);
    EXPECT_EQ(jog(3 * count), at(7503, 0));
    EXPECT_EQ(jog(-5 * count), at(7498, 0));
    EXPECT_EQ(after(1h), at(7498, 0));
}

TEST_F(TransportTest, Jog_NoTurn_LeavesWhatRuns) {
    shuttle(1495);
    EXPECT_EQ(jog(0), at(7500, 1495));
}

TEST_F(TransportTest, Jog_WhileTheRingIsTurned_MovesAndTheRingGoesOn) {
    shuttle(1024);
    EXPECT_EQ(jog(3 * count), at(7503, 1024));
    m_transport.wheel(true, m_now);
    EXPECT_EQ(after(1s), at(7528, 1024));
    key(keys::stop);
    EXPECT_EQ(jog(count), at(7529, 0));
    key(keys::play);
    EXPECT_EQ(jog(count), at(7530, 0));
}

TEST_F(TransportTest, Jog_FineCounts_AddUp) {
    for (int i = 0; i < 7; ++i) EXPECT_EQ(jog(count / 10'000 * 1428).frame, 7500);
    EXPECT_EQ(jog(count / 10'000 * 4).frame, 7501);  // 7 * 0.1428 + 0.0004 = 1
    EXPECT_EQ(jog(-count / 10'000 * 9999).frame, 7501);
    EXPECT_EQ(jog(-count / 10'000).frame, 7500);
}

TEST_F(TransportTest, Jog_FourHundredCountsEachWay_IsWhereItBegan) {
    for (int i = 1; i <= 400; ++i) ASSERT_EQ(jog(count).frame, 7500 + i);
    for (int i = 1; i <= 400; ++i) ASSERT_EQ(jog(-count).frame, 7900 - i);
}

TEST_F(TransportTest, Jog_BehindTheEnds_StopsThereAndTurnsBackAtOnce) {
    Transport transport(Clip{}, 1);
    transport.jog(-1000 * count, m_now);
    EXPECT_EQ(transport.state().frame, 0);
    transport.jog(count, m_now);
    EXPECT_EQ(transport.state().frame, 1);
    for (int i = 0; i < 200; ++i) transport.jog(127 * count, m_now);
    EXPECT_EQ(transport.state().frame, 14'999);
}

TEST_F(TransportTest, Wheel_SwitchedOn_StopsWhatRuns) {
    key(keys::play);
    after(100ms);
    m_transport.wheel(false, m_now);
    EXPECT_EQ(m_transport.state(), at(7502, 1024));
    m_transport.wheel(true, m_now);
    EXPECT_EQ(m_transport.state(), at(7502, 0));
}

TEST_F(TransportTest, Advance_AtTheClipsEnds_Stops) {
    key(keys::play);
    EXPECT_EQ(after(300s), at(14'999, 0));
    EXPECT_EQ(key(keys::fastForward), at(14'999, 0));
    EXPECT_EQ(shuttle(1495), at(14'999, 0));
    EXPECT_EQ(key(keys::fastReverse).speed, -30'000);
    EXPECT_EQ(after(1h), at(0, 0));
    EXPECT_EQ(key(keys::reverse), at(0, 0));
    EXPECT_EQ(key(keys::play), at(0, 1024));
}

TEST_F(TransportTest, Advance_ExactlyToTheEnd_StopsThere) {
    Transport transport(Clip{}, 14'998);
    transport.key(keys::play, 0s);
    transport.advance(40ms - 1ns);
    EXPECT_EQ(transport.state(), at(14'998, 1024));
    transport.advance(40ms);
    EXPECT_EQ(transport.state(), at(14'999, 0));
}

TEST_F(TransportTest, Advance_ToAnEarlierTime_ChangesNothing) {
    key(keys::play);
    after(1s);
    m_transport.advance(m_now - 500ms);
    m_transport.key(keys::play, m_now - 500ms);
    m_transport.advance(m_now);
    EXPECT_EQ(m_transport.state(), at(7525, 1024));
    EXPECT_EQ(after(40ms), at(7526, 1024));
}

TEST_F(TransportTest, Key_Marks_AreSetWhereThePlayheadIs) {
    key(keys::play);
    after(1s);
    EXPECT_EQ(key(keys::markIn).markIn, 7525);
    after(1s);
    const State both = key(keys::markOut);
    EXPECT_EQ(both.markIn, 7525);
    EXPECT_EQ(both.markOut, 7550);
    EXPECT_EQ(both.speed, 1024);
}

TEST_F(TransportTest, Key_MarkOnTheOthersWrongSide_TakesTheOtherAway) {
    key(keys::markOut);
    jog(count);
    EXPECT_EQ(key(keys::markIn).markOut, std::nullopt);
    jog(-count);
    const State state = key(keys::markOut);
    EXPECT_EQ(state.markIn, std::nullopt);
    EXPECT_EQ(state.markOut, 7500);
    EXPECT_EQ(key(keys::markIn).markOut, 7500);  // the same frame is one frame long
}
