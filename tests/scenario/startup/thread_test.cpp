// The thread "ConsInit".
#include <algorithm>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

class ThreadTest : public testing::Test {
protected:
    ThreadTest() { hooks() = {}; }
    ~ThreadTest() override {
        hooks() = {};
        m_pgmName = {};
    }

    static std::ptrdiff_t count(const Texts& texts, std::string_view text) {
        return std::count(texts.begin(), texts.end(), text);
    }
    /// How many comms_port_open calls there were.
    static std::size_t openings(const Rig& rig) { return rig.calls("comms_port_open").size(); }
    static Texts lampsOff() {
        Texts writes;
        for (int lamp = 1; lamp <= 46; ++lamp) writes.push_back("O" + std::to_string(lamp) + " ");
        return writes;
    }
    /// What was written after the last version request.
    static Texts settled(const Rig& rig) {
        const Texts writes = rig.writes();
        const auto last = std::find(writes.rbegin(), writes.rend(), "? ");
        return {last.base(), writes.end()};
    }
    static void expectEnded(Rig& rig) {
        EXPECT_FALSE(rig.thread_runs());
        EXPECT_FALSE(ConsoleTestAccess::port(rig.console()));
        EXPECT_EQ(ConsoleTestAccess::state(rig.console()), 0);
        EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
    }
};

TEST_F(ThreadTest, Init_Thread_HasItsNameAndPriority) {
    Rig rig;
    EXPECT_TRUE(rig.console().init());
    EXPECT_EQ(rig.calls("beginThread"), Texts{"beginThread(\"ConsInit\", 1)"});
}

TEST_F(ThreadTest, Startup_PreferenceOff_EndsAtOnceAndOpensNothing) {
    Rig rig;
    rig.prefer(false);
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(rig.now(), 0ms);
    EXPECT_EQ(rig.calls("getPreference"), Texts{"getPreference(HardwareConsoleEnabled)"});
    EXPECT_EQ(openings(rig), 0u);
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(ThreadTest, Startup_PreferenceNeverChosen_CountsAsOff) {
    Rig rig;
    cvhost::settings().clear();
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(openings(rig), 0u);
}

TEST_F(ThreadTest, Startup_ExitBeforeItsFirstStep_DoesNothing) {
    Rig rig;
    rig.init();
    rig.console().exit();
    EXPECT_EQ(rig.calls("getPreference"), Texts{});
    expectEnded(rig);
}

TEST_F(ThreadTest, Startup_NoPort_TriesOnceASecondUntilThePreferenceIsOff) {
    Rig rig;
    rig.port.failingOpens = 1000;
    rig.init();
    rig.run_for(3500ms);
    EXPECT_EQ(rig.transcript({Kind::log}), (Texts{"0.000 log Looking for console on port /dev/ttyUSB0\\n",
                                                  "1000.000 log Looking for console on port /dev/ttyUSB0\\n",
                                                  "2000.000 log Looking for console on port /dev/ttyUSB0\\n",
                                                  "3000.000 log Looking for console on port /dev/ttyUSB0\\n"}));
    EXPECT_EQ(rig.calls("sleep"), Texts(4, "sleep(1000)"));
    rig.prefer(false);
    EXPECT_TRUE(rig.run_until([&] { return !rig.thread_runs(); }));
    EXPECT_EQ(rig.now(), 4000ms);
    EXPECT_EQ(openings(rig), 4u);
}

TEST_F(ThreadTest, Startup_NoPortThenExit_EndsAfterTheSleep) {
    Rig rig;
    rig.port.failingOpens = 1000;
    rig.init();
    rig.run_for(2500ms);
    rig.console().exit();
    EXPECT_EQ(rig.now(), 3000ms);
    EXPECT_EQ(openings(rig), 3u);
    EXPECT_EQ(rig.calls("getPreference").size(), 3u);
    expectEnded(rig);
}

TEST_F(ThreadTest, Startup_EndedWhileThePortFailsToOpen_DoesNotSleep) {
    Rig rig;
    Cv::Console& console = rig.console();
    hooks().refuseOpen = [&] {
        console.endThread();  // on the thread itself: clears the flag and does not wait
        return true;
    };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(rig.calls("sleep"), Texts{});
    EXPECT_EQ(rig.now(), 0ms);
}

TEST_F(ThreadTest, Startup_PortMissingForAWhile_ThenComesUp) {
    Rig rig;
    rig.port.failingOpens = 2;
    EXPECT_TRUE(rig.start());
    EXPECT_TRUE(rig.console().active());
    EXPECT_EQ(rig.now(), 2000ms + 528333352ns);
}

TEST_F(ThreadTest, Startup_SilentConsole_EightAttemptsThenOpensAgainWithoutClosing) {
    Rig rig(Rig::Scripted{});
    rig.init();
    EXPECT_TRUE(rig.run_until([&] { return openings(rig) == 2; }));
    EXPECT_EQ(rig.now(), 8 * (2 * 300ms + 3 * 100ms + 6 * 250ms));
    EXPECT_EQ(count(rig.writes(), "? "), 8 * 6);
    EXPECT_EQ(count(rig.writes(), "J 0100 0"), 8);
    EXPECT_EQ(rig.calls("comms_port_close"), Texts{});
    EXPECT_EQ(rig.calls("sleep(1000)"), Texts{});
    // before an opening and before each attempt; the second opening's first attempt has begun
    EXPECT_EQ(rig.calls("getPreference").size(), 1u + 8u + 1u + 1u);
}

TEST_F(ThreadTest, Startup_SecondAttempt_RunsWithMonitorModeClear) {
    Rig rig(Rig::Scripted{});
    std::string modes;
    hooks().rts = [&](int level) {
        if (level == 0) modes += ConsoleTestAccess::monitorMode(rig.console()) ? '1' : '0';
    };
    rig.init();
    EXPECT_TRUE(rig.run_until([&] { return openings(rig) == 2; }));
    rig.run_for(1s);
    // two resets an attempt; the next opening sets the mode again
    EXPECT_EQ(modes, "11" + std::string(14, '0') + "11");
}

TEST_F(ThreadTest, Startup_PreferenceOffAfterOpening_EndsWithoutAnAttempt) {
    Rig rig;
    hooks().preference = [asked = 0]() mutable { return std::optional(++asked < 2); };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(openings(rig), 1u);
    EXPECT_EQ(rig.calls("getPreference").size(), 0u);
    EXPECT_EQ(rig.transcript({Kind::rts, Kind::sent}), Texts{});
    EXPECT_EQ(rig.now(), 0ms);
}

TEST_F(ThreadTest, Startup_PreferenceOffBetweenAttempts_EndsAfterTheFirst) {
    Rig rig(Rig::Scripted{});
    hooks().preference = [asked = 0]() mutable { return std::optional(++asked < 3); };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(count(rig.writes(), "J 0100 0"), 1);
}

TEST_F(ThreadTest, Startup_PreferenceOffDuringAttempts_PortStaysHeldAndHooked) {
    for (const int reading : {2, 3, 5}) {
        Rig rig(Rig::Scripted{});
        hooks().preference = [=, asked = 0]() mutable { return std::optional(++asked < reading); };
        EXPECT_TRUE(rig.start());
        EXPECT_TRUE(ConsoleTestAccess::port(rig.console()));
        EXPECT_EQ(rig.world.serial().handlerCount(), 1u);
        EXPECT_EQ(rig.calls("comms_port_close"), Texts{});
        rig.console().exit();
        expectEnded(rig);
        hooks() = {};
    }
}

TEST_F(ThreadTest, Startup_PreferenceOffAndOnAgain_OpensThePortAgain) {
    Rig rig;
    hooks().preference = [asked = 0]() mutable { return std::optional(++asked != 2); };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(openings(rig), 2u);
    EXPECT_TRUE(rig.console().active());
}

TEST_F(ThreadTest, Startup_EndedWhenThePreferenceGoesOff_DoesNotReadItAgain) {
    Rig rig;
    int asked = 0;
    hooks().preference = [&] {
        if (++asked == 2) rig.console().endThread();
        return std::optional(asked != 2);
    };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(asked, 2);
}

TEST_F(ThreadTest, Startup_EndedDuringTheOpening_MakesNoAttempt) {
    Rig rig;
    hooks().refuseOpen = [&] {
        rig.console().endThread();
        return false;
    };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(rig.calls("getPreference").size(), 1u);
    EXPECT_EQ(rig.transcript({Kind::rts}), Texts{});
    EXPECT_TRUE(ConsoleTestAccess::monitorMode(rig.console()));
}

TEST_F(ThreadTest, Startup_EndedDuringTheLastAttempt_OpensNoMore) {
    Rig rig(Rig::Scripted{});
    int requests = 0;
    hooks().refuseWrite = [&](const std::string& text) {
        if (text == "? " && ++requests == 8 * 6) rig.console().endThread();
        return false;
    };
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(requests, 8 * 6);
    EXPECT_EQ(openings(rig), 1u);
    EXPECT_EQ(rig.calls("getPreference").size(), 1u + 8u);
}

struct FirmwareRow {
    int firmware;
    int version;
};

class FirmwareTest : public ThreadTest, public testing::WithParamInterface<FirmwareRow> {};

TEST_P(FirmwareTest, Startup_FirmwareOfVersion7_EndsWithTheseCommands) {
    Rig rig({.firmware = GetParam().firmware});
    EXPECT_TRUE(rig.start());
    Texts expected = lampsOff();
    expected.insert(expected.end(), {"K ", "W ", "F2 ", "X "});
    EXPECT_EQ(settled(rig), expected);
    EXPECT_EQ(ConsoleTestAccess::version(rig.console()), GetParam().version);
    EXPECT_EQ(rig.log().back(), "CON:   console_init: console version 7\n");
    EXPECT_EQ(rig.console().get_ispeed(), 1024);
}

INSTANTIATE_TEST_SUITE_P(Firmware, FirmwareTest,
                         testing::Values(FirmwareRow{.firmware = 5, .version = 7}, FirmwareRow{.firmware = 7, .version = 7},
                                         FirmwareRow{.firmware = 8, .version = 7},
                                         FirmwareRow{.firmware = 0x0FF, .version = 7}),
                         [](const auto& row) { return std::to_string(row.param.firmware); });

TEST_F(ThreadTest, Startup_Version6_NoReadyCommandAndNoWheelCommands) {
    Rig rig({.firmware = 6});
    EXPECT_TRUE(rig.start());
    Texts expected = lampsOff();
    expected.push_back("F2 ");
    EXPECT_EQ(settled(rig), expected);
    EXPECT_TRUE(rig.console().active());
    EXPECT_EQ(ConsoleTestAccess::version(rig.console()), 6);
    EXPECT_EQ(rig.console().get_ispeed(), 1024);
}

TEST_F(ThreadTest, Startup_Version7_EndsWithWheelOff) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    rig.run_for(1s);
    EXPECT_FALSE(rig.console().wheel_enabled());
    EXPECT_FALSE(rig.desk.wheel_on());
    const Texts writes = settled(rig);
    EXPECT_LT(std::find(writes.begin(), writes.end(), "W "), std::find(writes.begin(), writes.end(), "X "));
}

TEST_F(ThreadTest, Startup_Done_InitStartsTheThreadAnew) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(openings(rig), 2u);
    EXPECT_TRUE(rig.console().active());
}

class Overriding final : public Cv::Console {
public:
    using BasicThread::keepRunning;

    Texts calls;
    void lamp_set(int lamp, int state) override {
        if (lamp == 0) calls.push_back("lamps at speed " + std::to_string(get_ispeed()));
        Console::lamp_set(lamp, state);
    }
    void show_ispeed(int speed) override { calls.push_back("show_ispeed " + std::to_string(speed)); }
    void disable_wheel() override { calls.push_back(keepRunning() ? "disable_wheel, running" : "disable_wheel"); }
};

TEST_F(ThreadTest, Startup_OverridingObject_ItsOperationsAreCalled) {
    Rig rig;
    Overriding console;
    console.init();
    EXPECT_TRUE(rig.run_until([&] { return !rig.thread_runs(); }));
    EXPECT_EQ(console.calls, (Texts{"lamps at speed 1024", "show_ispeed 0", "disable_wheel, running"}));
    EXPECT_FALSE(console.keepRunning()) << "the thread says itself that its work is done";
    console.exit();
}

class ExitTest : public ThreadTest, public testing::WithParamInterface<int> {};

TEST_P(ExitTest, Exit_AtAnyTimeOfTheStartUp_EndsThreadAndClosesPort) {
    Rig rig;
    rig.init();
    rig.run_for(std::chrono::milliseconds(GetParam()));
    const Time begun = rig.now();
    rig.console().exit();
    EXPECT_LE(rig.now() - begun, 2 * 300ms + 400ms + 1500ms);
    expectEnded(rig);
    rig.run_for(10s);
    EXPECT_EQ(openings(rig), 1u);
    EXPECT_FALSE(rig.desk.wheel_on());
}

INSTANTIATE_TEST_SUITE_P(EverySevenMs, ExitTest, testing::Range(0, 700, 7));

TEST_F(ThreadTest, Exit_BeforeTheConsoleAnswered_LeavesTheStopLampThatStartUpLit) {
    Rig rig;
    rig.init();
    rig.run_for(250ms);
    rig.console().exit();
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O'));
}

TEST_F(ThreadTest, Exit_AtAnyTimeWithASilentConsole_EndsThreadAndClosesPort) {
    for (int step = 0; step < 60; ++step) {
        Rig rig(Rig::Scripted{});
        rig.init();
        rig.run_for(step * 331ms);
        rig.console().exit();
        expectEnded(rig);
    }
}

}  // namespace
}  // namespace startup
