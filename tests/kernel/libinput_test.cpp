// The virtual keyboard as a compositor sees it: judged by `libinput debug-events`.
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <ranges>
#include <vector>

#include "host/sim/Random.h"
#include "tests/kernel/MapRig.h"

namespace kernel_test {
namespace {

const std::string layout = R"(target = "keys"
[keys]
A = "a"
B = "b"
C = "c"
D = "shift"
E = "ctrl+super+z"
F = { tap = ["f1", "right-alt+f2"] }
I = "i"
J = "j"
K = "k"
L = "l"
[wheel]
scroll = "down"
[layer.other]
held = "H"
keys = { A = "1", C = "alt+2" }
)";

/// The map's keyboard, as its rules say, in texts. Keys that nothing else names are the letters themselves.
class Model {
public:
    std::string press(char key) {
        if (key == 'H') m_layer = true;
        if (key == 'H') return {};
        std::string text = endShortcut();
        if (key == 'F') return text + " +F1 -F1 +RIGHTALT +F2 -F2 -RIGHTALT";
        Chord& chord = m_held[key] = chordOf(key);
        if (chord.size() > 1) m_shortcut = key;
        for (const std::string& each : chord) text += " +" + each;
        return text;
    }
    std::string release(char key) {
        if (key == 'H') m_layer = false;
        if (m_shortcut == key) m_shortcut = 0;
        std::string text;
        for (const std::string& each : m_held[key] | std::views::reverse) text += " -" + each;
        m_held[key].clear();
        return text;
    }

private:
    using Chord = std::vector<std::string>;

    Chord chordOf(char key) const {
        if (key == 'D') return {"LEFTSHIFT"};
        if (key == 'E') return {"LEFTCTRL", "LEFTMETA", "Z"};
        if (m_layer && key == 'A') return {"1"};
        if (m_layer && key == 'C') return {"LEFTALT", "2"};
        return {std::string(1, key)};
    }
    /// A shortcut with modifiers ends when the next key goes down.
    std::string endShortcut() { return m_shortcut != 0 ? release(m_shortcut) : std::string(); }

    std::map<char, Chord> m_held;
    char m_shortcut = 0;
    bool m_layer = false;
};

class Compositor : public MapRig {
protected:
    Compositor() : MapRig(layout) {}

    /// Works the desk, and expects these keys: in the kernel's device, and by libinput.
    void press(char key, const std::string& wanted) {
        MapRig::press(key, wanted);
        EXPECT_EQ(m_libinput.read(wanted.size()), wanted);
    }
    void release(char key, const std::string& wanted) {
        MapRig::release(key, wanted);
        EXPECT_EQ(m_libinput.read(wanted.size()), wanted);
    }

    Libinput m_libinput{m_keyboard.path()};
};

}  // namespace

TEST_F(Compositor, Keys_ChordsHoldsAndTaps_ComeInOrder) {
    press('D', " +LEFTSHIFT");
    press('K', " +K");
    press('L', " +L");
    release('K', " -K");
    press('F', " +F1 -F1 +RIGHTALT +F2 -F2 -RIGHTALT");
    release('L', " -L");
    release('D', " -LEFTSHIFT");
    press('E', " +LEFTCTRL +LEFTMETA +Z");
    press('K', " -Z -LEFTMETA -LEFTCTRL +K");
    release('K', " -K");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    EXPECT_EQ(m_libinput.readToTheEnd(), "");
    EXPECT_EQ(m_libinput.complaints(), "");
}

TEST_F(Compositor, Wheel_Turned_ScrollsFinely) {
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    ASSERT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.wheelOn(); }));
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.jog(2, 5000, now); });
    EXPECT_EQ(m_libinput.readWheel(1), " -300");
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.jog(-1, 0, now); });
    EXPECT_EQ(m_libinput.readWheel(2), " -300 120");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Compositor, Unplug_InMidChord_ReleasesEverything) {
    press('D', " +LEFTSHIFT");
    press('E', " +LEFTCTRL +LEFTMETA +Z");
    m_adapter.reset();
    const std::string wanted = " -LEFTSHIFT -Z -LEFTMETA -LEFTCTRL";
    EXPECT_EQ(m_libinput.read(wanted.size()), wanted);
    end(m_host);
    EXPECT_EQ(m_libinput.readToTheEnd(), "");
}

TEST_F(Compositor, MapChanged_InMidChord_ReleasesEverything) {
    press('E', " +LEFTCTRL +LEFTMETA +Z");
    m_folder.write("test.toml", "target = \"keys\"\n[keys]\nE = \"m\"\n");
    const std::string wanted = " -Z -LEFTMETA -LEFTCTRL";
    EXPECT_EQ(m_libinput.read(wanted.size()), wanted);
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    EXPECT_EQ(m_libinput.readToTheEnd(), "");
}

TEST_F(Compositor, Killed_InMidChord_NothingStaysDown) {
    press('E', " +LEFTCTRL +LEFTMETA +Z");
    m_host.signal(SIGKILL);
    // libinput itself releases the keys of a device that goes, in the order of their codes.
    EXPECT_EQ(m_libinput.readToTheEnd(), " -LEFTCTRL -Z -LEFTMETA");
    EXPECT_EQ(m_host.wait(), 128 + SIGKILL);
}

TEST_F(Compositor, Keys_TenThousandRandomPresses_EachHasItsReleaseInOrder) {
    constexpr int presses = 10'000;
    constexpr int together = 100;
    sim::Random random(1);
    Model model;
    std::string down;
    std::string all;
    for (int pressed = 0; pressed < presses || !down.empty();) {
        std::string wanted;
        m_adapter->operate([&](desk::Desk& desk, desk::Time now) {
            for (int action = 0; action < together && (pressed < presses || !down.empty()); ++action) {
                const char key = static_cast<char>(random.between('A', 'L'));
                const std::size_t place = down.find(key);
                if (key == 'G') continue;
                if (place != down.npos) {
                    down.erase(place, 1);
                    desk.release(key, now);
                    wanted += model.release(key);
                } else if (pressed < presses) {
                    ++pressed;
                    down += key;
                    desk.press(key, now);
                    wanted += model.press(key);
                }
            }
        });
        ASSERT_EQ(m_keyboard.read(wanted.size()), wanted);
        all += wanted;
    }
    expectAllUp();
    EXPECT_EQ(std::ranges::count(all, '+'), std::ranges::count(all, '-'));
    EXPECT_TRUE(m_libinput.read(all.size()) == all) << "libinput saw other keys";
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    EXPECT_EQ(m_libinput.readToTheEnd(), "");
    EXPECT_EQ(m_libinput.complaints(), "");
}

}  // namespace kernel_test
