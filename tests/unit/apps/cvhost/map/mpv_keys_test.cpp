// Keys pressed for mpv: which commands go out, in which order, and what too many of them become.
#include "apps/cvhost/map/MpvKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

using cvhost::map::MpvKeys;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class MpvKeysTest : public testing::Test {
protected:
    std::vector<std::string> sent() {
        std::vector<std::string> texts;
        while (const auto command = m_keys.takeCommand()) texts.push_back(std::string(command->verb) + ' ' + command->key);
        return texts;
    }

    MpvKeys m_keys;
};

}  // namespace

TEST_F(MpvKeysTest, PressReleaseTap_InOrder_AreSentInOrder) {
    m_keys.press(3, "x");
    m_keys.tap("Ctrl+LEFT");
    m_keys.press(63, "SPACE");
    m_keys.release(3);
    m_keys.release(63);
    EXPECT_THAT(sent(), ElementsAre("keydown x", "keypress Ctrl+LEFT", "keydown SPACE", "keyup x", "keyup SPACE"));
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(MpvKeysTest, Release_WithoutAPress_DoesNothing) {
    m_keys.release(3);
    m_keys.press(3, "x");
    m_keys.release(3);
    m_keys.release(3);
    EXPECT_THAT(sent(), ElementsAre("keydown x", "keyup x"));
}

TEST_F(MpvKeysTest, Press_OfAHoldThatIsHeld_ReleasesItsOldKey) {
    m_keys.press(3, "x");
    m_keys.press(3, "y");
    m_keys.release(3);
    EXPECT_THAT(sent(), ElementsAre("keydown x", "keyup x", "keydown y", "keyup y"));
}

TEST_F(MpvKeysTest, Press_OfAKeyThatIsHeld_ComesUpWithTheLastHold) {
    m_keys.press(1, "x");
    m_keys.press(2, "x");
    m_keys.release(1);
    EXPECT_THAT(sent(), ElementsAre("keydown x", "keyup x", "keydown x"));
    m_keys.release(2);
    EXPECT_THAT(sent(), ElementsAre("keyup x"));
}

TEST_F(MpvKeysTest, ReleaseAll_SomeHeld_ReleasesThose) {
    m_keys.press(0, "x");
    m_keys.press(5, "y");
    m_keys.tap("z");
    sent();
    m_keys.releaseAll();
    EXPECT_THAT(sent(), ElementsAre("keyup x", "keyup y"));
    m_keys.releaseAll();
    m_keys.release(5);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(MpvKeysTest, Press_HoldOrNameOutOfBounds_DoesNothing) {
    for (const int hold : {-1, 64, 1 << 30}) {
        m_keys.press(hold, "x");
        m_keys.release(hold);
    }
    const std::string longest(MpvKeys::longestName, 'a');
    m_keys.press(0, "");
    m_keys.tap("");
    m_keys.press(0, longest + 'a');
    m_keys.tap(longest + 'a');
    EXPECT_THAT(sent(), IsEmpty());
    m_keys.tap(longest);
    EXPECT_THAT(sent(), ElementsAre("keypress " + longest));
}

TEST_F(MpvKeysTest, TakeCommand_AsManyAsMayWait_AllAreSent) {
    m_keys.press(1, "x");
    for (std::size_t i = 1; i < MpvKeys::mostWaiting; ++i) m_keys.tap("y");
    EXPECT_THAT(sent(), SizeIs(MpvKeys::mostWaiting));
    m_keys.release(1);
    EXPECT_THAT(sent(), ElementsAre("keyup x"));
}

TEST_F(MpvKeysTest, TakeCommand_MoreThanMayWait_WhatMpvHoldsIsReleasedInstead) {
    m_keys.press(1, "x");
    sent();
    m_keys.press(2, "y");
    for (std::size_t i = 0; i < MpvKeys::mostWaiting; ++i) m_keys.tap("z");
    EXPECT_THAT(sent(), ElementsAre("keyup x"));
    m_keys.release(1);
    m_keys.release(2);
    EXPECT_THAT(sent(), IsEmpty());
    m_keys.press(1, "x");
    EXPECT_THAT(sent(), ElementsAre("keydown x"));
}

TEST_F(MpvKeysTest, TakeCommand_AtRandomTimes_EveryKeyThatIsDownComesUp) {
    std::minstd_rand random(1);
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    const std::array<std::string, 3> names{"a", "b", "c"};
    std::map<std::string, bool> down;
    const auto follow = [&](int most) {
        for (; most > 0; --most) {
            const auto command = m_keys.takeCommand();
            if (!command) return;
            if (command->verb == "keypress") continue;
            EXPECT_NE(down[command->key], command->verb == "keydown") << command->verb << ' ' << command->key;
            down[command->key] = command->verb == "keydown";
        }
    };
    for (int round = 0; round < 100; ++round) {
        for (int left = below(1000); left > 0; --left) {
            const std::string& name = names.at(static_cast<std::size_t>(below(3)));
            switch (below(3)) {
                case 0:
                    m_keys.press(below(64), name);
                    break;
                case 1:
                    m_keys.release(below(64));
                    break;
                default:
                    m_keys.tap(name);
            }
            if (below(400) == 0) follow(below(300));
        }
        m_keys.releaseAll();
        follow(1000);
        for (const auto& [name, isDown] : down) EXPECT_FALSE(isDown) << name << " in round " << round;
    }
}
