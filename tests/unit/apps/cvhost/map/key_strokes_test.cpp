// The keyboard's own order: chords, shared modifiers, taps of held keys, the scroll wheel; and 10,000 random presses.
#include "apps/cvhost/map/KeyStrokes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <map>
#include <random>
#include <set>

#include "tests/unit/apps/cvhost/map/MapRig.h"

using namespace map_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string inputText(const InputEvent& event) {
    if (event.type == EV_REL) return std::to_string(event.code) + ':' + std::to_string(event.value);
    Chord key{.keys = {event.code}, .count = 1};
    return (event.value == 1 ? '+' : '-') + chordText(key);
}

class KeyStrokesTest : public testing::Test {
protected:
    void press(int hold, const std::string& text) {
        m_strokes.take({.kind = Action::Kind::press, .hold = static_cast<std::uint8_t>(hold), .stroke = chord(text)});
    }
    void release(int hold) { m_strokes.take({.kind = Action::Kind::release, .hold = static_cast<std::uint8_t>(hold)}); }
    void tap(const std::string& text) { m_strokes.take({.kind = Action::Kind::tap, .stroke = chord(text)}); }
    void releaseAll() { m_strokes.take({.kind = Action::Kind::releaseAll}); }
    void turn(const WheelAction& wheel, int amount) {
        m_strokes.take({.kind = Action::Kind::turn, .wheel = wheel, .amount = amount});
    }
    std::string sent() { return std::exchange(m_sent, {}); }

private:
    std::string m_sent;
    KeyStrokes m_strokes{[this](std::span<const InputEvent> together) {
        for (const InputEvent& event : together) m_sent += (&event == &together.front() ? " " : "&") + inputText(event);
    }};
};

/// Checks the order of what a keyboard sends: each key goes down and up by turns.
class Judge {
public:
    void take(std::span<const InputEvent> together) {
        for (const InputEvent& event : together) {
            if (event.type != EV_KEY) continue;
            const bool down = event.value == 1;
            EXPECT_NE(m_down.contains(event.code), down) << "key " << event.code;
            if (!down) m_down.erase(event.code);
            if (down) m_down.insert(event.code);
            if (down) ++presses;
        }
    }
    const std::set<int>& down() const { return m_down; }
    int presses = 0;

private:
    std::set<int> m_down;
};

/// A random map, and hands that work it at random.
class RandomDesk {
public:
    explicit RandomDesk(unsigned seed) : m_random(seed) {}

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    Chord chord() {
        static const std::vector<KeyCode> codes = keyboardCodes();  // modifiers first
        Chord chord;
        for (int i = below(4); i > 0; --i) {
            const KeyCode modifier = codes.at(static_cast<std::size_t>(below(4)));
            if (std::ranges::find(chord.keys, modifier) == chord.keys.end()) chord.keys.at(chord.count++) = modifier;
        }
        if (chord.count == 0 || below(8) > 0)
            chord.keys.at(chord.count++) = codes.at(static_cast<std::size_t>(8 + below(6)));
        return chord;
    }
    Taps taps() {
        Taps taps;
        for (int i = below(3); i >= 0; --i) taps.strokes.at(taps.count++) = chord();
        return taps;
    }
    Section section() {
        Section section;
        for (int code = 0; code < 40; ++code) {
            if (below(4) > 0)
                section.keys.at(static_cast<std::size_t>(code)) = KeyAction{.held = below(3) > 0, .taps = taps()};
        }
        if (below(2) > 0) {
            const Ring::Zone near{.from = 512, .taps = taps()};
            const Ring::Zone far{.from = 2048, .taps = taps()};
            section.ring = Ring{.stepping = below(2) > 0, .forward = {near, far}, .backward = {near, far}, .centre = taps()};
        }
        if (below(2) > 0) {
            const WheelAction action{
                .scroll = below(2) > 0 ? Scroll::down : Scroll::none, .forward = chord(), .backward = chord()};
            section.wheel = Wheel{.normal = action, .slow = action, .fast = action};
        }
        return section;
    }
    Map map() {
        Map map{.title = "random", .application = {}, .base = section(), .layers = {}};
        for (int i = 0; i < 3; ++i) map.layers.push_back({"layer", 41 + i, below(2) > 0, section()});
        return map;
    }

private:
    std::mt19937 m_random;
};

}  // namespace

TEST_F(KeyStrokesTest, Press_Chord_GoesDownInOrderAndUpInTheOpposite) {
    press(1, "ctrl+shift+z");
    EXPECT_EQ(sent(), " +ctrl +shift +z");
    release(1);
    EXPECT_EQ(sent(), " -z -shift -ctrl");
    release(1);
    EXPECT_EQ(sent(), "");
}

TEST_F(KeyStrokesTest, Press_SecondKey_JoinsPlainKeysAndEndsAShortcut) {
    press(1, "k");
    press(2, "l");
    EXPECT_EQ(sent(), " +k +l");
    press(3, "ctrl+z");
    press(4, "s");
    EXPECT_EQ(sent(), " +ctrl +z -z -ctrl +s");
    for (const int hold : {1, 2, 3, 4}) release(hold);
    EXPECT_EQ(sent(), " -k -l -s");
}

TEST_F(KeyStrokesTest, Press_ModifierAlone_ChangesWhatFollows) {
    press(1, "shift");
    tap("right");
    press(2, "shift+a");
    release(1);
    release(2);
    EXPECT_EQ(sent(), " +shift +right -right +a -a -shift");
}

TEST_F(KeyStrokesTest, Tap_OfAHeldKey_ShowsAsAnotherPress) {
    press(1, "k");
    tap("k");
    release(1);
    EXPECT_EQ(sent(), " +k -k +k -k");
}

TEST_F(KeyStrokesTest, ReleaseAll_EverythingHeld_GoesUp) {
    press(1, "shift");
    press(2, "k");
    press(3, "ctrl+alt");
    sent();
    releaseAll();
    EXPECT_EQ(sent(), " -shift -k -alt -ctrl");
}

TEST_F(KeyStrokesTest, Turn_Taps_TapsOncePerCount) {
    turn({.forward = chord("right"), .backward = chord("shift+left")}, 2);
    turn({.forward = chord("right"), .backward = chord("shift+left")}, -1);
    EXPECT_EQ(sent(), " +right -right +right -right +shift +left -left -shift");
}

TEST_F(KeyStrokesTest, Turn_Scroll_SendsFineUnitsAndWholeCounts) {
    turn({.scroll = Scroll::down}, 100);
    EXPECT_EQ(sent(), " 11:-100");
    turn({.scroll = Scroll::down}, 150);
    EXPECT_EQ(sent(), " 11:-150&8:-2");
    turn({.scroll = Scroll::right}, 120);
    EXPECT_EQ(sent(), " 12:120&6:1");
}

TEST(KeyStrokesAtRandom, TenThousandPresses_EachHasItsReleaseInOrder) {
    constexpr int wanted = 10'000;
    int presses = 0;
    for (unsigned seed = 1; presses < wanted; ++seed) {
        SCOPED_TRACE(seed);
        RandomDesk desk(seed);
        Judge judge;
        KeyStrokes strokes([&](std::span<const InputEvent> together) { judge.take(together); });
        Engine engine(desk.map(), [&](const Action& action) { strokes.take(action); });
        std::set<int> held;
        Engine::Time now{};
        for (int step = 0; step < 500 && presses < wanted; ++step) {
            const int code = desk.below(44);
            now += std::chrono::milliseconds(desk.below(100));
            switch (desk.below(10)) {
                case 0:
                    engine.ring(desk.below(8000) - 4000);
                    break;
                case 1:
                    engine.wheel(desk.below(60'000) - 30'000, now);
                    break;
                case 2:
                    if (desk.below(20) > 0) break;
                    desk.below(2) > 0 ? engine.letGo() : engine.setMap(desk.map());
                    held.clear();
                    EXPECT_THAT(judge.down(), IsEmpty());
                    break;
                default:
                    if (held.erase(code) > 0) {
                        engine.release(code);
                    } else {
                        held.insert(code);
                        engine.press(code);
                        ++presses;
                    }
            }
            // What is held in the target is held on the desk.
            if (held.empty()) {
                EXPECT_THAT(judge.down(), IsEmpty());
            }
        }
        for (const int code : held) engine.release(code);
        EXPECT_THAT(judge.down(), IsEmpty());
        EXPECT_GT(judge.presses, 0);
        if (testing::Test::HasFailure()) return;
    }
}
