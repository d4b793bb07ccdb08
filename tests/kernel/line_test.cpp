// What the device sees of its host: line settings, modem lines, the latency timer.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/kernel/Guest.h"
#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

using std::chrono::microseconds;
using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

class SerialLine : public KernelTest {
protected:
    static void setLowLatency(const std::string& port, bool low) {
        const auto tty = cvhost::owned(::open(port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), port);
        serial_struct driver{};
        ASSERT_EQ(::ioctl(tty.get(), TIOCGSERIAL, &driver), 0);
        const int flag = static_cast<int>(ASYNC_LOW_LATENCY);
        driver.flags = low ? driver.flags | flag : driver.flags & ~flag;
        ASSERT_EQ(::ioctl(tty.get(), TIOCSSERIAL, &driver), 0);
    }
    /// The median time from a key's first byte leaving the desk to word of its handler.
    static microseconds byteToHandler(Adapter& adapter, Process& host) {
        constexpr std::size_t taps = 21;
        std::vector<microseconds> times;
        std::size_t known = events(host, {{"event", "handler"}}).size();
        while (times.size() < taps) {
            Clock::time_point pressed;
            adapter.operate([&](desk::Desk& desk, desk::Time now) {
                desk.press('E', now);
                pressed = Clock::now() + desk::byteTime;
            });
            std::size_t seen = 0;
            host.waitForLine(
                [&](const std::string& line) { return line.find("\"handler\"") != line.npos && ++seen > known; });
            times.push_back(std::chrono::duration_cast<microseconds>(Clock::now() - pressed));
            ++known;
            adapter.operate([](desk::Desk& desk, desk::Time now) { desk.release('E', now); });
            // The release must not make the next press leave sooner.
            std::size_t released = 0;
            host.waitForLine([&](const std::string& line) {
                return line.find("\"rx\"") != line.npos && line.find('U') != line.npos && ++released == known;
            });
        }
        std::ranges::sort(times);
        return times[taps / 2];
    }
};

TEST_F(SerialLine, Run_Opened_DeviceSaw9600Baud8N1WithLowLatencyAndTheReset) {
    Adapter adapter;
    Process host(this->host());
    waitUntilStarted(host);
    EXPECT_EQ(readLine("/sys/class/tty/ttyUSB0/device/latency_timer"), "1");
    EXPECT_EQ(end(host), 0) << host.errors();
    const auto with = [](int latencyMs, bool dtr, bool rts) {
        return lines::SerialSettings{.baud = 9600, .format = "8N1", .latencyMs = latencyMs, .dtr = dtr, .rts = rts};
    };
    EXPECT_THAT(adapter.settings(), ElementsAre(with(16, false, false), with(16, true, true), with(1, true, true),
                                                with(1, true, false), with(1, true, true)));
    bool reset = false;
    adapter.operate([&](const desk::Desk& desk, desk::Time) { reset = desk.resets() == 1 && desk.rts(); });
    EXPECT_TRUE(reset) << "one reset at the start, and RTS high after the end";
}

TEST_F(SerialLine, LowLatency_SetAndNot_ShortensTheTimeFromByteToHandler) {
    Adapter adapter;
    Process host(this->host());
    waitUntilStarted(host);
    const microseconds low = byteToHandler(adapter, host);
    setLowLatency(adapter.port(), false);
    const microseconds high = byteToHandler(adapter, host);
    setLowLatency(adapter.port(), true);
    const microseconds lowAgain = byteToHandler(adapter, host);
    std::printf("byte to handler: %ld us with low latency, %ld us without, %ld us with it again\n", low.count(),
                high.count(), lowAgain.count());
    // The timers are 1 ms and 16 ms; a key has two bytes, which take a millisecond each.
    EXPECT_LT(low, microseconds(5000));
    EXPECT_LT(lowAgain, microseconds(5000));
    EXPECT_GT(high, low + microseconds(10000));
    EXPECT_EQ(end(host), 0) << host.errors();
}

}  // namespace
}  // namespace kernel_test
