// The transport at a console that is a few values.
#include "apps/cvhost/transport/ConsoleTransport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "apps/cvhost/transport/ClipDeck.h"
#include "tests/support/ValueConsole.h"

using cvhost::transport::Clip;
using cvhost::transport::ClipDeck;
using cvhost::transport::ConsoleTransport;
using cvhost::transport::Time;
using testing::ElementsAre;
using testing::IsEmpty;

using namespace std::chrono_literals;

namespace {

constexpr int ring = 0;
constexpr int stopKey = 12;
constexpr int playKey = 11;
constexpr int jogKey = 28;
constexpr int jogWheel = 47;

class ConsoleTransportTest : public testing::Test {
protected:
    std::int64_t frameAfter(Time time) {
        m_now += time;
        return m_transport.advance(m_console).state.frame;
    }
    std::int64_t turn(double counts) {
        m_console.jog = counts;
        m_transport.handle(jogWheel, m_console);
        return frameAfter(0s);
    }

    ValueConsole m_console;
    Time m_now = 1s;
    ClipDeck m_deck{Clip{}, [this] { return m_now; }};
    ConsoleTransport m_transport{m_deck};
};

}  // namespace

TEST_F(ConsoleTransportTest, Begin_Untouched_IsInTheMiddleAndSetsNoLamp) {
    EXPECT_EQ(frameAfter(1h), 7500);
    EXPECT_THAT(m_console.shown, IsEmpty());
}

TEST_F(ConsoleTransportTest, Handle_Keys_LampsFollowTheSpeed) {
    m_transport.handle(playKey, m_console);
    frameAfter(0s);
    frameAfter(1s);
    m_transport.handle(stopKey, m_console);
    EXPECT_EQ(frameAfter(1s), 7525);
    EXPECT_THAT(m_console.shown, ElementsAre(1024, 0));
}

TEST_F(ConsoleTransportTest, Handle_Ring_RunsAtTheDriversSpeed) {
    m_console.speed = -11994;
    m_transport.handle(ring, m_console);
    EXPECT_EQ(frameAfter(1024ms), 7201);  // 7500 - 299.85
    m_console.speed = 0;
    m_transport.handle(ring, m_console);
    frameAfter(1h);
    EXPECT_THAT(m_console.shown, ElementsAre(-11994, 0));
}

TEST_F(ConsoleTransportTest, Advance_ClipsEndReached_LampsShowIt) {
    m_transport.handle(playKey, m_console);
    frameAfter(1s);
    EXPECT_EQ(frameAfter(1h), 14'999);
    EXPECT_THAT(m_console.shown, ElementsAre(1024, 0));
}

TEST_F(ConsoleTransportTest, Handle_JogKey_SwitchesTheWheelAndStops) {
    m_transport.handle(playKey, m_console);
    m_transport.handle(jogKey, m_console);
    EXPECT_TRUE(m_console.wheel);
    EXPECT_EQ(m_transport.advance(m_console).state.speed, 0);
    m_transport.handle(jogKey, m_console);
    EXPECT_FALSE(m_console.wheel);
}

TEST_F(ConsoleTransportTest, Handle_Jog_MovesByExactCounts) {
    EXPECT_EQ(turn(2.25), 7502);
    EXPECT_EQ(turn(3.5), 7505);
    EXPECT_EQ(turn(0.2499), 7505);
    EXPECT_EQ(turn(0.0001), 7506);
    EXPECT_EQ(turn(-131.2767), 7375);
    EXPECT_EQ(turn(131.2767), 7506);
}

TEST_F(ConsoleTransportTest, Handle_JogWithAnotherGearing_MovesAThousandthOfTheUnitAFrame) {
    m_console.gearing = 0.0025;
    EXPECT_EQ(turn(2), 7505);
    m_console.gearing = -0.001;
    EXPECT_EQ(turn(5), 7500);
    m_console.gearing = 0;
    EXPECT_EQ(turn(100), 7500);
}

TEST_F(ConsoleTransportTest, Handle_JogWithAnImpossibleGearing_StaysInTheClip) {
    m_console.gearing = std::nan("");
    EXPECT_EQ(turn(1), 7500);
    m_console.gearing = std::numeric_limits<double>::infinity();
    EXPECT_EQ(turn(127), 14'999);
    m_console.gearing = -1e300;
    EXPECT_EQ(turn(127), 0);
    m_console.gearing = 0.001;
    EXPECT_EQ(turn(std::nan("")), 0);
}
