// The virtual host itself, with the driver in it: a whole start-up, and runs that repeat.
#include <gtest/gtest.h>

#include "tests/support/Rig.h"

using namespace support;

namespace {

sim::Schedule shuffled(std::uint64_t seed) { return {.seed = seed, .shuffled = true, .stalls = 50'000, .stallAtMost = 3ms}; }

sim::Recording session(std::uint64_t seed) {
    Rig rig(shuffled(seed));
    rig.start();
    rig.handle(5);
    for (const char key : std::string_view("EFG")) {
        rig.desk.taps(key);
        rig.on_thread("editor", [&rig, key] { rig.console().lamp_set(key - '@', 'F'); });
    }
    rig.run_for(100ms);
    rig.console().exit();
    return rig.world.recording();
}

}  // namespace

TEST(Startup, Firmware7Desk_EndsActiveWithStopLampOnAndWheelOff) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.run_for(1s);
    EXPECT_TRUE(rig.console().active());
    EXPECT_TRUE(rig.desk.active());
    EXPECT_EQ(rig.desk.lamps(), "OF" + std::string(44, 'O'));
    EXPECT_FALSE(rig.desk.wheel_on());
    EXPECT_FALSE(rig.console().wheel_enabled());
    EXPECT_EQ(rig.console().get_ispeed(), 1024);
    EXPECT_EQ(rig.log(), (Texts{"Looking for console on port /dev/ttyUSB0\n", "CON:   console_init: console version 7\n"}));
}

TEST(Desk, KeyTappedWithHandler_HandlerRunsAndKeyIsQueuedAsHandled) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.handle(5);
    rig.desk.presses('E');
    rig.run_for(10ms);
    EXPECT_TRUE(rig.console().key_is_down(5));
    EXPECT_EQ(rig.keys(), (Keys{{5, true, 1536}}));
    EXPECT_EQ(rig.handled(), Codes{5});
    rig.desk.releases('E');
    rig.run_for(10ms);
    EXPECT_FALSE(rig.console().key_is_down(5));
}

TEST(Exit, ActiveConsole_LampsAndWheelOffAndPortClosed) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.console().enable_wheel();
    rig.console().exit();
    rig.run_for(1s);
    EXPECT_EQ(rig.desk.lamps(), std::string(46, 'O'));
    EXPECT_FALSE(rig.desk.wheel_on());
    EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
}

TEST(Recording, SameSeed_SameRun) {
    const sim::Recording first = session(7);
    const sim::Recording second = session(7);
    EXPECT_GT(first.size(), 200u);
    EXPECT_EQ(sim::describe(first), sim::describe(second));
    EXPECT_TRUE(first == second);
}

TEST(Recording, OtherSeed_OtherRun) { EXPECT_NE(sim::describe(session(1)), sim::describe(session(2))); }

TEST(World, Ended_LeavesNoHostMemoryBehind) {
    session(3);
    const auto before = cvhost::allocatorCount();
    session(3);
    EXPECT_EQ(cvhost::allocatorCount().liveBlocks, before.liveBlocks);
    EXPECT_GT(cvhost::allocatorCount().totalBlocks, before.totalBlocks);
}

TEST(Scheduler, ThreadsThatWaitForEachOther_ReportedAndAborted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            sim::World world;
            sim::ThreadHandle first;
            sim::ThreadHandle second;
            first = world.scheduler().start("first", [&] { world.scheduler().join(second); });
            second = world.scheduler().start("second", [&] { world.scheduler().join(first); });
            world.runFor(1s);
        },
        "every thread waits and nothing is due(.|\n)*first waits in join(.|\n)*second waits in join");
}

TEST(Scheduler, ThreadThatSpins_ReportedAndAborted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            sim::World world;
            while (true) world.scheduler().point("spin");
        },
        "too much happens at one instant(.|\n)*spin");
}

TEST(Scheduler, TimeLimit_ReportedAndAborted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            sim::World world({.timeLimit = 10s});
            world.runFor(11s);
        },
        "the time limit has passed");
}
