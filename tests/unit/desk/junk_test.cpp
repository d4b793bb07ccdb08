// Whatever a host sends and however it plays with RTS, the desk stays bounded and comes back after a reset.
#include <gtest/gtest.h>

#include <random>

#include "tests/unit/desk/DeskRig.h"

namespace {

using namespace desk_test;

/// Random bytes, mostly those that the monitor and the program listen to.
std::string junk(std::mt19937& random) {
    static constexpr std::string_view words = "H J C 0100 0 \r ? W X K O1 F46 H12 B3 ";
    std::string text;
    for (auto count = random() % 200; count > 0; --count)
        text += random() % 8 == 0 ? static_cast<char>(random() & 0xFF) : words[random() % words.size()];
    return text;
}

void playWith(DeskRig& rig, std::mt19937& random) {
    const auto value = static_cast<std::int16_t>(random() & 0xFFFF);
    switch (random() % 8) {
        case 0:
            return rig.desk.setRts(random() % 2 == 0, rig.now);
        case 1:
            return rig.desk.tap(static_cast<char>(value & 0xFF), rig.now);
        case 2:
            return rig.desk.jog(static_cast<std::int8_t>(value & 0xFF), value, rig.now);
        case 3:
            return rig.desk.raw(junk(random), rig.now);
        case 4:
            return rig.desk.powerCycle(rig.now);
        default:
            return rig.say(junk(random));
    }
}

class DeskJunk : public testing::TestWithParam<unsigned> {};

TEST_P(DeskJunk, Desk_StaysBoundedAndComesBack) {
    std::mt19937 random(GetParam());
    DeskRig rig({.firmware = static_cast<int>(random() % 10), .running = random() % 2 == 0, .unpaced = random() % 4 == 0});
    for (int i = 0; i < 300; ++i) {
        playWith(rig, random);
        const Time time = std::chrono::microseconds(random() % 300'000);
        const std::size_t most = 4096 + static_cast<std::size_t>(time / byteTime) + 1;
        const std::string heard = rig.run(time);
        if (!rig.desk.options().unpaced) {
            EXPECT_LE(heard.size(), most);
        }
        for (int lamp = 1; lamp <= 46; ++lamp) {
            const char state = rig.desk.lamp(lamp);
            ASSERT_TRUE(state == 'O' || ((state == 'F' || state == 'H' || state == 'B') && rig.desk.programRunning()));
        }
    }
    rig.desk.setRts(true, rig.now);
    rig.run(100s);  // all that is still on its way
    rig.reset();
    EXPECT_EQ(rig.run(1s), "\r\nEPROM>");
    EXPECT_EQ(rig.ask("J 0100 0\r"), "J 0100 0\r\r\n");
    rig.ask("? ");
    EXPECT_TRUE(rig.desk.active());
    EXPECT_FALSE(rig.desk.nextEvent());
}

INSTANTIATE_TEST_SUITE_P(Seeds, DeskJunk, testing::Range(1U, 41U));

}  // namespace
