// What outlives exit() and a second init(), and what a second start sends.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

using namespace support;

namespace {

/// A desk that has been started, with all that can be set set.
class Restart : public testing::Test {
protected:
    Restart() { EXPECT_TRUE(rig.start()); }

    Cv::Console& console() { return rig.console(); }
    void end() {
        console().exit();
        rig.run_for(1s);
    }
    bool startAgain() {
        const bool started = rig.start();
        rig.run_for(1s);
        return started;
    }

    Rig rig;
};

class RestartOfFirmware : public testing::TestWithParam<int> {};

}  // namespace

TEST_F(Restart, Exit_KeysHeld_StayHeldUntilTheirReleaseArrives) {
    rig.desk.presses('E');
    rig.desk.presses('F');
    rig.run_for(1s);
    end();
    EXPECT_TRUE(console().key_is_down(5));
    EXPECT_TRUE(console().key_is_down(6));
    rig.desk.releases('F');  // nobody listens
    rig.run_for(1s);
    ASSERT_TRUE(startAgain());
    EXPECT_TRUE(console().key_is_down(5));
    EXPECT_TRUE(console().key_is_down(6));
    rig.desk.sends("EU ");
    rig.run_for(1s);
    EXPECT_FALSE(console().key_is_down(5));
    EXPECT_TRUE(console().key_is_down(6));
}

TEST_F(Restart, Exit_SpeedAndMovement_StayAsTheyWere) {
    console().enable_wheel();
    rig.run_for(1s);
    rig.desk.shuttle(200);
    rig.desk.jog(-3, 5000);
    rig.run_for(1s);
    EXPECT_EQ(console().get_ispeed(), 1495);
    end();
    EXPECT_EQ(console().get_ispeed(), 1495);
    EXPECT_EQ(ConsoleTestAccess::shuttleOffset(console()), 73);
    EXPECT_EQ(console().get_jog_delta(), -3);
    EXPECT_EQ(console().get_jog_delta_exact(), -3.5);
    EXPECT_FALSE(console().wheel_enabled()) << "exit() switched the wheel off";
    ASSERT_TRUE(startAgain());
    EXPECT_EQ(console().get_ispeed(), 1024) << "play speed is set at every start";
    EXPECT_EQ(console().get_jog_delta(), -3);
    EXPECT_EQ(console().get_jog_delta_exact(), -3.5);
}

TEST_F(Restart, Settle_SpeedSetByTheHost_IsPlaySpeedAfterEveryStart) {
    for (const int speed : {0, -30000, 77}) {
        console().set_ispeed(speed);
        end();
        EXPECT_EQ(console().get_ispeed(), speed);
        ASSERT_TRUE(startAgain());
        EXPECT_EQ(console().get_ispeed(), 1024);
    }
}

TEST_F(Restart, Exit_WheelSuspended_StaysSuspendedAndResumes) {
    console().enable_wheel();
    console().suspend_wheel();
    end();
    EXPECT_TRUE(console().jog_suspended());
    ASSERT_TRUE(startAgain());
    EXPECT_TRUE(console().jog_suspended());
    EXPECT_FALSE(console().wheel_enabled());
    rig.forget();
    console().suspend_wheel();
    EXPECT_EQ(rig.sent(), "") << "it is suspended already";
    console().enable_suspended_wheel();
    rig.run_for(1s);
    EXPECT_EQ(rig.sent(), "W F4 ");
    EXPECT_TRUE(rig.desk.wheel_on());
}

TEST_F(Restart, Exit_Disabled_StaysDisabled) {
    console().disable();
    end();
    EXPECT_FALSE(console().enabled());
    ASSERT_TRUE(startAgain());
    EXPECT_FALSE(console().enabled());
    rig.desk.taps('E');
    rig.desk.taps('L');
    rig.run_for(1s);
    EXPECT_EQ(rig.keys(), (Keys{{12, false, 1536}})) << "stop alone passes";
    console().enable();
    end();
    EXPECT_TRUE(console().enabled());
}

TEST_F(Restart, Disable_KeysHeld_StayHeld) {
    rig.desk.presses('E');
    rig.run_for(1s);
    console().disable();
    EXPECT_TRUE(console().key_is_down(5));
    rig.desk.presses('F');
    rig.run_for(1s);
    EXPECT_TRUE(console().key_is_down(6)) << "marked, though held back";
    console().enable();
    EXPECT_TRUE(console().key_is_down(5));
    EXPECT_TRUE(console().key_is_down(6));
}

TEST_F(Restart, Exit_Version_IsKeptAndKnownBeforeTheNextAnswer) {
    end();
    EXPECT_FALSE(console().active());
    EXPECT_EQ(ConsoleTestAccess::version(console()), 7);
    rig.forget();
    rig.init();
    // The request that a kept version answers is the only one of each attempt.
    ASSERT_TRUE(rig.run_until([&] { return !rig.thread_runs(); }));
    const Texts writes = rig.writes();
    EXPECT_EQ(std::count(writes.begin(), writes.end(), "? "), 1);
    EXPECT_TRUE(console().active());
}

TEST(RestartOfASilentConsole, Version_KeptButNotActive_IsNoSuccess) {
    Rig rig(Rig::Scripted{});
    rig.activate();
    rig.console().exit();
    rig.forget();
    rig.console().open_port();
    EXPECT_FALSE(rig.console().open_driver());
    const Texts writes = rig.writes();
    EXPECT_EQ(std::count(writes.begin(), writes.end(), "? "), 1) << "a version that is known ends the asking";
    EXPECT_FALSE(rig.console().active());
}

TEST_F(Restart, Exit_KeysBeforeTheNextVersion_AreIgnored) {
    end();
    console().open_port();
    rig.forget();
    rig.port.inject("E EU \\C8080000 ");
    rig.world.scheduler().settle();
    EXPECT_EQ(rig.keys(), Keys{});
    EXPECT_FALSE(console().key_is_down(5));
    rig.port.inject("V007 E ");
    rig.world.scheduler().settle();
    EXPECT_EQ(rig.keys(), (Keys{{5, false, 1536}}));
}

TEST_F(Restart, Exit_LampsLitBefore_AreOffAndSentAgainWhenSetAgain) {
    console().lamp_set(20, 'F');
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamp(20), 'F');
    end();
    EXPECT_EQ(rig.desk.lamps(), std::string(46, 'O'));
    ASSERT_TRUE(startAgain());
    EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O'));
    rig.forget();
    console().lamp_set(20, 'F');
    EXPECT_EQ(rig.sent(), "F20 ");
    console().lamp_set(20, 'F');
    EXPECT_EQ(rig.sent(), "F20 ");
}

TEST_F(Restart, Exit_LampSetWhileEnded_IsNeitherSentNorRemembered) {
    end();
    rig.forget();
    console().lamp_set(20, 'F');
    EXPECT_EQ(rig.sent(), "");
    ASSERT_TRUE(startAgain());
    rig.forget();
    console().lamp_set(20, 'F');
    EXPECT_EQ(rig.sent(), "F20 ");
}

TEST_F(Restart, Exit_StatusLeadOfVersion8_IsKept) {
    rig.port.inject("V008 ");
    rig.world.scheduler().settle();
    end();
    EXPECT_EQ(ConsoleTestAccess::statusLead(), 'L');
    ASSERT_TRUE(startAgain());  // a desk of version 7
    EXPECT_EQ(ConsoleTestAccess::statusLead(), 'L');
}

TEST_F(Restart, Start_Second_SendsWhatTheFirstSent) {
    const auto sentAfterTheLastRequest = [&] {
        const Texts writes = rig.writes();
        const auto last = std::find(writes.rbegin(), writes.rend(), "? ");
        return Texts(last.base(), writes.end());
    };
    const Texts first = sentAfterTheLastRequest();
    EXPECT_EQ(first.size(), 46u + 4u);
    end();
    rig.forget();
    ASSERT_TRUE(startAgain());
    EXPECT_EQ(sentAfterTheLastRequest(), first);
}

TEST_P(RestartOfFirmware, Start_Second_VersionOfTheConsoleNowThere) {
    Rig rig({.firmware = GetParam()});
    ASSERT_TRUE(rig.start());
    rig.console().exit();
    rig.run_for(1s);
    const int version = GetParam() == 6 ? 6 : 7;
    EXPECT_EQ(ConsoleTestAccess::version(rig.console()), version);
    const int other = GetParam() == 6 ? 7 : 6;
    rig.port.attachDesk({.firmware = other});
    ASSERT_TRUE(rig.start());
    EXPECT_EQ(ConsoleTestAccess::version(rig.console()), other);
    EXPECT_TRUE(rig.console().active());
}
INSTANTIATE_TEST_SUITE_P(Firmware, RestartOfFirmware, testing::Values(6, 7));

TEST_F(Restart, Start_AnotherModelAfterTheFirst_NamesAreItsOwn) {
    const std::wstring first(m_pgmName.view());
    const int firstSize = ShuttlePacketSize;
    EXPECT_EQ(first, L"TorCons.ram");
    EXPECT_EQ(firstSize, 13);
    end();
    EXPECT_EQ(std::wstring(m_pgmName.view()), first) << "kept until the next identification";
    EXPECT_EQ(ShuttlePacketSize, firstSize);
    rig.port.attachDesk({.model = desk::Model::other});
    ASSERT_TRUE(startAgain());
    EXPECT_EQ(std::wstring(m_pgmName.view()), L"CVMouCon.ram");
    EXPECT_EQ(ShuttlePacketSize, 11);
    end();
    rig.port.attachDesk();
    ASSERT_TRUE(startAgain());
    EXPECT_EQ(std::wstring(m_pgmName.view()), first);
    EXPECT_EQ(ShuttlePacketSize, firstSize);
}
