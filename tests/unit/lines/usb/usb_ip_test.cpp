// The device's end of a USB/IP connection: messages whole and split, waiting transfers, and nonsense.
#include <gmock/gmock.h>

#include <cerrno>
#include <random>

#include "lines/UsbIp.h"
#include "tests/unit/lines/usb/Kernel.h"

namespace usb_test {
namespace {

using testing::IsEmpty;

class UsbIpTest : public testing::Test {
protected:
    /// The kernel sends; false: the device gives up.
    bool say(const Bytes& message) { return device.receive(message, desk, now, out); }
    /// The answer to a message that is answered at once.
    Reply ask(const Bytes& message, bool in) {
        EXPECT_TRUE(say(message));
        return answer(in);
    }
    Reply answer(bool in) {
        auto reply = takeReply(out, in);
        EXPECT_TRUE(reply);
        return reply.value_or(Reply{});
    }
    void open() {
        say(opening(1));
        say(read(6));
        now += 16ms;
        device.advance(now, out);
        out.clear();
    }

    desk::Desk desk{{.running = true, .unpaced = true}};
    lines::UsbIp device{"USB Serial Port"};
    Bytes out;
    Time now = 1s;
};

TEST_F(UsbIpTest, ControlIn_IsAnsweredWithItsData) {
    EXPECT_EQ(ask(control(7, setup(0xC0, 0x0A, 0, 0, 1)), true), (Reply{3, 7, 0, 1, {16}}));
}

TEST_F(UsbIpTest, ControlIn_ShorterThanThereIs_IsCut) {
    const Reply reply = ask(control(8, setup(0x80, 6, 0x0100, 0, 8)), true);
    EXPECT_EQ(reply, (Reply{3, 8, 0, 8, {18, 1, 0, 2, 0, 0, 0, 8}}));
}

TEST_F(UsbIpTest, ControlOut_IsAnswered) { EXPECT_EQ(ask(control(9, setup(0x40, 0)), false), (Reply{3, 9, 0, 0, {}})); }

TEST_F(UsbIpTest, Reply_HasNoDeviceDirectionOrEndpoint) {
    say(control(9, setup(0x40, 0)));
    ASSERT_EQ(out.size(), 48U);
    for (const std::size_t at : {8U, 12U, 16U, 28U, 32U, 36U, 40U, 44U}) EXPECT_EQ(numberAt(out, at), 0U) << at;
}

TEST_F(UsbIpTest, Refused_Stalls) {
    EXPECT_EQ(ask(control(10, setup(0x80, 6, 0x0600, 0, 10)), true), (Reply{3, 10, -EPIPE, 0, {}}));
    EXPECT_EQ(ask(Submit{.sequence = 11, .endpoint = 3, .in = true, .length = 8}.message(), true),
              (Reply{3, 11, -EPIPE, 0, {}}));
    EXPECT_EQ(ask(Submit{.sequence = 12, .endpoint = 1, .in = false}.message(), false), (Reply{3, 12, -EPIPE, 0, {}}));
}

TEST_F(UsbIpTest, Read_WaitsForBytesAndTheirTimer) {
    open();
    say(read(20));
    say(read(21));
    EXPECT_THAT(out, IsEmpty());
    EXPECT_FALSE(device.nextEvent());
    device.send(bytes("E"), now, out);
    EXPECT_THAT(out, IsEmpty());
    EXPECT_EQ(device.nextEvent(), now + 16ms);
    device.advance(now + 16ms, out);
    EXPECT_EQ(answer(true), (Reply{3, 20, 0, 3, {0xB1, 0x60, 'E'}}));
    EXPECT_THAT(out, IsEmpty());
}

TEST_F(UsbIpTest, Bytes_WithoutAReadWaiting_WaitForIt) {
    open();
    device.send(bytes("E"), now, out);
    EXPECT_FALSE(device.nextEvent());
    now += 1s;
    EXPECT_EQ(ask(read(20), true), (Reply{3, 20, 0, 3, {0xB1, 0x60, 'E'}}));
}

TEST_F(UsbIpTest, Write_ReachesTheDesk) {
    open();
    EXPECT_EQ(ask(write(20, "F2 "), false), (Reply{3, 20, 0, 3, {}}));
    EXPECT_EQ(desk.lamp(2), 'F');
}

TEST_F(UsbIpTest, WriteBeyondTheBuffer_IsAnsweredWhenThereIsRoom) {
    desk = desk::Desk({.running = true}, now);
    open();
    say(write(20, std::string(Ftdi::sendBuffer + 1, ' ')));
    EXPECT_THAT(out, IsEmpty());
    const auto due = device.nextEvent();
    ASSERT_TRUE(due);
    device.advance(*due, out);
    EXPECT_EQ(answer(false).sequence, 20U);
}

TEST_F(UsbIpTest, Unlink_Waiting_IsToldAndTheTransferIsNotAnswered) {
    open();
    say(read(20));
    EXPECT_EQ(ask(unlink(21, 20), false), (Reply{4, 21, -ECONNRESET, 0, {}}));
    device.send(bytes("E"), now, out);
    device.advance(now + 1s, out);
    EXPECT_THAT(out, IsEmpty());
}

TEST_F(UsbIpTest, Unlink_WaitingWrite_IsToldAndTheTransferIsNotAnswered) {
    desk = desk::Desk({.running = true}, now);
    open();
    say(write(20, std::string(200, ' ')));
    EXPECT_EQ(ask(unlink(21, 20), false), (Reply{4, 21, -ECONNRESET, 0, {}}));
    device.advance(now + 1s, out);
    EXPECT_THAT(out, IsEmpty());
}

TEST_F(UsbIpTest, Unlink_AnsweredAlready_IsToldAsDone) { EXPECT_EQ(ask(unlink(21, 20), false), (Reply{4, 21, 0, 0, {}})); }

TEST_F(UsbIpTest, Session_SplitAnywhere_GoesTheSame) {
    Bytes session = opening(1);
    for (const Bytes& more : {read(6), write(7, "F2 ? "), unlink(8, 6)})
        session.insert(session.end(), more.begin(), more.end());
    Bytes whole;
    for (std::size_t size = 1; size <= session.size(); ++size) {
        desk::Desk fresh({.running = true, .unpaced = true});
        lines::UsbIp parts{"USB Serial Port"};
        Bytes got;
        for (std::size_t at = 0; at < session.size(); at += size)
            EXPECT_TRUE(parts.receive(std::span(session).subspan(at, std::min(size, session.size() - at)), fresh, 1s, got));
        if (whole.empty()) whole = got;
        EXPECT_EQ(got, whole) << size;
        EXPECT_EQ(fresh.lamp(2), 'F');
    }
    EXPECT_EQ(whole.size(), 48U * 7);
}

TEST_F(UsbIpTest, Nonsense_EndsTheConnection) {
    for (const Submit& wrong : {Submit{.sequence = 1, .endpoint = 1, .in = true, .command = 0},
                                Submit{.sequence = 1, .endpoint = 1, .in = true, .command = 3},
                                Submit{.sequence = 1, .endpoint = 1, .in = true, .length = 0xFFFFFFFF},
                                Submit{.sequence = 1, .endpoint = 2, .in = false, .length = 65537},
                                Submit{.sequence = 1, .endpoint = 1, .in = true, .packets = 1}}) {
        lines::UsbIp fresh{"USB Serial Port"};
        EXPECT_FALSE(fresh.receive(wrong.message(), desk, now, out));
    }
}

TEST_F(UsbIpTest, TransfersWithoutEnd_EndTheConnection) {
    std::uint32_t reads = 0;
    while (reads < 1000 && say(read(reads))) ++reads;
    EXPECT_EQ(reads, 64U);
}

TEST_F(UsbIpTest, Junk_SeededMessages_NeverFail) {
    std::mt19937 random(20260101);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (int session = 0; session < 200; ++session) {
        lines::UsbIp fresh{"USB Serial Port"};
        Time time = 1s;
        for (int message = 0; message < 200; ++message) {
            Submit junk{.sequence = below(40), .endpoint = below(4), .in = below(2) != 0, .length = below(600)};
            for (unsigned char& byte : junk.setup) byte = static_cast<unsigned char>(below(256));
            const std::string data(junk.in ? 0 : junk.length, 'x');
            junk.data = data;
            out.clear();
            if (!fresh.receive(below(5) == 0 ? unlink(below(40), below(40)) : junk.message(), desk, time, out)) break;
            fresh.send(bytes(std::string(below(300), 'y')), time, out);
            time += std::chrono::microseconds(below(20000));
            fresh.advance(time, out);
        }
    }
}

}  // namespace
}  // namespace usb_test
