// The map of the package works the real Ardour, and Ardour's state lights the lamps.
#include <chrono>
#include <thread>

#include "tests/applications/ArdourRig.h"
#include "tests/applications/Waiting.h"

namespace applications_test {
namespace {

/// The session's own unit of time, as its file writes it.
std::string timeText(int frame) { return "a" + std::to_string(std::int64_t{frame} * 5880); }

class Ardour : public ArdourTest {};

}  // namespace

TEST_F(Ardour, Keys_PlayAndStop_RollTheTransportAndLightTheLamps) {
    EXPECT_TRUE(lit("OFO"));
    tap('K');
    EXPECT_TRUE(speedBecomes([](double speed) { return speed == 1; }));
    EXPECT_TRUE(lit("OOF"));
    const double before = frame();
    EXPECT_TRUE(framesBecome([=](double frame) { return frame > before; }));
    tap('L');
    EXPECT_TRUE(stands());
    EXPECT_TRUE(lit("OFO"));
}

TEST_F(Ardour, Keys_ReverseRewindAndFastForward_RollTheTransport) {
    locate(600 * rate);
    tap('M');
    EXPECT_TRUE(speedBecomes([](double speed) { return speed == -1; }));
    EXPECT_TRUE(lampBecomes('H', 'F'));
    tap('L');
    EXPECT_TRUE(stands());
    EXPECT_TRUE(lampBecomes('H', 'O'));
    tap('H');
    EXPECT_TRUE(speedBecomes([](double speed) { return speed < 0; }));
    EXPECT_TRUE(lampBecomes('H', 'F'));
    tap('L');
    EXPECT_TRUE(stands());
    EXPECT_TRUE(tapUntil('G', [this] { return speed() >= 1; }));
    EXPECT_TRUE(tapUntil('G', [this] { return speed() > 1; }));
    EXPECT_TRUE(lampBecomes('G', 'F'));
    tap('L');
    EXPECT_TRUE(stands());
    EXPECT_TRUE(lampBecomes('G', 'O'));
}

TEST_F(Ardour, Wheel_Turned_MovesThePlayheadByAFifthOfASecondForEachCount) {
    locate(10 * rate);
    jog(5);
    EXPECT_TRUE(frameBecomes(11 * rate));
    jog(-10);
    EXPECT_TRUE(frameBecomes(9 * rate));
    for (int turn = 1; turn <= 5; ++turn) {
        jog(1);
        EXPECT_TRUE(frameBecomes(9 * rate + turn * rate / 5));
    }
    for (int turn = 0; turn < 10; ++turn) {
        jog(1);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(frameBecomes(12 * rate));
}

TEST_F(Ardour, Ring_TurnedAndSprungBack_ShuttlesAndStops) {
    locate(600 * rate);
    for (const int position : {200, 60}) {
        ring(static_cast<unsigned char>(position));
        EXPECT_TRUE(speedBecomes([=](double speed) { return position == 200 ? speed > 1.4 && speed < 1.5 : speed < 0; }));
        ring(127);
        EXPECT_TRUE(stands());
    }
    tap('K');
    EXPECT_TRUE(speedBecomes([](double speed) { return speed == 1; }));
}

TEST_F(Ardour, Keys_Markers_AreMadeAndGoneTo) {
    const auto hasMarks = [this](int count) {
        return [=, this] {
            const std::string session = saved();
            int found = 0;
            for (std::size_t at = 0; (at = session.find("\"IsMark\"", at)) != session.npos; ++at) ++found;
            return found == count;
        };
    };
    locate(2 * rate);
    EXPECT_TRUE(tapUntil('P', hasMarks(1)));
    locate(5 * rate);
    EXPECT_TRUE(tapUntil('P', hasMarks(2)));
    EXPECT_TRUE(jumps('Q', 5 * rate, 0));
    EXPECT_TRUE(jumps('B', 0, 2 * rate));
    EXPECT_TRUE(jumps('B', 2 * rate, 5 * rate));
    EXPECT_TRUE(jumps('A', 5 * rate, 2 * rate));
}

TEST_F(Ardour, Keys_RecordAndLoop_LightTheirLamps) {
    tap('C');
    EXPECT_TRUE(lampBecomes('C', 'F'));
    tap('C');
    EXPECT_TRUE(lampBecomes('C', 'O'));
    send({.address = "/loop_location", .arguments = {rate, 2 * rate}});
    tap('D');
    EXPECT_TRUE(lampBecomes('D', 'F'));
    EXPECT_TRUE(framesBecome([](double frame) { return frame >= rate; }));
    tap('L');
    EXPECT_TRUE(stands());
    EXPECT_TRUE(lampBecomes('D', 'O'));
}

/// A mark does not show by itself, so all of it is done again until both have come through: Ardour makes a loop of the
/// range.
TEST_F(Ardour, Keys_MarkInAndOut_SelectARange) {
    const std::string wanted = "start=\"" + timeText(rate) + "\" end=\"" + timeText(2 * rate) + "\" flags=\"IsAutoLoop\"";
    const auto shows = [&] {
        send({.address = "/access_action", .arguments = {"Editor/set-loop-from-edit-range"}});
        return saved().find(wanted) != std::string::npos;
    };
    EXPECT_TRUE(becomes([&] {
        locate(rate);
        tap('I');
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        locate(2 * rate);
        return bool{tapUntil('O', shows, 1)};
    }));
}

/// All are tried here except /undo and /redo.
TEST(ArdourMap, MapOfThePackage_Words_AreTheKnownOnes) {
    EXPECT_EQ(wordsOfMap("ardour"),
              (std::set<std::string>{"/add_marker", "/ffwd", "/goto_start", "/jog", "/loop_toggle", "/mark_in", "/mark_out",
                                     "/next_marker", "/prev_marker", "/rec_enable_toggle", "/redo", "/rewind",
                                     "/set_transport_speed", "/transport_play", "/transport_stop", "/undo"}));
}

}  // namespace applications_test
