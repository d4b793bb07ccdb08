// A desk behind a USB serial adapter whose plug is in a test's hand instead of the kernel's.
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <filesystem>
#include <thread>

#include "lines/DeskServer.h"
#include "lines/UsbLine.h"
#include "lines/UsbPlug.h"
#include "tests/unit/lines/usb/Kernel.h"

namespace usb_test {
namespace {

using cvhost::FileDescriptor;
using lines::DeskServer;
using testing::HasSubstr;

constexpr auto limit = 20s;

class UsbLineTest : public testing::Test {
protected:
    UsbLineTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        kernel = FileDescriptor(ends[0]);
        const timeval wait{.tv_sec = limit.count(), .tv_usec = 0};
        ::setsockopt(kernel.get(), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        server = std::make_unique<DeskServer>(desk::Options{.running = true, .unpaced = true},
                                              std::make_unique<lines::UsbLine>(FileDescriptor(ends[1]), "Corvane Console"));
    }

    void say(const Bytes& message) const {
        EXPECT_EQ(::send(kernel.get(), message.data(), message.size(), MSG_NOSIGNAL), static_cast<ssize_t>(message.size()));
    }
    /// The next answer; none when the device has gone.
    std::optional<Reply> hear(bool in) {
        for (;;) {
            if (auto reply = takeReply(heard, in)) return reply;
            std::array<unsigned char, 4096> more;
            const ssize_t count = ::recv(kernel.get(), more.data(), more.size(), 0);
            if (count <= 0) return std::nullopt;
            heard.insert(heard.end(), more.begin(), more.begin() + count);
        }
    }
    void open() {
        say(opening(1));
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(hear(false));
    }
    bool comes(const std::function<bool(const desk::Desk&)>& wanted) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        bool met = false;
        while (!met && std::chrono::steady_clock::now() < deadline) {
            server->operate([&](const desk::Desk& desk, Time) { met = wanted(desk); });
            if (!met) std::this_thread::sleep_for(1ms);
        }
        return met;
    }

    FileDescriptor kernel;
    std::unique_ptr<DeskServer> server;
    Bytes heard;
};

TEST_F(UsbLineTest, Name_IsTheProduct) { EXPECT_EQ(server->name(), "Corvane Console"); }

TEST_F(UsbLineTest, Key_ReachesTheHostThatReads) {
    open();
    say(read(20));
    const auto status = hear(true);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->data, (Bytes{0xB1, 0x60}));
    say(read(21));
    server->operate([](desk::Desk& desk, Time now) { desk.press('E', now); });
    const auto reply = hear(true);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->data, (Bytes{0xB1, 0x60, 'E', ' '}));
}

TEST_F(UsbLineTest, Command_ReachesTheDesk) {
    open();
    say(write(20, "F2 "));
    EXPECT_TRUE(comes([](const desk::Desk& desk) { return desk.lamp(2) == 'F'; }));
}

TEST_F(UsbLineTest, KernelLetsGo_RtsIsHighAgain) {
    open();
    say(control(20, setup(0x40, 1, 0x0200)));
    EXPECT_TRUE(comes([](const desk::Desk& desk) { return !desk.rts(); }));
    kernel.reset();
    EXPECT_TRUE(comes([](const desk::Desk& desk) { return desk.rts(); }));
}

TEST_F(UsbLineTest, Nonsense_PullsThePlug) {
    say(Bytes(48, 0xFF));
    EXPECT_FALSE(hear(false));
}

TEST_F(UsbLineTest, End_PullsThePlug) {
    open();
    say(read(20));
    server.reset();
    while (hear(true)) {
    }
    const auto left = ::recv(kernel.get(), heard.data(), 0, MSG_DONTWAIT);
    EXPECT_EQ(left, 0);
}

TEST(UsbPlug, NoController_IsToldWithTheRemedy) {
    if (std::filesystem::exists("/sys/devices/platform/vhci_hcd.0")) GTEST_SKIP() << "this kernel has one";
    try {
        lines::plugIn();
        FAIL() << "plugged in nowhere";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("modprobe vhci-hcd"));
    }
    EXPECT_EQ(lines::serialPortAt(0), "");
}

}  // namespace
}  // namespace usb_test
