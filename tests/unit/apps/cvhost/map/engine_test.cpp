// What a map asks of its target when keys, ring and wheel are worked.
#include "apps/cvhost/map/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/unit/apps/cvhost/map/MapRig.h"

using namespace map_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int e = 5;
constexpr int f = 6;
constexpr int h = 8;
constexpr int play = 1024;
constexpr std::int64_t count = Engine::countParts;

const std::string keys = "[keys]\nE = 'ctrl+z'\nF = { tap = ['k', 'l'] }\n";
const std::string zones =
    "[ring]\ncentre = 'k'\nforward = [{ from = 0.5, tap = 'l' }, { from = 2, tap = ['k', 'l', 'l'] }]\n"
    "backward = [{ from = 0.5, tap = 'j' }]\n";
const std::string steps = "[ring]\ncentre = 'k'\nsteps = [0.5, 2, 4]\nforward = 'l'\nbackward = 'j'\n";
const std::string layers = "[layer.trim]\nheld = 'H'\nkeys = { E = 'x' }\n[layer.mark]\nlatched = 'A'\nkeys = { E = 'y' }\n";

}  // namespace

TEST(MapEngine, Press_HeldAndTapped_HoldsAndTaps) {
    MapRig rig(keys);
    rig.engine.press(e);
    rig.engine.release(e);
    EXPECT_THAT(rig.sent(), ElementsAre("press ctrl+z", "release E"));
    rig.engine.press(f);
    EXPECT_THAT(rig.sent(), ElementsAre("k", "l"));
}

TEST(MapEngine, Press_OfNoActionOrNoKey_DoesNothing) {
    MapRig rig(keys);
    for (const int code : {-1, 1, 48, 1000}) rig.engine.press(code);
    rig.engine.release(e);
    EXPECT_THAT(rig.sent(), IsEmpty());
}

TEST(MapEngine, Press_WhileDown_IsReleasedFirst) {
    MapRig rig(keys);
    rig.engine.press(e);
    rig.engine.press(e);
    EXPECT_THAT(rig.sent(), ElementsAre("press ctrl+z", "release E", "press ctrl+z"));
}

TEST(MapEngine, Layer_Held_LightsItsLampAndFallsBack) {
    MapRig rig(keys + layers);
    rig.engine.press(h);
    EXPECT_TRUE(rig.engine.lamps().test(13));
    rig.engine.press(e);
    rig.engine.press(f);
    EXPECT_THAT(rig.sent(), ElementsAre("press x", "k", "l"));
    rig.engine.release(h);
    EXPECT_TRUE(rig.engine.lamps().none());
    rig.engine.release(e);
    rig.engine.press(e);
    EXPECT_THAT(rig.sent(), ElementsAre("release E", "press ctrl+z"));
}

TEST(MapEngine, Layer_Latched_StaysUntilPressedAgain) {
    MapRig rig(keys + layers);
    rig.engine.press(1);
    rig.engine.release(1);
    EXPECT_TRUE(rig.engine.lamps().test(6));
    rig.engine.press(e);
    rig.engine.press(1);
    EXPECT_TRUE(rig.engine.lamps().none());
    rig.engine.press(e);
    EXPECT_THAT(rig.sent(), ElementsAre("press y", "release E", "press ctrl+z"));
}

TEST(MapEngine, Layer_HeldOverLatched_LastOneCounts) {
    MapRig rig(keys + layers);
    rig.engine.press(1);
    rig.engine.press(h);
    rig.engine.press(e);
    rig.engine.release(h);
    rig.engine.press(e);
    EXPECT_THAT(rig.sent(), ElementsAre("press x", "release E", "press y"));
}

TEST(MapEngine, Ring_TurnedAndSprungBack_TapsZonesAndAlwaysTheCentre) {
    MapRig rig(zones);
    for (const int speed : {100, play / 2, play, play * 2, play * 3, 0}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "k", "l", "l", "k"));
    for (const int speed : {play, -play, 0}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "k", "j", "k"));
    for (const int speed : {play * 30, 0, -1, 0}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("k", "l", "l", "k"));
}

TEST(MapEngine, Ring_AtTheEdgeOfAZone_StaysInItWithinTheHysteresis) {
    MapRig rig(zones);
    for (const int speed : {2048, 2000, 2048, 1844, 2100}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("k", "l", "l"));
    rig.engine.ring(1843);
    rig.engine.ring(2047);
    EXPECT_THAT(rig.sent(), ElementsAre("l"));
    rig.engine.ring(461);
    EXPECT_THAT(rig.sent(), IsEmpty());
    rig.engine.ring(460);
    rig.engine.ring(0);
    EXPECT_THAT(rig.sent(), ElementsAre("k"));
}

TEST(MapEngine, Ring_WithSteps_TapsOnceForEachZone) {
    MapRig rig(steps);
    rig.engine.ring(play * 4);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "l", "l"));
    rig.engine.ring(play);
    EXPECT_THAT(rig.sent(), ElementsAre("j", "j"));
    rig.engine.ring(-play * 2);
    EXPECT_THAT(rig.sent(), ElementsAre("k", "j", "j"));
    rig.engine.ring(-play);
    rig.engine.ring(0);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "k"));
}

TEST(MapEngine, Ring_LayerWithItsOwn_EndsTheOldOne) {
    MapRig rig(zones + "[layer.a]\nheld = 'H'\nring = { centre = 'space', steps = [1], forward = 'x', backward = 'y' }\n");
    rig.engine.ring(play);
    rig.engine.press(h);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "k"));
    rig.engine.ring(play + 1);
    rig.engine.release(h);
    EXPECT_THAT(rig.sent(), ElementsAre("x", "space"));
}

TEST(MapEngine, Ring_LayerWithoutOne_GoesOn) {
    MapRig rig(zones + layers);
    rig.engine.ring(play);
    rig.engine.press(h);
    rig.engine.ring(0);
    EXPECT_THAT(rig.sent(), ElementsAre("l", "k"));
}

TEST(MapEngine, Ring_ThatSendsItsSpeed_SendsEachChangeAndEndsAtZero) {
    MapRig rig(R"(target = 'mpv'
[ring]
speed = 0.5
[layer.fine]
held = 'H'
ring = { speed = 0.01 }
)");
    for (const int speed : {1024, 1024, -3000, 0, 2048}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("speed 512", "speed -1500", "speed 0", "speed 1024"));
    rig.engine.press(h);
    EXPECT_THAT(rig.sent(), ElementsAre("speed 0"));
    rig.engine.ring(1024);
    EXPECT_THAT(rig.sent(), ElementsAre("speed 10"));
    rig.engine.letGo();
    EXPECT_THAT(rig.sent(), ElementsAre("speed 0", "release all"));
    rig.engine.ring(std::numeric_limits<int>::max());
    EXPECT_THAT(rig.sent(), ElementsAre("speed 102400"));
}

TEST(MapEngine, Ring_ThatSendsItsSpeedAndHasACentre_SendsTheCentreInsteadOfZero) {
    MapRig rig("target = 'osc'\nport = 1\n[ring]\nsend = '/speed'\nspeed = 1\ncentre = '/stop'\n");
    for (const int speed : {1024, 0, 0, -2048}) rig.engine.ring(speed);
    EXPECT_THAT(rig.sent(), ElementsAre("speed 1024", "/stop", "speed -2048"));
    rig.engine.letGo();
    EXPECT_THAT(rig.sent(), ElementsAre("/stop", "release all"));
}

TEST(MapEngine, Ring_AnySpeed_IsSafe) {
    MapRig rig(steps);
    rig.engine.ring(std::numeric_limits<int>::min());
    rig.engine.ring(std::numeric_limits<int>::max());
    rig.engine.ring(0);
    EXPECT_THAT(rig.sent(), ElementsAre("j", "j", "j", "k", "l", "l", "l", "k"));
}

TEST(MapEngine, Wheel_FineCounts_AddUpExactly) {
    MapRig rig("[wheel]\nforward = 'right'\nbackward = 'left'\n");
    for (int i = 0; i < 10; ++i) rig.engine.wheel(count / 4, 0s);
    EXPECT_THAT(rig.sent(), ElementsAre("turn 1", "turn 1"));
    rig.engine.wheel(-count / 2, 0s);
    rig.engine.wheel(-3 * count, 0s);
    rig.engine.wheel(0, 0s);
    EXPECT_THAT(rig.sent(), ElementsAre("turn -3"));
}

TEST(MapEngine, Wheel_Scroll_CountsInFineUnits) {
    MapRig rig("[wheel]\nscroll = 'down'\n");
    for (int i = 0; i < 3; ++i) rig.engine.wheel(count / 3, 0s);
    rig.engine.wheel(-count, 0s);
    EXPECT_THAT(rig.sent(), ElementsAre("turn 39", "turn 40", "turn 40", "turn -119"));
}

TEST(MapEngine, Wheel_Gears_FollowTheCountsASecond) {
    Texts gears;
    const Map map = mapOf(
        "[wheel]\nforward = 'n'\nbackward = 'n'\nslow = { below = 10, forward = 's', backward = 's' }\n"
        "fast = { from = 50, forward = 'f', backward = 'f' }\n");
    Engine engine(map, [&](const Action& action) { gears.push_back(strokeText(action.wheel.forward)); });
    Engine::Time now = 100s;
    for (const auto pause : {0ms, 200ms, 50ms, 50ms, 10ms, 10ms, 0ms, 1000ms}) engine.wheel(count, now += pause);
    EXPECT_THAT(gears, ElementsAre("s", "s", "s", "n", "n", "f", "f", "s"));
}

TEST(MapEngine, Wheel_AnyTurn_IsBounded) {
    MapRig rig("[wheel]\nscroll = 'up'\n");
    rig.engine.wheel(std::numeric_limits<std::int64_t>::min(), 0s);
    EXPECT_THAT(rig.sent(), ElementsAre("turn -120000"));
}

TEST(MapEngine, LetGo_EverythingHeld_IsReleasedAndTheRingIsCentred) {
    MapRig rig(keys + zones + layers);
    rig.engine.press(e);
    rig.engine.press(1);
    rig.engine.ring(play);
    rig.sent();
    rig.engine.letGo();
    EXPECT_THAT(rig.sent(), ElementsAre("k", "release all"));
    EXPECT_TRUE(rig.engine.lamps().none());
    rig.engine.release(e);
    rig.engine.ring(0);
    EXPECT_THAT(rig.sent(), IsEmpty());
}

TEST(MapEngine, SetMap_KeyHeld_IsReleasedAndTheNewMapHolds) {
    MapRig rig(keys);
    rig.engine.press(e);
    rig.engine.setMap(mapOf("[keys]\nE = 'a'\n"));
    rig.engine.release(e);
    rig.engine.press(e);
    EXPECT_THAT(rig.sent(), ElementsAre("press ctrl+z", "release all", "press a"));
}
