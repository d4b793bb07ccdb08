// A console in use: keys, shuttle ring and jog wheel to the host, lamps and wheel to the desk, and the end of it.
#include <gmock/gmock.h>

#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

using testing::SizeIs;

class Play : public KernelTest {
protected:
    Play() { waitUntilStarted(m_host); }

    void operate(const std::function<void(desk::Desk&, desk::Time)>& action) { m_adapter.operate(action); }
    bool becomes(const std::function<bool(const desk::Desk&)>& wanted) { return m_adapter.becomes(wanted); }
    static bool dark(const desk::Desk& desk) {
        for (int lamp = 1; lamp <= desk::Program::lampCount; ++lamp)
            if (desk.lamp(lamp) != 'O') return false;
        return !desk.wheelOn();
    }
    void turnJogKey() {
        operate([](desk::Desk& desk, desk::Time now) { desk.tap('\\', now); });
    }

    Adapter m_adapter;
    Process m_host{host()};
};

TEST_F(Play, Startup_Done_StopLampAloneIsOn) {
    EXPECT_TRUE(becomes([](const desk::Desk& desk) {
        for (int lamp = 1; lamp <= desk::Program::lampCount; ++lamp)
            if (desk.lamp(lamp) != (lamp == 2 ? 'F' : 'O')) return false;
        return !desk.wheelOn() && !desk.nextEvent();
    }));
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    operate([](const desk::Desk& desk, desk::Time) { EXPECT_EQ(desk.unknownCommands(), 0U); });
}

TEST_F(Play, Keys_Tapped_AreQueuedAndRunTheirHandlers) {
    for (const char key : {'A', 'E', 'P'}) {
        operate([key](desk::Desk& desk, desk::Time now) { desk.tap(key, now); });
        waitFor(m_host, {{"event", "key"}, {"code", key - 0x40}});
    }
    waitForWire(m_host, "rx", "PU ");
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    EXPECT_THAT(events(m_host, {{"event", "handler"}, {"code", 1}}), SizeIs(1));
    EXPECT_THAT(events(m_host, {{"event", "handler"}, {"code", 5}}), SizeIs(1));
    EXPECT_THAT(events(m_host, {{"event", "handler"}, {"code", 16}}), SizeIs(0));
}

TEST_F(Play, Shuttle_Turned_GivesSpeedsBothWaysAndRest) {
    std::vector<int> speeds;
    std::size_t known = 0;
    for (const unsigned char position : std::initializer_list<unsigned char>{200, 255, 127, 54, 0, 127}) {
        operate([position](desk::Desk& desk, desk::Time now) { desk.shuttle(position, now); });
        std::size_t seen = 0;
        const std::string line = m_host.waitForLine(
            [&](const std::string& text) { return text.find("\"handler\"") != text.npos && ++seen > known; });
        ++known;
        const Json event = Json::parse(line);
        EXPECT_EQ(event.at("code"), 0);
        speeds.push_back(event.at("ispeed"));
    }
    ASSERT_THAT(speeds, SizeIs(6));
    EXPECT_GT(speeds[0], 0);
    EXPECT_GT(speeds[1], speeds[0]);
    EXPECT_EQ(speeds[2], 0);
    EXPECT_EQ(speeds[3], -speeds[0]);
    EXPECT_EQ(speeds[4], -speeds[1]);
    EXPECT_EQ(speeds[5], 0);
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Play, Jog_SwitchedOnAndTurned_MovesAndLightsItsLamp) {
    turnJogKey();
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return desk.wheelOn() && desk.lamp(4) == 'F'; }));
    operate([](desk::Desk& desk, desk::Time now) { desk.jog(2, 2500, now); });
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", 2}, {"jog_exact", 2.25}});
    operate([](desk::Desk& desk, desk::Time now) { desk.jog(-3, 0, now); });
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", -3}});
    turnJogKey();
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return !desk.wheelOn() && desk.lamp(4) == 'O'; }));
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
}

TEST_F(Play, End_LampsAndWheelOn_LeavesThemOffAndTheProgramRunning) {
    turnJogKey();
    ASSERT_TRUE(
        becomes([](const desk::Desk& desk) { return desk.wheelOn() && desk.lamp(4) == 'F' && desk.lamp(2) == 'F'; }));
    EXPECT_EQ(end(m_host), 0) << m_host.errors();
    EXPECT_TRUE(becomes([](const desk::Desk& desk) { return dark(desk) && !desk.nextEvent(); }));
    operate([](const desk::Desk& desk, desk::Time) {
        EXPECT_TRUE(desk.programRunning());
        EXPECT_TRUE(desk.rts());
        EXPECT_EQ(desk.resets(), 1U);
    });
}

}  // namespace
}  // namespace kernel_test
