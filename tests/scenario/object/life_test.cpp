// The console object from its registration to its end.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/api/OS.h"
#include "host/core/Serial.h"
#include "monitor/RamImage.h"
#include "monitor/Utils.h"
#include "plugin/Driver.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

using namespace support;

static bool s_driverElsewhere = false;

bool realOpenConsoleDriver() __asm__("__real__ZN2Cv7Console19open_console_driverEv");
bool wrappedOpenConsoleDriver() __asm__("__wrap__ZN2Cv7Console19open_console_driverEv");
bool wrappedOpenConsoleDriver() { return s_driverElsewhere || realOpenConsoleDriver(); }

namespace {

Texts lampsOff() {
    Texts writes;
    for (int lamp = 1; lamp <= 46; ++lamp) writes.push_back("O" + std::to_string(lamp) + " ");
    return writes;
}

std::ptrdiff_t indexOf(const Texts& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) - texts.begin();
}

void expectClosed(Rig& rig) {
    EXPECT_FALSE(rig.thread_runs());
    EXPECT_FALSE(ConsoleTestAccess::port(rig.console()));
    EXPECT_EQ(ConsoleTestAccess::state(rig.console()), 0);
    EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
}

}  // namespace

TEST(Driver, PostLoad_ConsoleIsElsewhere_RegistersNothingAndStaysUninitialised) {
    const sim::World world;
    CvPluginBase* driver = nullptr;
    EXPECT_FALSE(cvPluginInstance(&driver));
    s_driverElsewhere = true;
    driver->postLoadInitialization();
    s_driverElsewhere = false;
    EXPECT_TRUE(driver->components().empty());
    EXPECT_FALSE(driver->initialised());
}

TEST(Console, CloseConsoleDriver_Called_DoesNothing) {
    Rig rig;
    rig.plugin();
    rig.forget();
    Cv::Console::close_console_driver();
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST(Init, Thread_CannotBeBegun_StillTrue) {
    Rig rig;
    rig.plugin();
    rig.world.threadsToBeHad = false;
    EXPECT_TRUE(rig.console().init());
    EXPECT_FALSE(rig.thread_runs());
    rig.world.threadsToBeHad = true;
}

TEST(Init, WhileTheThreadRuns_TrueAndOneStartUp) {
    Rig rig;
    rig.init();
    rig.run_for(100ms);
    EXPECT_TRUE(rig.console().init());
    EXPECT_TRUE(rig.run_until([&] { return !rig.thread_runs(); }));
    EXPECT_EQ(rig.calls("comms_port_open").size(), 1u);
    EXPECT_TRUE(rig.console().active());
}

TEST(Exit, NeverActive_SendsNothingAndClosesThePort) {
    Rig rig(Rig::Scripted{});
    rig.console().open_port();
    rig.forget();
    rig.console().exit();
    EXPECT_EQ(rig.writes(), Texts{});
    EXPECT_EQ(rig.calls("comms"), (Texts{"commsDeregisterHandler()", "comms_port_close()"}));
    expectClosed(rig);
}

TEST(Exit, NeverInitialised_CallsNoPort) {
    Rig rig;
    rig.plugin();
    rig.forget();
    rig.console().exit();
    EXPECT_EQ(rig.calls("comms"), Texts{});
    expectClosed(rig);
}

TEST(Exit, Active_LampsOffThenWheelOffThenPortClosed) {
    Rig rig(Rig::Scripted{});
    rig.activate();
    rig.console().enable_wheel();
    rig.forget();
    rig.console().exit();
    Texts expected = lampsOff();
    expected.push_back("X ");
    EXPECT_EQ(rig.writes(), expected);
    const Texts order = rig.transcript({Kind::call, Kind::sent});
    EXPECT_LT(indexOf(order, "0.000 sent X "), indexOf(order, "0.000 call commsDeregisterHandler()"));
    EXPECT_LT(indexOf(order, "0.000 call commsDeregisterHandler()"), indexOf(order, "0.000 call comms_port_close()"));
    EXPECT_FALSE(rig.console().wheel_enabled());
    EXPECT_FALSE(rig.console().active());
    expectClosed(rig);
}

TEST(Exit, Active_StaysSoUntilThePortIsClosed) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.handle(5, [](int) {
        OS().threading().sleep(1000);
        return true;
    });
    rig.desk.taps('E');
    ASSERT_TRUE(rig.run_until([&] { return !rig.handled().empty(); }));
    rig.forget();
    rig.on_thread("host", [&] { rig.console().exit(); });
    ASSERT_TRUE(rig.run_until([&] { return !rig.calls("commsDeregisterHandler").empty(); }));
    EXPECT_TRUE(rig.console().active()) << "the port cannot be closed while a handler runs";
    ASSERT_TRUE(rig.run_until([&] { return !rig.console().active(); }));
    expectClosed(rig);
}

TEST(Exit, StateNeitherZeroNorOne_InactiveYetSwitchedOff) {
    Rig rig(Rig::Scripted{});
    rig.activate();
    ConsoleTestAccess::state(rig.console()) = 2;
    EXPECT_FALSE(rig.console().active());
    rig.console().exit();
    EXPECT_EQ(rig.writes().size(), 46u + 1u);
}

TEST(Exit, Twice_SecondSendsNothing) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    rig.console().exit();
    rig.forget();
    rig.console().exit();
    EXPECT_EQ(rig.writes(), Texts{});
    EXPECT_EQ(rig.calls("comms"), Texts{});
    expectClosed(rig);
}

TEST(Exit, ThenInit_ComesUpAgain) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    rig.console().exit();
    EXPECT_FALSE(rig.console().active());
    EXPECT_TRUE(rig.start());
    EXPECT_TRUE(rig.console().active());
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O'));
}

TEST(Exit, StartUpThreadWaiting_EndsItBeforeThePortIsClosed) {
    Rig rig;
    rig.init();
    rig.run_for(100ms);
    rig.console().exit();
    const Texts order = rig.transcript({Kind::call, Kind::thread});
    const auto ended =
        std::find_if(order.begin(), order.end(), [](const std::string& line) { return line.ends_with(" ended"); });
    const auto closed = std::find_if(order.begin(), order.end(),
                                     [](const std::string& line) { return line.ends_with("comms_port_close()"); });
    ASSERT_NE(closed, order.end());
    EXPECT_LT(ended, closed);
    expectClosed(rig);
}

TEST(Exit, OverridingObject_ItsOperationsAreCalled) {
    class Overriding final : public Cv::Console {
    public:
        int lamps = 0;
        int wheels = 0;
        void lamp_set(int, int) override { ++lamps; }
        void disable_wheel() override { ++wheels; }
    };
    Rig rig(Rig::Scripted{});
    Overriding console;
    ConsoleTestAccess::state(console) = 1;
    console.exit();
    EXPECT_EQ(console.lamps, 47);
    EXPECT_EQ(console.wheels, 1);
}

TEST(Exit, FromAKeyHandlerOnTheReceiveThread_ClosesThePort) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    rig.handle(5, [&](int) {
        rig.console().exit();
        return true;
    });
    rig.desk.taps('E');
    rig.run_for(1s);
    EXPECT_EQ(rig.handled(), Codes{5});
    expectClosed(rig);
    EXPECT_EQ(rig.desk.lamps(), std::string(46, 'O'));
    EXPECT_FALSE(rig.desk.wheel_on());
}

TEST(Exit, FromAKeyHandlerThenInit_ComesUpAgain) {
    Rig rig;
    EXPECT_TRUE(rig.start());
    rig.handle(5, [&](int) {
        rig.console().exit();
        return rig.console().init();
    });
    rig.desk.taps('E');
    EXPECT_TRUE(rig.run_until([&] { return !rig.handled().empty() && !rig.thread_runs() && rig.console().active(); }));
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O'));
}

TEST(Exit, WhileAKeyHandlerStartsAgain_NeitherHangsNorCrashes) {
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        Rig rig(sim::Schedule{.seed = seed, .shuffled = true, .stalls = 100'000, .stallAtMost = 2ms});
        EXPECT_TRUE(rig.start());
        rig.handle(5, [&](int) { return rig.console().init(); });
        rig.desk.taps('E');
        rig.world.scheduler().sleep(std::chrono::microseconds(seed * 53 % 3000));
        rig.console().exit();
        rig.run_for(5s);
        rig.console().exit();
        expectClosed(rig);
    }
}

TEST(EnableAndDisable, Active_SendNothing) {
    Rig rig(Rig::Scripted{});
    rig.activate();
    rig.console().disable();
    EXPECT_FALSE(rig.console().enabled());
    rig.console().enable();
    EXPECT_TRUE(rig.console().enabled());
    rig.console().set_ispeed(-30000);
    EXPECT_EQ(rig.console().get_ispeed(), -30000);
    rig.console().jog_setSuspended(true);
    EXPECT_TRUE(rig.console().jog_suspended());
    EXPECT_EQ(rig.writes(), Texts{});
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST(Destruction, PortOpenAndActive_SendsNothingAndDropsThePort) {
    Rig rig(Rig::Scripted{});
    Cv::Ptr<CommsPort> port;
    {
        Cv::Console console;
        console.open_port();
        rig.receives("V007 ");
        EXPECT_TRUE(console.active());
        port = ConsoleTestAccess::port(console);
        cvhost::dropSerialHandlers(&console);  // as the host does before it deletes a component
        rig.forget();
    }
    EXPECT_EQ(rig.writes(), Texts{});
    EXPECT_EQ(rig.calls("comms"), Texts{});
    EXPECT_EQ(port->references(), 2);  // the library's and this test's
}

TEST(Destruction, StartUpThreadRunning_EndsItFirst) {
    Rig rig;
    {
        Cv::Console console;
        console.init();
        rig.run_for(100ms);
        EXPECT_TRUE(rig.thread_runs());
        cvhost::dropSerialHandlers(&console);
    }
    EXPECT_FALSE(rig.thread_runs());
}

TEST(SecondObject, Constructed_SameIdentityAndItsOwnState) {
    Rig rig(Rig::Scripted{});
    rig.activate();
    Cv::Utils::console_hex_lut['7'] = 99;
    Cv::Console second;
    EXPECT_EQ(Cv::Utils::console_hex_lut['7'], 7) << "every construction fills the table of hexadecimal digits";
    EXPECT_TRUE(static_cast<CvComponentBase&>(second) == static_cast<CvComponentBase&>(rig.console()));
    EXPECT_FALSE(second.active());
    EXPECT_TRUE(rig.console().active());
    EXPECT_EQ(rig.plugin().plugin().components().size(), 1u);
}

TEST(Memory, WholeSession_ReturnsToWhereItWas) {
    {
        Rig first;  // what is made once in a process stays
        EXPECT_TRUE(first.start());
    }
    Rig rig;
    const auto before = rig.world.liveBlocks();
    EXPECT_TRUE(rig.start());
    EXPECT_GT(rig.world.liveBlocks(), before);
    rig.console().exit();
    rig.unload();
    m_pgmName = {};  // as the library's unloading does
    EXPECT_EQ(rig.world.liveBlocks(), before);
}
