// A map with the target "keys": what the hands do at a USB console comes out of the kernel's input device.
#include <gmock/gmock.h>

#include "tests/kernel/MapRig.h"

namespace kernel_test {
namespace {

const std::string map = R"(target = "keys"
[keys]
E = "ctrl+shift+z"
K = "k"
L = "l"
F = { tap = ["a", "alt+b"] }
[ring]
centre = "space"
steps = [0.5, 2]
forward = "right"
backward = "left"
[wheel]
scroll = "down"
[layer.other]
held = "H"
keys = { E = "x" }
)";

class Map : public MapRig {
protected:
    Map() : MapRig(map) {}
};

}  // namespace

TEST_F(Map, Device_Made_IsAKeyboardOfItsOwnWithAFineWheel) {
    libevdev* device = m_keyboard.device();
    EXPECT_EQ(::libevdev_get_id_bustype(device), BUS_VIRTUAL);
    EXPECT_EQ(::libevdev_get_id_vendor(device), 0);
    EXPECT_EQ(::libevdev_has_event_code(device, EV_REL, REL_WHEEL_HI_RES), 1);
    // What udev takes for a keyboard has all keys with these codes.
    for (unsigned key = KEY_ESC; key <= KEY_S; ++key) EXPECT_EQ(::libevdev_has_event_code(device, EV_KEY, key), 1) << key;
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Keys_ChordsAndHolds_ComeInOrder) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    release('E', " -Z -LEFTSHIFT -LEFTCTRL");
    press('K', " +K");
    press('L', " +L");
    press('F', " +A -A +LEFTALT +B -B -LEFTALT");
    release('K', " -K");
    release('L', " -L");
    expectAllUp();
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Layer_Held_LightsItsLampAndChangesTheKey) {
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.press('H', now); });
    EXPECT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.lamp(13) == 'F'; }));
    press('E', " +X");
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.release('H', now); });
    EXPECT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.lamp(13) == 'O'; }));
    release('E', " -X");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Ring_TurnedAndSprungBack_StepsAndSendsTheCentre) {
    expect(" +RIGHT -RIGHT", [](desk::Desk& desk, desk::Time now) { desk.shuttle(200, now); });
    expect(" +RIGHT -RIGHT", [](desk::Desk& desk, desk::Time now) { desk.shuttle(240, now); });
    expect(" +SPACE -SPACE", [](desk::Desk& desk, desk::Time now) { desk.shuttle(127, now); });
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Wheel_Turned_ScrollsFinely) {
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    ASSERT_TRUE(m_adapter->becomes([](const desk::Desk& desk) { return desk.wheelOn(); }));
    expect(" WHEEL_HI_RES-300 WHEEL-2", [](desk::Desk& desk, desk::Time now) { desk.jog(2, 5000, now); });
    expect(" WHEEL_HI_RES120", [](desk::Desk& desk, desk::Time now) { desk.jog(-1, 0, now); });
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Unplug_InMidChord_ReleasesEverything) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    m_adapter.reset();
    EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
    expectAllUp();
    end(m_host);
}

TEST_F(Map, MapChanged_InMidChord_ReleasesAndTheNewOneHolds) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    m_folder.write("test.toml", "target = \"keys\"\n[keys]\nE = \"m\"\n");
    EXPECT_EQ(m_keyboard.read(wanted.size()), wanted);
    m_adapter->operate([](desk::Desk& desk, desk::Time now) { desk.release('E', now); });
    press('E', " +M");
    release('E', " -M");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Map, Ended_InMidChord_ReleasesEverythingAndGoes) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    m_host.signal(SIGINT);
    // The kernel drops what has not been read when the device goes.
    const std::string wanted = " -Z -LEFTSHIFT -LEFTCTRL";
    EXPECT_EQ(wanted.find(m_keyboard.readToTheEnd()), 0U);
    EXPECT_EQ(m_host.wait(), 0) << m_host.errors();
}

TEST_F(Map, Killed_InMidChord_TheKernelTakesTheKeyboardAway) {
    press('E', " +LEFTCTRL +LEFTSHIFT +Z");
    m_host.signal(SIGKILL);
    m_keyboard.readToTheEnd();
    EXPECT_EQ(m_host.wait(), 128 + SIGKILL);
    EXPECT_THROW(Keyboard(), std::runtime_error);
}

}  // namespace kernel_test
