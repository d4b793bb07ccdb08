// The adapter's plug pulled and put back, while hosts hold the port: it comes back under another number.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <optional>

#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

using testing::SizeIs;

struct Moment {
    std::string name;
    Json event;
};
void PrintTo(const Moment& moment, std::ostream* out) { *out << moment.event; }

Json sent(const std::string& bytes) { return {{"event", "wire"}, {"dir", "tx"}, {"bytes", bytes}}; }

/// Waits until so many lines with this text have come.
void waitForCount(Process& host, const std::string& text, int count) {
    int seen = 0;
    host.waitForLine([&](const std::string& line) { return line.find(text) != line.npos && ++seen == count; });
}

/// Pulls the plug and puts it back while somebody holds the lost port still: the adapter comes back under another number.
void replug(std::optional<Adapter>& adapter) {
    const std::string before = adapter->port();
    const auto held = cvhost::owned(::open(before.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), before);
    adapter.reset();
    adapter.emplace();
    ASSERT_NE(adapter->port(), before);
}

class UnplugAtStart : public KernelTest, public testing::WithParamInterface<Moment> {};

TEST_P(UnplugAtStart, Run_PlugPulledAndPutBack_SameHostStartsTheConsoleUnderAnotherNumber) {
    std::optional<Adapter> adapter(std::in_place);
    const std::string before = adapter->port();
    Process host(this->host());
    waitFor(host, GetParam().event);
    replug(adapter);
    waitUntilLost(host, before);
    waitUntilOpen(host, adapter->port());
    waitUntilStarted(host);
    adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
    waitFor(host, {{"event", "handler"}, {"code", 5}});
    EXPECT_EQ(end(host), 0) << host.errors();
}

INSTANTIATE_TEST_SUITE_P(
    Moments, UnplugAtStart,
    testing::Values(Moment{.name = "rtsLow", .event = {{"event", "rts"}, {"level", 0}}},
                    Moment{.name = "rtsHigh", .event = {{"event", "rts"}, {"level", 1}}},
                    Moment{.name = "prompt", .event = {{"event", "wire"}, {"dir", "rx"}, {"bytes", "P"}}},
                    Moment{.name = "identify", .event = sent("H ")}, Moment{.name = "jump", .event = sent("J 0100 0")},
                    Moment{.name = "firstCommand", .event = sent("F2 ")}, Moment{.name = "version", .event = sent("? ")}),
    [](const auto& row) { return row.param.name; });

using Unplug = KernelTest;

TEST_F(Unplug, Run_TwentyTimesIdleOrMidPacket_SameHostBringsTheConsoleBackUnderAnotherNumber) {
    std::optional<Adapter> adapter(std::in_place);
    Process host(this->host());
    for (int time = 1; time <= 20; ++time) {
        SCOPED_TRACE(time);
        waitForCount(host, "\"active\"", time);
        EXPECT_TRUE(adapter->becomes([](const desk::Desk& desk) {
            return desk.active() && desk.lamp(2) == 'F' && !desk.wheelOn() && !desk.nextEvent();
        }));
        adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
        waitForCount(host, R"("handler","code":5,)", time);
        if (time % 2 == 0) {
            adapter->operate([](desk::Desk& desk, desk::Time now) { desk.raw("Z", now); });
            waitForCount(host, "Z", time / 2);  // nothing else that is told has one
        }
        ASSERT_NO_FATAL_FAILURE(replug(adapter));
        waitForCount(host, "\"lost\"", time);
    }
    waitForCount(host, "\"active\"", 21);
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(events(host, {{"event", "key"}, {"code", 5}}), SizeIs(20));
}

TEST_F(Unplug, Run_TwentyTimesDuringOneStart_SameHostFindsItAtLast) {
    std::optional<Adapter> adapter(std::in_place);
    Process host(this->host());
    for (int time = 1; time <= 20; ++time) {
        SCOPED_TRACE(time);
        waitForCount(host, "\"open\"", time);
        ASSERT_NO_FATAL_FAILURE(replug(adapter));
        waitForCount(host, "\"lost\"", time);
    }
    waitUntilStarted(host);
    EXPECT_EQ(end(host), 0) << host.errors();
}

}  // namespace
}  // namespace kernel_test
