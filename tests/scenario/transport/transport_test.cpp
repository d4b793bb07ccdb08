// Hands on the desk, through the driver, to the playhead, and back to the desk's lamps.
#include <gtest/gtest.h>

#include "apps/cvhost/transport/ClipDeck.h"
#include "apps/cvhost/transport/ConsoleTransport.h"
#include "tests/support/Rig.h"

using cvhost::transport::Clip;
using cvhost::transport::ClipDeck;
using cvhost::transport::ConsoleTransport;
using cvhost::transport::State;

using namespace support;

namespace {

constexpr std::int64_t hour = 90'000;  ///< frames at 25 a second
constexpr std::int64_t middle = hour + 1;
constexpr auto frameTime = 40ms;
/// By then what was done on the desk has arrived.
constexpr auto lineTime = 20ms;

class TransportAtTheDesk : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(rig.start());
        rig.run_for(1s);  // until the desk has taken the last commands of start-up
        for (const int code : ConsoleTransport::codes) {
            rig.handle(code, [this](int handled) {
                m_handledAt = rig.now();
                m_transport.handle(handled, rig.console());
                return true;
            });
        }
    }

    State after(Time time) {
        rig.run_for(time);
        return m_transport.advance(rig.console()).state;
    }
    State at(Time time) { return after(time - rig.now()); }
    /// Lamps 3, 2 and 1: reverse, stop and forward.
    std::string lamps() {
        after(lineTime);
        rig.run_for(lineTime);
        return {rig.desk.lamp(3), rig.desk.lamp(2), rig.desk.lamp(1)};
    }
    State tap(char key) {
        rig.desk.taps(key);
        return after(lineTime);
    }
    State ring(unsigned char position) {
        rig.desk.shuttle(position);
        return after(lineTime);
    }
    State jog(std::int8_t counts, std::int16_t fine = 0) {
        rig.desk.jog(counts, fine);
        return after(lineTime);
    }
    void expectAFrameEveryFortyMilliseconds(int direction) {
        const Time began = m_handledAt;
        for (int i = 1; i <= hour; ++i) {
            ASSERT_EQ(at(began + i * frameTime - 1ns).frame, middle + direction * (i - 1));
            ASSERT_EQ(at(began + i * frameTime).frame, middle + direction * i);
        }
    }

    Rig rig;
    ClipDeck m_deck{Clip{.frames = 2 * hour + 3, .rate = {25, 1}}, [this] { return rig.now(); }};
    ConsoleTransport m_transport{m_deck};
    Time m_handledAt{};
};

}  // namespace

TEST_F(TransportAtTheDesk, PlayKey_ForAnHour_ShowsAFrameEveryFortyMilliseconds) {
    EXPECT_EQ(tap('K').speed, 1024);
    expectAFrameEveryFortyMilliseconds(1);
}

TEST_F(TransportAtTheDesk, ReverseKey_ForAnHour_ShowsAFrameEveryFortyMilliseconds) {
    EXPECT_EQ(tap('M').speed, -1024);
    expectAFrameEveryFortyMilliseconds(-1);
}

TEST_F(TransportAtTheDesk, Ring_AtPlayForAnHour_ShowsAFrameEveryFortyMilliseconds) {
    ring(130);  // the driver holds the ring for turned to play before it has heard of it
    EXPECT_EQ(ring(184).speed, 1024);
    expectAFrameEveryFortyMilliseconds(1);
    EXPECT_EQ(ring(127).speed, 0);
}

TEST_F(TransportAtTheDesk, Ring_EachPosition_RunsAtTheDriversSpeed) {
    for (int position = 255; position >= 0; --position) {
        const State state = ring(static_cast<unsigned char>(position));
        ASSERT_EQ(state.speed, rig.console().get_ispeed()) << position;
    }
    EXPECT_EQ(rig.console().get_ispeed(), -11'994);
}

TEST_F(TransportAtTheDesk, Keys_AndRing_LampsFollow) {
    EXPECT_EQ(lamps(), "OFO");
    tap('K');
    EXPECT_EQ(lamps(), "OOF");
    tap('G');
    EXPECT_EQ(lamps(), "OOB");
    tap('H');
    EXPECT_EQ(lamps(), "BOO");
    tap('M');
    EXPECT_EQ(lamps(), "FOO");
    tap('L');
    EXPECT_EQ(lamps(), "OFO");
    ring(200);
    EXPECT_EQ(lamps(), "OOH");
    ring(30);
    EXPECT_EQ(lamps(), "HOO");
    ring(127);
    EXPECT_EQ(lamps(), "OFO");
}

TEST_F(TransportAtTheDesk, ClipsEnd_Reached_StopsAndLightsTheStopLamp) {
    tap('G');
    EXPECT_EQ(lamps(), "OOB");
    EXPECT_EQ(after(1h).frame, 2 * hour + 2);
    EXPECT_EQ(lamps(), "OFO");
    EXPECT_EQ(tap('K').speed, 0);
    EXPECT_EQ(tap('H').speed, -30'000);
}

TEST_F(TransportAtTheDesk, ForceStop_FromTheHost_StopsTheClip) {
    tap('K');
    rig.console().force_stop();
    EXPECT_EQ(after(1s).speed, 0);
    EXPECT_EQ(lamps(), "OFO");
}

TEST_F(TransportAtTheDesk, Jog_FourHundredCountsEachWay_IsAtEachFrameOnTheWay) {
    tap('\\');
    ASSERT_TRUE(rig.desk.wheel_on());
    for (int i = 1; i <= 400; ++i) ASSERT_EQ(jog(1).frame, middle + i);
    for (int i = 1; i <= 400; ++i) ASSERT_EQ(jog(-1).frame, middle + 400 - i);
    EXPECT_EQ(after(1h).frame, middle);
}

TEST_F(TransportAtTheDesk, Jog_FineCounts_AddUpToFrames) {
    tap('\\');
    for (int i = 1; i <= 30; ++i) ASSERT_EQ(jog(0, 1000).frame, middle + i / 10);
    for (int i = 1; i <= 30; ++i) ASSERT_EQ(jog(0, -1000).frame, middle + 3 - i / 10);
    EXPECT_EQ(jog(-1, 5000).frame, middle - 1);
    EXPECT_EQ(jog(-1, 5000).frame, middle - 3);
}

TEST_F(TransportAtTheDesk, Jog_FasterThanTheLine_ArrivesWholeAndStopsWithTheHand) {
    tap('\\');
    for (int i = 0; i < 50; ++i) rig.desk.jog(9);
    rig.run_for(1s);
    EXPECT_EQ(after(0s).frame, middle + 450);
    EXPECT_EQ(after(1h).frame, middle + 450);
}

TEST_F(TransportAtTheDesk, Jog_WhilePlaying_StopsAndMoves) {
    tap('\\');
    tap('K');
    const State playing = after(1s);
    EXPECT_EQ(playing.speed, 1024);
    const State jogged = jog(2);
    EXPECT_EQ(jogged.speed, 0);
    EXPECT_EQ(after(1h), jogged);
    EXPECT_EQ(lamps(), "OFO");
}

TEST_F(TransportAtTheDesk, Jog_WheelOff_NothingMovesUntilItSwitchesItselfOn) {
    EXPECT_EQ(jog(5).frame, middle);
    EXPECT_FALSE(rig.desk.wheel_on());
    EXPECT_EQ(jog(6).frame, middle + 6);
    EXPECT_TRUE(rig.desk.wheel_on());
    EXPECT_EQ(jog(-1).frame, middle + 5);
}

TEST_F(TransportAtTheDesk, Ring_WhileTheWheelIsOn_RunsTheClip) {
    tap('\\');
    EXPECT_EQ(ring(200).speed, 1495);
    EXPECT_EQ(ring(201).speed, 1547);
    EXPECT_EQ(ring(127).speed, 0);
}

TEST_F(TransportAtTheDesk, JogReport_FirstAfterThePlayKey_DoesNotStopTheClip) {
    tap('K');
    EXPECT_EQ(jog(1).speed, 1024);
}
