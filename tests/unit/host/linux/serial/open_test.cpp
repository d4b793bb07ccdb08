// Opening, closing and losing a port that is a tty.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "host/linux/serial/SerialPorts.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

using namespace serialtest;

termios settingsOf(const Pty& pty) {
    termios line{};
    EXPECT_EQ(tcgetattr(pty.get(), &line), 0);
    return line;
}

struct Settings {
    int baud, dataBits;
    char parity;
    int stopBits;
    friend void PrintTo(const Settings& s, std::ostream* out) {
        *out << s.baud << " " << s.dataBits << " " << static_cast<int>(s.parity) << " " << s.stopBits;
    }
};

TEST(PortOpen, Tty_IsRawForItselfAndKeepsItsModemLines) {
    const Pty pty;
    const auto port = open(pty.name());
    ASSERT_TRUE(port);
    EXPECT_EQ(comms_geterr(port), 0);
    const termios line = settingsOf(pty);
    EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB | CLOCAL | CREAD | HUPCL | CRTSCTS), tcflag_t{CS8 | CLOCAL | CREAD});
    EXPECT_EQ(line.c_iflag & (IXON | IXOFF | IXANY | ICRNL | INLCR | IGNCR | ISTRIP | BRKINT), 0U);
    EXPECT_EQ(line.c_oflag & OPOST, 0U);
    EXPECT_EQ(line.c_lflag & (ECHO | ICANON | ISIG | IEXTEN), 0U);
    comms_port_close(port);
}

struct Speed {
    int baud;
    speed_t speed;
};
class PortOpenAtSpeed : public testing::TestWithParam<Speed> {};
TEST_P(PortOpenAtSpeed, Tty_RunsAtIt) {
    const Pty pty;
    const auto port = comms_port_open(pty.name(), GetParam().baud, 8, 'N', 2);
    ASSERT_TRUE(port);
    const termios line = settingsOf(pty);
    EXPECT_EQ(cfgetospeed(&line), GetParam().speed);
    EXPECT_EQ(cfgetispeed(&line), GetParam().speed);
    EXPECT_EQ(line.c_cflag & CSTOPB, tcflag_t{CSTOPB});
    comms_port_close(port);
}
INSTANTIATE_TEST_SUITE_P(Speeds, PortOpenAtSpeed,
                         testing::Values(Speed{.baud = 50, .speed = B50}, Speed{.baud = 1200, .speed = B1200},
                                         Speed{.baud = 9600, .speed = B9600}, Speed{.baud = 19200, .speed = B19200},
                                         Speed{.baud = 38400, .speed = B38400}, Speed{.baud = 115200, .speed = B115200},
                                         Speed{.baud = 1000000, .speed = B1000000},
                                         Speed{.baud = 4000000, .speed = B4000000}),
                         [](const auto& row) { return std::to_string(row.param.baud); });

class PortOpenWithNonsense : public testing::TestWithParam<Settings> {};
TEST_P(PortOpenWithNonsense, Tty_IsNull) {
    const Pty pty;
    const auto [baud, dataBits, parity, stopBits] = GetParam();
    EXPECT_FALSE(comms_port_open(pty.name(), baud, dataBits, parity, stopBits));
}
INSTANTIATE_TEST_SUITE_P(Settings, PortOpenWithNonsense,
                         testing::Values(Settings{12345, 8, 'N', 1}, Settings{0, 8, 'N', 1}, Settings{-9600, 8, 'N', 1},
                                         Settings{9600, 4, 'N', 1}, Settings{9600, 9, 'N', 1}, Settings{9600, 8, 'X', 1},
                                         Settings{9600, 8, '\0', 1}, Settings{9600, 8, 'n', 1}, Settings{9600, 8, 'N', 0},
                                         Settings{9600, 8, 'N', 3}));

// A pty carries 8 bits without parity, whatever it is asked for.
class PortOpenRefused : public testing::TestWithParam<Settings> {};
TEST_P(PortOpenRefused, SettingsThatDoNotHold_HandleWithError) {
    Recorder events;
    const Pty pty;
    const auto [baud, dataBits, parity, stopBits] = GetParam();
    const auto port = comms_port_open(pty.name(), baud, dataBits, parity, stopBits);
    ASSERT_TRUE(port);
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_NE(send(port, "x"), 0);
    Taker taker(port);
    EXPECT_FALSE(taker.listen(pty.name()));
    EXPECT_EQ(events.count("does not take 9600 baud"), 1U);
    comms_port_close(port);
    EXPECT_TRUE(open(pty.name())) << "the line has been let go";
}
INSTANTIATE_TEST_SUITE_P(Settings, PortOpenRefused,
                         testing::Values(Settings{9600, 7, 'N', 1}, Settings{9600, 8, 'E', 1}, Settings{9600, 8, 'O', 1},
                                         Settings{9600, 5, 'N', 1}));

TEST(PortOpen, LockedElsewhere_IsNullAndSaysSo) {
    Recorder events;
    const Pty pty;
    const cvhost::FileDescriptor other(::open(pty.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(open(pty.name()));
    EXPECT_TRUE(events.waitFor("log cannot open " + pty.path + ": device or resource busy\n")) << events.everything();
}

TEST(PortOpen, WhileOpen_OthersAreKeptOut) {
    const Pty pty;
    const cvhost::FileDescriptor other(::open(pty.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const auto port = open(pty.name());
    ASSERT_TRUE(port);
    int exclusive = 0;
    ASSERT_EQ(::ioctl(other.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_EQ(exclusive, 1);
    EXPECT_NE(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
    comms_port_close(port);
    ASSERT_EQ(::ioctl(other.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_EQ(exclusive, 0);
    EXPECT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

struct BadFile {
    const char* name;
    const char* reason;
};
class PortOpenBadName : public testing::TestWithParam<BadFile> {};
TEST_P(PortOpenBadName, Any_IsNullAndSaysWhy) {
    Recorder events;
    EXPECT_FALSE(open(Cv::WStringFromAscii(GetParam().name)));
    EXPECT_TRUE(events.waitFor(std::string("log cannot open ") + GetParam().name + ": " + GetParam().reason + "\n"))
        << events.everything();
    EXPECT_EQ(events.count("open "), 1U) << events.everything();
}
INSTANTIATE_TEST_SUITE_P(Names, PortOpenBadName,
                         testing::Values(BadFile{.name = "/dev/ttyNowhere0", .reason = "no such file or directory"},
                                         BadFile{.name = "/dev/null", .reason = "not a serial port"},
                                         BadFile{.name = "/tmp", .reason = "is a directory"},
                                         BadFile{.name = "", .reason = "no such file or directory"}));

TEST(PortOpen, SameNameAgain_ClosesTheEarlierFirst) {
    Recorder events;
    const Pty pty;
    const auto first = open(pty.name());
    ASSERT_TRUE(first);
    Taker ofFirst(first);
    ASSERT_TRUE(ofFirst.listen(pty.name()));
    const auto second = open(pty.name());
    ASSERT_TRUE(second);
    EXPECT_NE(comms_geterr(first), 0);
    EXPECT_EQ(comms_geterr(second), 0);
    Taker ofSecond(second);
    ASSERT_TRUE(ofSecond.listen(pty.name()));
    pty.send("hello");
    EXPECT_EQ(ofSecond.wait(5), "hello");
    EXPECT_EQ(ofFirst.calls(), 0) << "its handler went with it";
    comms_port_close(second);
    EXPECT_EQ(events.everything(),
              "open " + pty.path + "\nclosed " + pty.path + "\nopen " + pty.path + "\nrx hello\nclosed " + pty.path + "\n");
}

TEST(PortOpen, PortThatNobodyHolds_IsClosedByTheNextOpen) {
    Recorder events;
    const Pty forgotten;
    const Pty other;
    ASSERT_TRUE(open(forgotten.name()));
    EXPECT_EQ(events.count("closed"), 0U);
    const auto port = open(other.name());
    EXPECT_EQ(events.count("closed " + forgotten.path), 1U);
    comms_port_close(port);
}

TEST(ReleaseClosedPorts, PortThatNobodyHolds_IsClosed) {
    Recorder events;
    const Pty forgotten;
    ASSERT_TRUE(open(forgotten.name()));
    cvhost::releaseClosedPorts();
    EXPECT_EQ(events.count("closed " + forgotten.path), 1U);
}

TEST(ReleaseClosedPorts, PortThatIsHeld_StaysOpen) {
    const Pty pty;
    const auto port = open(pty.name());
    cvhost::releaseClosedPorts();
    EXPECT_EQ(comms_geterr(port), 0);
    comms_port_close(port);
}

TEST(PortClose, Handle_AnswersAsALostPort) {
    Recorder events;
    const Pty pty;
    const auto port = open(pty.name());
    pty.send("unread");
    ASSERT_TRUE(events.waitFor("rx unread"));
    comms_port_close(port);
    unsigned char byte = 0;
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_EQ(comms_getc(port, &byte), -1);
    EXPECT_EQ(comms_peekc(port, &byte), -1);
    EXPECT_NE(send(port, "x"), 0);
    comms_set_rts(port, 0);
    port->clearReceiveQueue();
    comms_port_close(port);
    EXPECT_EQ(events.count("closed "), 1U) << "told once";
}

TEST(PortClose, BytesJustSent_StillArrive) {
    const Pty pty;
    const auto port = open(pty.name());
    ASSERT_EQ(send(port, "O1 O2 O3 "), 0);
    comms_port_close(port);
    EXPECT_EQ(pty.read(9), "O1 O2 O3 ");
}

TEST(PortClose, LastHandle_ObjectLivesOnUntilTheNextOpen) {
    const Pty pty;
    auto port = open(pty.name());
    CommsPort* const plain = port.get();
    comms_port_close(port);
    port = {};
    EXPECT_EQ(plain->references(), 1) << "the library's own";
    const Cv::Ptr<CommsPort> late(plain);  // a copy that was on its way
    EXPECT_NE(comms_geterr(late), 0);
}

TEST(PortLost, FarEndGone_ErrorAndOneEvent) {
    Recorder events;
    Pty pty;
    const auto port = open(pty.name());
    pty.send("left");
    ASSERT_TRUE(events.waitFor("rx left"));
    pty.close();
    ASSERT_TRUE(events.waitFor("lost " + pty.path)) << events.everything();
    unsigned char byte = 0;
    EXPECT_NE(comms_geterr(port), 0);
    EXPECT_EQ(comms_getc(port, &byte), -1) << "although four bytes wait";
    EXPECT_NE(send(port, "x"), 0);
    comms_port_close(port);
    EXPECT_EQ(events.count("lost "), 1U);
    EXPECT_EQ(events.count("closed "), 0U);
}

TEST(NullPort, EveryOperation_AnswersAsALostPort) {
    unsigned char byte = 7;
    EXPECT_NE(comms_geterr({}), 0);
    EXPECT_EQ(comms_getc({}, &byte), -1);
    EXPECT_EQ(comms_peekc({}, &byte), -1);
    EXPECT_NE(comms_putchs({}, &byte, 1), 0);
    EXPECT_EQ(byte, 7);
    comms_set_rts({}, 1);
    comms_port_close({});
}

}  // namespace
