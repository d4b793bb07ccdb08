// Ports behind a network peer, whatever the peer does.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>

#include "host/linux/serial/Rfc2217.h"
#include "rfc2217/ServerPort.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

using namespace serialtest;
using namespace std::string_literals;

constexpr std::size_t offers = 5 * 3;                            // WILL or DO, for three options
constexpr std::size_t settings = (4 + 4 + 2) + 4 * (4 + 1 + 2);  // rate, and four values of one byte
const std::string rtsOff = "\xFF\xFA\x2C\x05\x0C\xFF\xF0"s;
const std::string rtsOn = "\xFF\xFA\x2C\x05\x0B\xFF\xF0"s;
const std::string wanted = "\xFF\xFD\x2C"s;                                       // DO COM-PORT-OPTION
const std::string agrees = wanted + "\xFF\xFA\x2C\x65\x00\x00\x25\x80\xFF\xF0"s;  // and answers with 9600 baud
const std::string refuses = "\xFF\xFE\x2C"s;                                      // DONT

/// What `connect` gives while `peer` accepts and says `greeting`.
template <class Connect>
auto meet(const Peer& peer, ConsoleStub& far, std::string_view greeting, Connect connect) {
    std::thread accepting([&] {
        far = peer.accept();
        far.send(greeting);
    });
    auto connected = connect();
    accepting.join();
    return connected;
}

/// Opens `peer` as a port while the peer says `greeting`.
struct Connection {
    explicit Connection(std::string_view greeting) : port(meet(peer, far, greeting, [this] { return open(peer.name()); })) {}
    ~Connection() {
        far.close();  // the port need not wait for it
        comms_port_close(port);
    }

    /// Reads what the port says when it opens.
    std::string readOpening() const { return far.read(offers + settings); }

    Peer peer;
    ConsoleStub far;
    Cv::Ptr<CommsPort> port;
};

TEST(NetworkPort, Open_OffersAndThenAsksForTheSettings) {
    const Connection line(agrees);
    ASSERT_TRUE(line.port);
    EXPECT_EQ(comms_geterr(line.port), 0);
    const std::string opening = line.readOpening();
    EXPECT_EQ(opening.substr(0, offers), "\xFF\xFB\x00\xFF\xFD\x00\xFF\xFB\x03\xFF\xFD\x03\xFF\xFB\x2C"s);
    EXPECT_EQ(opening.substr(offers),
              "\xFF\xFA\x2C\x01\x00\x00\x25\x80\xFF\xF0"
              "\xFF\xFA\x2C\x02\x08\xFF\xF0"
              "\xFF\xFA\x2C\x03\x01\xFF\xF0"
              "\xFF\xFA\x2C\x04\x01\xFF\xF0"
              "\xFF\xFA\x2C\x05\x01\xFF\xF0"s);
}

TEST(NetworkPort, OpenWithOtherSettings_AsksForThose) {
    const Peer peer;
    ConsoleStub far;
    const auto port = meet(peer, far, agrees, [&] { return comms_port_open(peer.name(), 115200, 7, 'E', 2); });
    ASSERT_TRUE(port);
    EXPECT_EQ(far.read(offers + settings).substr(offers),
              "\xFF\xFA\x2C\x01\x00\x01\xC2\x00\xFF\xF0"
              "\xFF\xFA\x2C\x02\x07\xFF\xF0"
              "\xFF\xFA\x2C\x03\x03\xFF\xF0"
              "\xFF\xFA\x2C\x04\x02\xFF\xF0"
              "\xFF\xFA\x2C\x05\x01\xFF\xF0"s);
    far.close();
    comms_port_close(port);
}

TEST(NetworkPort, Rts_StandsBetweenTheBytesAroundIt) {
    Recorder events;
    const Connection line(agrees);
    line.readOpening();
    EXPECT_EQ(send(line.port, "before"), 0);
    comms_set_rts(line.port, 0);
    comms_set_rts(line.port, 1);
    EXPECT_EQ(send(line.port, "after"), 0);
    const std::string expected = "before" + rtsOff + rtsOn + "after";
    EXPECT_EQ(line.far.read(expected.size()), expected);
    EXPECT_EQ(events.everything(), "open " + line.peer.url() + "\ntx before\nrts 0\nrts 1\ntx after\n");
}

TEST(NetworkPort, EveryByte_GoesBothWaysUnchanged) {
    const Connection line(agrees);
    line.readOpening();
    std::string all;
    std::string doubled;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    doubled = all + '\xFF';
    EXPECT_EQ(send(line.port, all), 0);
    EXPECT_EQ(line.far.read(257), doubled);
    Taker taker(line.port);
    ASSERT_TRUE(taker.listen(line.peer.name()));
    line.far.send(doubled);
    EXPECT_EQ(taker.wait(256), all);
    EXPECT_EQ(taker.calls(), 256);
}

class NetworkPortGreeted : public testing::TestWithParam<std::pair<const char*, std::string>> {};
TEST_P(NetworkPortGreeted, WithoutControl_WorksAndSaysSo) {
    Recorder events;
    const Connection line(GetParam().second);
    ASSERT_TRUE(line.port);
    EXPECT_EQ(comms_geterr(line.port), 0);
    EXPECT_EQ(events.count("does not offer to control its serial port"), 1U);
    line.readOpening();
    EXPECT_EQ(send(line.port, "x"), 0);
    comms_set_rts(line.port, 0);
    EXPECT_EQ(line.far.read(1 + rtsOff.size()), "x" + rtsOff);
    line.far.send("hello");
    Taker taker(line.port);
    ASSERT_TRUE(taker.listen(line.peer.name()));
    line.far.send("!");
    EXPECT_TRUE(taker.waitForEnd("hello!"));
}
INSTANTIATE_TEST_SUITE_P(Peers, NetworkPortGreeted,
                         testing::Values(std::pair("Silent", ""s), std::pair("Refusing", refuses),
                                         std::pair("Unaware", "plain text\r\n"s)),
                         [](const auto& row) { return row.param.first; });

TEST(NetworkPort, BytesThatComeBeforeTheAgreement_AreReceived) {
    const Connection line("early" + agrees);
    line.far.send("late");
    Taker taker(line.port);
    while (!taker.listen(line.peer.name())) std::this_thread::yield();
    line.far.send("!");
    EXPECT_EQ(taker.wait(10), "earlylate!");
}

TEST(NetworkPort, PeerThatAgreesAndAnswersNothing_IsUsed) {
    const Connection line(wanted);
    ASSERT_TRUE(line.port);
    line.readOpening();
    EXPECT_EQ(send(line.port, "x"), 0);
    EXPECT_EQ(line.far.read(1), "x");
}

TEST(NetworkPort, PeerThatCloses_ErrorAndOneEvent) {
    Recorder events;
    Connection line(agrees);
    line.far.close();
    ASSERT_TRUE(events.waitFor("lost " + line.peer.url())) << events.everything();
    EXPECT_NE(comms_geterr(line.port), 0);
    EXPECT_NE(send(line.port, "x"), 0);
    comms_port_close(line.port);
    EXPECT_EQ(events.count("closed "), 0U);
}

struct SettingsAnswer {
    const char* name;
    std::string answers;
    std::string refusal;  ///< empty: none
};
class NetworkPortSettings : public testing::TestWithParam<SettingsAnswer> {};
TEST_P(NetworkPortSettings, Answered_WhatDiffersIsReportedOnceAndThePortIsUsed) {
    Recorder events;
    const Peer peer;
    ConsoleStub far;
    std::thread answering([&] {
        far = peer.accept();
        far.send(wanted);
        far.read(offers + settings);
        far.send(GetParam().answers + "!");
    });
    const auto port = open(peer.name());
    answering.join();
    EXPECT_EQ(comms_geterr(port), 0);
    ASSERT_TRUE(events.waitFor("rx !")) << events.everything();
    const std::string refusal =
        "log " + peer.url() + " does not take 9600 baud, 8 data bits, parity N, 1 stop bits: " + GetParam().refusal + "\n";
    EXPECT_EQ(events.everything(), "open " + peer.url() + '\n' + (GetParam().refusal.empty() ? "" : refusal) + "rx !\n");
    far.close();
    comms_port_close(port);
}
const std::string rightBaud = "\xFF\xFA\x2C\x65\x00\x00\x25\x80\xFF\xF0"s;
const std::string otherBaud = "\xFF\xFA\x2C\x65\x00\x01\xC2\x00\xFF\xF0"s;
const std::string otherParity = "\xFF\xFA\x2C\x67\x03\xFF\xF0"s;
INSTANTIATE_TEST_SUITE_P(
    Answers, NetworkPortSettings,
    testing::Values(
        SettingsAnswer{.name = "AsAsked",
                       .answers = rightBaud + "\xFF\xFA\x2C\x66\x08\xFF\xF0\xFF\xFA\x2C\x67\x01\xFF\xF0"
                                              "\xFF\xFA\x2C\x68\x01\xFF\xF0",
                       .refusal = ""},
        SettingsAnswer{.name = "ZeroOrEmpty",
                       .answers = "\xFF\xFA\x2C\x65\x00\x00\x00\x00\xFF\xF0\xFF\xFA\x2C\x66\xFF\xF0"
                                  "\xFF\xFA\x2C\x67\x00\xFF\xF0"s,
                       .refusal = ""},
        SettingsAnswer{.name = "Rate", .answers = otherBaud, .refusal = "its server has 115200 baud"},
        SettingsAnswer{.name = "DataSize",
                       .answers = rightBaud + "\xFF\xFA\x2C\x66\x07\xFF\xF0",
                       .refusal = "its server has 7 data bits"},
        SettingsAnswer{.name = "Parity", .answers = rightBaud + otherParity, .refusal = "its server has parity E"},
        SettingsAnswer{.name = "StopSize",
                       .answers = rightBaud + "\xFF\xFA\x2C\x68\x02\xFF\xF0",
                       .refusal = "its server has 2 stop bits"},
        SettingsAnswer{.name = "Several", .answers = otherBaud + otherParity, .refusal = "its server has 115200 baud"}),
    [](const auto& row) { return row.param.name; });

class NetworkPortClosed : public testing::TestWithParam<std::pair<const char*, std::string>> {};
TEST_P(NetworkPortClosed, BeforeItAnswers_IsNullAndSaysWhy) {
    Recorder events;
    const Peer peer;
    std::thread accepting([&] { peer.accept().send(GetParam().second); });
    const auto port = open(peer.name());
    accepting.join();
    EXPECT_FALSE(port);
    comms_port_close(port);
    EXPECT_EQ(events.everything(),
              "log cannot open " + peer.url() + ": closed by its far end; perhaps another client has it\n");
}
INSTANTIATE_TEST_SUITE_P(Peers, NetworkPortClosed,
                         testing::Values(std::pair("AtOnce", ""s), std::pair("Refusing", refuses),
                                         std::pair("AfterWords", "Port already in use\r\n"s),
                                         std::pair("AfterAgreement", wanted + "Port already in use\r\n")),
                         [](const auto& row) { return row.param.first; });

class NetworkPortReset : public testing::TestWithParam<std::pair<const char*, std::string>> {};
// A port that has hung up and gives nothing is taken for one that holds nothing.
TEST_P(NetworkPortReset, CommandsBetweenItsData_AllDataIsRead) {
    const Peer peer;
    ConsoleStub far;
    const auto opened = meet(peer, far, agrees, [&] { return cvhost::openRfc2217(peer.url(), {9600, 8, 'N', 1}); });
    ASSERT_TRUE(opened.transport);
    std::string commands;
    for (int i = 0; i < 600; ++i) commands += GetParam().second;
    far.send("before" + commands + "between" + commands + "after");
    far.close();  // with the settings unread
    ASSERT_NE(cvhost::waitFor(opened.transport->descriptor(), 0, -1) & POLLHUP, 0);
    std::array<unsigned char, 512> bytes;
    std::string all;
    cvhost::SerialTransport::Transfer got;
    do {
        got = opened.transport->read(bytes);
        all.append(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(got.count));
    } while (got.count != 0 && got.error == 0);
    EXPECT_EQ(all, "beforebetweenafter");
    EXPECT_EQ(got.error, ECONNRESET);
}
INSTANTIATE_TEST_SUITE_P(Commands, NetworkPortReset,
                         testing::Values(std::pair("Unanswered", "\xFF\xF1"s), std::pair("Answered", "\xFF\xFD\x63"s)),
                         [](const auto& row) { return row.param.first; });

TEST(NetworkPort, BytesJustSent_ArriveAlthoughInputIsUnread) {
    Connection line(agrees);
    line.readOpening();
    line.far.send(std::string(100'000, 'u'));
    EXPECT_EQ(send(line.port, "O1 O2 "), 0);
    std::string last;
    std::thread reading([&] {
        last = line.far.read(6);
        line.far.close();
    });
    comms_port_close(line.port);
    reading.join();
    EXPECT_EQ(last, "O1 O2 ");
}

TEST(NetworkPort, PeerThatNeverReads_SendFailsAndCloseReturns) {
    const Connection line(agrees);
    const std::string piece(256, 's');
    int sent = 0;
    while (sent < 100'000 && send(line.port, piece) == 0) ++sent;
    EXPECT_LT(sent, 100'000);
    EXPECT_EQ(comms_geterr(line.port), 0) << "a full line is not a lost one";
    comms_port_close(line.port);
}

TEST(NetworkPort, PeerThatResumes_GetsEveryByteInOrder) {
    const Connection line(agrees);
    line.readOpening();
    std::string all;
    for (int i = 0; i < 400'000; ++i) all += static_cast<char>('a' + i % 23);
    int result = -1;
    std::thread sender([&] { result = send(line.port, all); });
    const std::string got = line.far.read(all.size());
    sender.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(got, all);
}

TEST(NetworkPort, Suspended_SendFailsUntilResumed) {
    Recorder events;
    const Connection line(agrees);
    line.readOpening();
    line.far.send("\xFF\xFA\x2C\x6C\xFF\xF0s"s);  // FLOWCONTROL-SUSPEND, and a byte to show that it has been heard
    ASSERT_TRUE(events.waitFor("rx s"));
    // Only the first waits: a second each would be a quarter of an hour and more.
    for (int i = 0; i < 1000; ++i) EXPECT_NE(send(line.port, "x"), 0);
    EXPECT_EQ(events.count("log " + line.peer.url() + " takes nothing that is sent"), 1U);
    comms_set_rts(line.port, 0);
    EXPECT_EQ(line.far.read(rtsOff.size()), rtsOff);
    line.far.send("\xFF\xFA\x2C\x6D\xFF\xF0r"s);  // FLOWCONTROL-RESUME
    ASSERT_TRUE(events.waitFor("rx r"));
    EXPECT_EQ(send(line.port, "y"), 0);
    EXPECT_EQ(line.far.read(1), "y");
}

TEST(NetworkPort, PeerThatOnlyAsks_IsGivenUp) {
    Recorder events;
    const Connection line(agrees);
    const std::string asking = "\xFF\xFD\x63"s;  // DO, an option nobody has: each is answered WONT
    std::string flood;
    for (int i = 0; i < 30'000; ++i) flood += asking;
    while (events.count("lost ") == 0) {
        if (::send(line.far.get(), flood.data(), flood.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) std::this_thread::yield();
    }
    EXPECT_NE(comms_geterr(line.port), 0);
}

// Sent data is waited for as long as a serial line takes for it; answers to a peer that takes none are no such data.
TEST(NetworkPort, PeerThatOnlyAsks_NobodyWaitsForTheAnswersAsForData) {
    const Peer peer;
    ConsoleStub far;
    const auto opened = meet(peer, far, agrees, [&] { return cvhost::openRfc2217(peer.url(), {9600, 8, 'N', 1}); });
    ASSERT_TRUE(opened.transport);
    std::string asking;
    for (int i = 0; i < 300; ++i) asking += "\xFF\xFD\x63"s;
    std::array<unsigned char, 512> none;
    while (!opened.transport->hasUnsent()) {
        far.send(asking);
        for (std::size_t read = 0; read < asking.size(); read += none.size()) {
            ASSERT_EQ(opened.transport->read(none).error, 0);
        }
    }
    EXPECT_EQ(opened.transport->queued(), 0U);
}

TEST(NetworkPort, Junk_NeitherHangsNorBreaks) {
    Recorder events;
    const Connection line(agrees);
    Taker taker(line.port);
    ASSERT_TRUE(taker.listen(line.peer.name()));
    unsigned random = 1;
    std::string junk;
    for (int i = 0; i < 200'000; ++i) {
        random = random * 1664525U + 1013904223U;
        const unsigned byte = random >> 24;
        junk += static_cast<char>(byte % 3 == 0 ? 0xFF : byte);
    }
    std::atomic<bool> done = false;
    std::thread reading([&] {
        char unread[4096];
        while (!done) {
            if (cvhost::waitFor(line.far.get(), 1, 20) != 0 && ::recv(line.far.get(), unread, sizeof unread, 0) <= 0) break;
        }
    });
    line.far.send(junk);
    line.far.send("\xFF\xF0\xFF\xF0.end."s);
    EXPECT_TRUE(taker.waitForEnd(".end."));
    EXPECT_EQ(comms_geterr(line.port), 0);
    done = true;
    reading.join();
}

struct BadName {
    const char* name;
    const char* reason;
};
class NetworkPortBadName : public testing::TestWithParam<BadName> {};
TEST_P(NetworkPortBadName, Any_IsNullAndSaysWhy) {
    Recorder events;
    EXPECT_FALSE(open(Cv::WStringFromAscii(GetParam().name)));
    EXPECT_TRUE(events.waitFor(std::string("log cannot open ") + GetParam().name + ": " + GetParam().reason + "\n"))
        << events.everything();
}
constexpr const char* form = "the address must read rfc2217://host:port";
INSTANTIATE_TEST_SUITE_P(Names, NetworkPortBadName,
                         testing::Values(BadName{.name = "rfc2217://", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:0", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:65536", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:99999999999999999999", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:-1", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1: 5", .reason = form},
                                         BadName{.name = "rfc2217://127.0.0.1:5x", .reason = form},
                                         BadName{.name = "rfc2217://:5000", .reason = form},
                                         BadName{.name = "rfc2217://[]:5000", .reason = form},
                                         BadName{.name = "rfc2217://[:5000", .reason = form},
                                         BadName{.name = "rfc2217://::1:5000", .reason = form}));

TEST(NetworkPort, NobodyListening_IsNullAndSaysSo) {
    Recorder events;
    std::string url;
    {
        const Peer gone;
        url = gone.url();
    }
    EXPECT_FALSE(open(Cv::WStringFromAscii(url.c_str())));
    EXPECT_TRUE(events.waitFor("log cannot open " + url + ": connection refused\n")) << events.everything();
}

TEST(NetworkPort, AddressInBrackets_Connects) {
    const Peer peer;
    ConsoleStub far;
    const auto port = meet(peer, far, agrees, [&] {
        return open(Cv::WStringFromAscii(("rfc2217://[127.0.0.1]:" + std::to_string(peer.port())).c_str()));
    });
    ASSERT_TRUE(port);
    far.close();
    comms_port_close(port);
}

TEST(NetworkPort, BadSettings_IsNull) {
    const Peer peer;
    EXPECT_FALSE(comms_port_open(peer.name(), 0, 8, 'N', 1));
    EXPECT_FALSE(comms_port_open(peer.name(), 9600, 9, 'N', 1));
}

}  // namespace
