// The adapter's plug pulled and put back, while hosts hold the port: it comes back under another number.
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

class UnplugAtStart : public KernelTest, public testing::WithParamInterface<Moment> {};

TEST_P(UnplugAtStart, Run_PlugPulledAndPutBack_SameHostStartsTheConsoleUnderAnotherNumber) {
    std::optional<Adapter> adapter(std::in_place);
    const std::string before = adapter->port();
    Process host(this->host());
    waitFor(host, GetParam().event);
    adapter.reset();
    waitUntilLost(host, before);
    adapter.emplace();
    EXPECT_NE(adapter->port(), before);
    waitUntilOpen(host, adapter->port());
    waitUntilStarted(host);
    adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
    waitFor(host, {{"event", "handler"}, {"code", 5}});
    EXPECT_EQ(end(host), 0) << host.errors();
}

INSTANTIATE_TEST_SUITE_P(Moments, UnplugAtStart,
                         testing::Values(Moment{"rtsLow", {{"event", "rts"}, {"level", 0}}},
                                         Moment{"rtsHigh", {{"event", "rts"}, {"level", 1}}},
                                         Moment{"prompt", {{"event", "wire"}, {"dir", "rx"}, {"bytes", "P"}}},
                                         Moment{"identify", sent("H ")}, Moment{"jump", sent("J 0100 0")},
                                         Moment{"firstCommand", sent("F2 ")}, Moment{"version", sent("? ")}),
                         [](const auto& row) { return row.param.name; });

using Unplug = KernelTest;

/// After a loss a host keeps the lost port until it ends. The next one is started before that, so that it must find
/// another number.
TEST_F(Unplug, Run_TwentyTimesIdleOrMidPacket_HostEndsWellAndTheNextFindsAnotherNumber) {
    std::optional<Adapter> adapter(std::in_place);
    auto host = std::make_unique<Process>(this->host());
    waitUntilStarted(*host);
    for (int time = 0; time < 20; ++time) {
        SCOPED_TRACE(time);
        if (time % 2 == 0) {
            adapter->operate([](desk::Desk& desk, desk::Time now) { desk.raw("\\7F0", now); });
            waitForWire(*host, "rx", "0");
        }
        const std::string before = adapter->port();
        adapter.reset();
        waitUntilLost(*host, before);
        adapter.emplace();
        ASSERT_NE(adapter->port(), before);
        auto next = std::make_unique<Process>(this->host());
        waitUntilOpen(*next, adapter->port());
        waitUntilStarted(*next);
        EXPECT_EQ(end(*host), 0) << host->errors();
        EXPECT_THAT(events(*host, {{"event", "port"}, {"state", "lost"}}), SizeIs(1));
        host = std::move(next);
    }
    adapter->operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
    waitFor(*host, {{"event", "handler"}, {"code", 5}});
    EXPECT_EQ(end(*host), 0) << host->errors();
}

TEST_F(Unplug, Run_TwentyTimesDuringOneStart_SameHostFindsItAtLast) {
    std::optional<Adapter> adapter(std::in_place);
    Process host(this->host());
    for (int time = 0; time < 20; ++time) {
        SCOPED_TRACE(time);
        const std::string before = adapter->port();
        int opened = 0;
        host.waitForLine([&](const std::string& line) { return line.find("\"open\"") != line.npos && ++opened > time; });
        adapter.reset();
        int lost = 0;
        host.waitForLine([&](const std::string& line) { return line.find("\"lost\"") != line.npos && ++lost > time; });
        adapter.emplace();
        ASSERT_NE(adapter->port(), before);
    }
    waitUntilStarted(host);
    EXPECT_EQ(end(host), 0) << host.errors();
}

}  // namespace
}  // namespace kernel_test
