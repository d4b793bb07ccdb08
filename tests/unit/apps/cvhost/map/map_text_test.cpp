// Map files: what they say, and what is reported of those that are wrong.
#include "apps/cvhost/map/MapText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <string>
#include <variant>
#include <vector>

#include "apps/cvhost/map/Strokes.h"

using namespace cvhost::map;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

Map mapFrom(const std::string& text) {
    auto parsed = parseMap(text);
    if (const auto* problems = std::get_if<std::vector<Problem>>(&parsed)) {
        ADD_FAILURE() << problemText("map", problems->front());
        return {};
    }
    return std::get<Map>(parsed);
}

std::vector<std::string> problemsOf(const std::string& text) {
    const auto parsed = parseMap(text);
    std::vector<std::string> texts;
    if (const auto* problems = std::get_if<std::vector<Problem>>(&parsed)) {
        for (const Problem& problem : *problems) texts.push_back(problemText("m", problem));
    }
    return texts;
}

struct Wrong {
    std::string name;
    std::string text;  ///< after the line that names the target
    std::string problem;
};
void PrintTo(const Wrong& wrong, std::ostream* out) { *out << wrong.text; }

class WrongMap : public testing::TestWithParam<Wrong> {};

}  // namespace

TEST(MapText, ParseMap_KeysWithBothKinds_AreHeldAndTapped) {
    const Map map = mapFrom("title = 'T'\ntarget = 'keys'\n[keys]\nplay = { tap = ['k', 'shift+l'] }\n'[' = 'ctrl+alt+z'\n");
    EXPECT_EQ(map.title, "T");
    const auto& play = map.base.keys.at(11);
    ASSERT_TRUE(play);
    EXPECT_FALSE(play->held);
    EXPECT_EQ(tapsText(play->taps), "k, shift+l");
    const auto& bracket = map.base.keys.at('[' - '@');
    ASSERT_TRUE(bracket);
    EXPECT_TRUE(bracket->held);
    EXPECT_EQ(std::get<Chord>(bracket->taps.strokes[0]).keys[0], KEY_LEFTCTRL);
    EXPECT_EQ(std::get<Chord>(bracket->taps.strokes[0]).keys[2], KEY_Z);
}

TEST(MapText, ParseMap_RingWithZones_HasThemInTheConsolesUnit) {
    const Map map = mapFrom(
        "target = 'keys'\n[ring]\ncentre = 'k'\nhysteresis = 0.2\n"
        "forward = [{ from = 0.5, tap = 'l' }, { from = 2, tap = ['k', 'l', 'l'] }]\nbackward = [{ from = 1, tap = 'j' "
        "}]\n");
    ASSERT_TRUE(map.base.ring);
    EXPECT_FALSE(map.base.ring->stepping);
    EXPECT_EQ(map.base.ring->hysteresis, 20);
    ASSERT_THAT(map.base.ring->forward, SizeIs(2));
    EXPECT_EQ(map.base.ring->forward[0].from, 512);
    EXPECT_EQ(map.base.ring->forward[1].from, 2048);
    EXPECT_EQ(tapsText(map.base.ring->forward[1].taps), "k, l, l");
    EXPECT_THAT(map.base.ring->backward, SizeIs(1));
}

TEST(MapText, ParseMap_RingWithSteps_HasTheSameZonesBothWays) {
    const Map map = mapFrom("target = 'keys'\n[ring]\ncentre = 'k'\nsteps = [0.5, 2]\nforward = 'l'\nbackward = 'j'\n");
    ASSERT_TRUE(map.base.ring);
    EXPECT_TRUE(map.base.ring->stepping);
    ASSERT_THAT(map.base.ring->backward, SizeIs(2));
    EXPECT_EQ(map.base.ring->backward[1].from, 2048);
    EXPECT_EQ(tapsText(map.base.ring->backward[1].taps), "j");
}

TEST(MapText, ParseMap_WheelWithGears_HasTheirLimits) {
    const Map map = mapFrom(
        "target = 'keys'\n[wheel]\nforward = 'right'\nbackward = 'left'\n"
        "fast = { from = 30, forward = 'shift+right', backward = 'shift+left' }\nslow = { below = 3, scroll = 'down' }\n");
    ASSERT_TRUE(map.base.wheel);
    EXPECT_EQ(map.base.wheel->fastFrom, 30);
    EXPECT_EQ(map.base.wheel->slowBelow, 3);
    EXPECT_EQ(map.base.wheel->slow.scroll, Scroll::down);
    EXPECT_EQ(strokeText(map.base.wheel->fast.backward), "shift+left");
}

TEST(MapText, ParseMap_Layers_HaveTheirKeysAndSections) {
    const Map map = mapFrom(
        "target = 'keys'\n[keys]\nE = 'e'\n[layer.trim]\nheld = 'H'\nkeys = { E = 'x' }\n"
        "[layer.mark]\nlatched = 'G'\nwheel = { scroll = 'up' }\n");
    ASSERT_THAT(map.layers, SizeIs(2));  // by name
    EXPECT_EQ(map.layers[0].name, "mark");
    EXPECT_TRUE(map.layers[0].latched);
    EXPECT_EQ(map.layers[0].key, 7);
    EXPECT_TRUE(map.layers[0].section.wheel);
    EXPECT_FALSE(map.layers[1].latched);
    EXPECT_EQ(tapsText(map.layers[1].section.keys.at(5)->taps), "x");
}

TEST(MapText, ParseMap_TargetMpv_HasPlayerKeysSpeedAndFrames) {
    const Map map = mapFrom(
        "target = 'mpv'\nsocket = '/run/mpv'\n[keys]\nplay = 'play'\nA = 'Ctrl+PGDWN'\nB = { tap = ['s', 'stop'] }\n"
        "[ring]\nspeed = 0.5\n[wheel]\nframes = 1\nfast = { from = 40, frames = 25 }\n");
    EXPECT_EQ(map.application, (Application{.kind = TargetKind::mpv, .socket = "/run/mpv"}));
    EXPECT_EQ(std::get<PlayerKey>(map.base.keys.at(11)->taps.strokes[0]).code, 11);
    EXPECT_FALSE(map.base.keys.at(11)->held);
    EXPECT_EQ(*std::get<MpvKey>(map.base.keys.at(1)->taps.strokes[0]).name, "Ctrl+PGDWN");
    EXPECT_TRUE(map.base.keys.at(1)->held);
    EXPECT_EQ(tapsText(map.base.keys.at(2)->taps), "s, stop");
    EXPECT_EQ(map.base.ring->times, 0.5);
    EXPECT_EQ(map.base.wheel->normal.frames, 1);
    EXPECT_EQ(map.base.wheel->fast.frames, 25);
    EXPECT_EQ(mapFrom("target = 'mpv'\n").application.socket, "mpv.sock");
}

TEST(MapText, ParseMap_TargetOsc_HasMessagesAndLamps) {
    const Map map = mapFrom(
        "target = 'osc'\nport = 3819\nlisten = 9000\nhello = ['/hi', 1, 0.5, '{port}']\n[lamps]\nplay = '/play'\n"
        "[keys]\nplay = '/play'\nstop = { tap = ['/stop', 1] }\nA = { tap = [['/a'], ['/b', 'text']] }\n"
        "[ring]\nsend = '/speed'\nspeed = 2\ncentre = '/stop'\n[wheel]\nsend = '/jog'\n");
    EXPECT_EQ(map.application,
              (Application{.kind = TargetKind::osc,
                           .host = "127.0.0.1",
                           .port = 3819,
                           .listen = 9000,
                           .hello = OscMessage{.address = "/hi", .arguments = {1, 0.5F, std::string("{port}")}},
                           .lamps = {{1, "/play"}}}));
    EXPECT_TRUE(map.base.keys.at(11)->held);
    EXPECT_EQ(tapsText(map.base.keys.at(12)->taps), "/stop 1");
    EXPECT_EQ(tapsText(map.base.keys.at(1)->taps), "/a, /b \"text\"");
    EXPECT_EQ(map.base.ring->times, 2);
    EXPECT_EQ(strokeText(map.base.ring->send), "/speed");
    EXPECT_EQ(tapsText(map.base.ring->centre), "/stop");
    EXPECT_TRUE(map.base.wheel->normal.send);
}

TEST(MapText, ParseMap_MistakesOfOtherTargets_AreReported) {
    EXPECT_THAT(problemsOf("target = 'mpv'\nport = 1\n[keys]\nA = 'pley'\nB = 'ctrl+z'\n[wheel]\nscroll = 'up'\n"),
                ElementsAre("m:2:1: unknown name \"port\"",
                            "m:4:5: \"pley\" is neither a key of mpv nor what it can do (did you mean \"play\"?)",
                            "m:5:5: \"ctrl+z\" is neither a key of mpv nor what it can do",
                            "m:6:1: the wheel needs either \"forward\" and \"backward\", or \"frames\"",
                            "m:7:1: unknown name \"scroll\""));
    EXPECT_THAT(problemsOf("target = 'osc'\n[lamps]\nG = '/a'\n[keys]\nA = 'play'\nB = { tap = ['/a', []] }\nC = { tap = "
                           "['/a', 99999999999] }\n[ring]\nspeed = 1\n[layer.x]\nheld = 'G'\n"),
                ElementsAre("m:1:1: the program's UDP port is missing, such as port = 3819",
                            "m:3:1: this key's lamp shows its layer",
                            "m:5:5: \"play\" is no OSC address, such as \"/transport/play\"",
                            "m:6:20: an argument is a number of 32 bits, or a text of up to 200 characters",
                            "m:7:20: an argument is a number of 32 bits, or a text of up to 200 characters",
                            "m:8:1: the ring needs \"send\", the address that the speed is for"));
    EXPECT_THAT(problemsOf("target = 'mpv'\n[layer.x]\nheld = 'play'\n"),
                ElementsAre("m:3:8: the lamp of \"play\" shows what mpv does, so it cannot show a layer"));
    EXPECT_THAT(
        problemsOf("target = 'osc'\nport = 1\n[lamps]\nK = '/a'\nplay = '/b'\n[keys]\nA = { tap = ['/a', 1e300] }\n"),
        ElementsAre("m:5:1: this key has another line already, by its other name",
                    "m:7:20: an argument is a number of 32 bits, or a text of up to 200 characters"));
    EXPECT_THAT(problemsOf("target = 'osc'\nport = 70000\n[keys]\nA = { tap = '/a b' }\nB = ['/a']\n"),
                ElementsAre("m:2:8: this must be a number from 1 to 65535",
                            "m:4:13: \"/a b\" is no OSC address, such as \"/transport/play\"",
                            "m:5:5: this must be an OSC address in quotes, such as \"/transport/play\", or { tap = "
                            "[\"/ADDRESS\", 1] }"));
}

TEST(MapText, ParseMap_NumbersWithAFractionAndEmptyNames_AreReported) {
    EXPECT_THAT(problemsOf("target = 'osc'\nport = 3819.6\nhost = ''\n"),
                ElementsAre("m:2:8: this must be a whole number", "m:3:8: this must not be empty"));
    EXPECT_THAT(problemsOf("target = 'mpv'\nsocket = ''\n[wheel]\nframes = 1.5\n"),
                ElementsAre("m:2:10: this must not be empty", "m:4:10: this must be a whole number"));
}

TEST(MapText, ParseMap_SeveralMistakes_ReportsAllInTheOrderOfTheLines) {
    EXPECT_THAT(problemsOf("target = 'keys'\n[keys]\nplay = 'spcae'\nE = 'contrl+z'\nstp = 'k'\n[wheel]\nscroll = 'dwn'\n"),
                ElementsAre("m:3:8: there is no key \"spcae\" (did you mean \"space\"?)",
                            "m:4:5: there is no key \"contrl\" (did you mean \"ctrl\"?)",
                            "m:5:1: the desk has no key \"stp\" (did you mean \"stop\"?)",
                            "m:7:10: unknown direction \"dwn\" (did you mean \"down\"?)"));
}

TEST(MapText, ParseMap_Syntax_ReportsLineAndColumn) {
    const auto problems = problemsOf("target = 'keys'\n[keys\n");
    ASSERT_THAT(problems, SizeIs(1));
    EXPECT_THAT(problems[0], testing::StartsWith("m:2:6: "));
}

TEST(MapText, ParseMap_HostileText_IsRefused) {
    EXPECT_THAT(problemsOf(std::string(longestText + 1, '#')), ElementsAre("m:1: a map has at most 64 KiB"));
    std::string dots = "target = 'keys'\na";
    for (int i = 0; i < 20'000; ++i) dots += ".a";
    EXPECT_THAT(problemsOf(dots + " = 1\n"), ElementsAre("m:2: it has more than 64 dots"));
    EXPECT_THAT(problemsOf("a = " + std::string(30'000, '[')), SizeIs(1));
}

TEST(MapText, ParseMap_NoTarget_IsReported) {
    EXPECT_THAT(problemsOf("[keys]\n"), ElementsAre(HasSubstr("a target is missing")));
}

TEST_P(WrongMap, ParseMap_OneMistake_IsReportedWithItsPlace) {
    EXPECT_THAT(problemsOf("target = 'keys'\n" + GetParam().text), ElementsAre(GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, WrongMap,
    testing::Values(
        Wrong{.name = "Name", .text = "titel = 'x'\n", .problem = "m:2:1: unknown name \"titel\" (did you mean \"title\"?)"},
        Wrong{.name = "Command", .text = "run = 'sh'\n", .problem = "m:2:1: unknown name \"run\""},
        Wrong{.name = "JogKey",
              .text = "[keys]\n'\\' = 'a'\n",
              .problem = "m:3:1: the jog key switches the wheel and can do nothing else"},
        Wrong{.name = "NoSuchDeskKey", .text = "[keys]\nV = 'a'\n", .problem = "m:3:1: the desk has no key \"V\""},
        Wrong{.name = "KeyTwice",
              .text = "[keys]\nK = 'a'\nplay = 'b'\n",
              .problem = "m:4:1: this key has another line already, by its other name"},
        Wrong{.name = "ModifierLast",
              .text = "[keys]\nE = 'z+ctrl'\n",
              .problem = "m:3:5: \"z\" is no modifier, so it comes last"},
        Wrong{.name = "SameTwice", .text = "[keys]\nE = 'ctrl+ctrl'\n", .problem = "m:3:5: \"ctrl\" is named twice"},
        Wrong{.name = "EmptyChord", .text = "[keys]\nE = ''\n", .problem = "m:3:5: there is no key \"\""},
        Wrong{.name = "PlusAtEnd", .text = "[keys]\nE = 'ctrl+'\n", .problem = "m:3:5: there is no key \"\""},
        Wrong{.name = "KeyIsNumber",
              .text = "[keys]\nE = 1\n",
              .problem = "m:3:5: this must be a shortcut in quotes, such as \"ctrl+z\", or { tap = \"SHORTCUT\" }"},
        Wrong{.name = "TapMissing",
              .text = "[keys]\nE = {}\n",
              .problem = "m:3:5: this must be a shortcut in quotes, such as \"ctrl+z\", or { tap = \"SHORTCUT\" }"},
        Wrong{.name = "TooManyTaps",
              .text = "[keys]\nE = { tap = ['a','a','a','a','a','a','a','a','a'] }\n",
              .problem = "m:3:13: this list must have 1 to 8 shortcuts"},
        Wrong{.name = "ZonesFall",
              .text = "[ring]\ncentre = 'k'\nforward = [{ from = 2, tap = 'l' }, { from = 1, tap = 'l' }]\nbackward = [{ "
                      "from = 1, tap = 'j' }]\n",
              .problem = "m:4:37: each zone must begin at a higher speed than the one before"},
        Wrong{.name = "ZoneWithoutTap",
              .text = "[ring]\ncentre = 'k'\nforward = [{ from = 2 }]\nbackward = [{ from = 1, tap = 'j' }]\n",
              .problem = "m:4:12: a zone is { from = SPEED, tap = \"SHORTCUT\" }"},
        Wrong{.name = "RingWithoutCentre",
              .text = "[ring]\nsteps = [1]\nforward = 'l'\nbackward = 'j'\n",
              .problem = "m:2:1: the ring needs \"centre\""},
        Wrong{.name = "SpeedTooHigh",
              .text = "[ring]\ncentre = 'k'\nforward = [{ from = 33, tap = 'l' }]\nbackward = [{ from = 1, tap = 'j' }]\n",
              .problem = "m:4:21: this must be a number from 0.01 to 32"},
        Wrong{.name = "SlowAboveFast",
              .text = "[wheel]\nscroll = 'up'\nslow = { below = 9, scroll = 'up' }\nfast = { from = 8, scroll = 'up' }\n",
              .problem = "m:2:1: the wheel's \"fast\" begins below the end of its \"slow\""},
        Wrong{.name = "WheelHalf",
              .text = "[wheel]\nforward = 'a'\n",
              .problem = "m:2:1: the wheel needs either \"forward\" and \"backward\", or \"scroll\""},
        Wrong{.name = "LayerWithoutKey",
              .text = "[layer.a]\nkeys = {}\n",
              .problem = "m:2:1: a layer has the key that switches it on: either held = \"KEY\" or latched = \"KEY\""},
        Wrong{.name = "LayerKeyTwice",
              .text = "[layer.a]\nheld = 'A'\n[layer.b]\nheld = 'A'\n",
              .problem = "m:5:8: \"A\" switches another layer on already"},
        Wrong{.name = "LayerKeyUsed",
              .text = "[keys]\nA = 'a'\n[layer.a]\nheld = 'A'\n",
              .problem = "m:3:1: this key switches the layer \"a\" and can do nothing else"},
        Wrong{.name = "LayerIsText",
              .text = "layer = 'a'\n",
              .problem = "m:2:9: a layer is a table with a name, such as [layer.trim]"}),
    [](const auto& row) { return row.param.name; });
