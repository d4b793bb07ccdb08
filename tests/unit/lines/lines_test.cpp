// The network line that carries a desk, on real sockets.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "lines/Rfc2217Server.h"
#include "rfc2217/Codec.h"
#include "tests/unit/lines/LinesRig.h"

namespace {

using namespace std::chrono_literals;
using namespace lines_test;
using cvhost::FileDescriptor;
using lines::DeskServer;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

/// A host at the other end of a socket.
class Host final : private rfc2217::Listener {
public:
    explicit Host(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    void say(std::string_view text) {
        rfc2217::Codec::appendData(std::span(reinterpret_cast<const unsigned char*>(text.data()), text.size()), m_out);
        sendAll();
    }
    void rts(bool high) {
        m_codec.appendControl(high ? rfc2217::Control::rtsOn : rfc2217::Control::rtsOff, m_out);
        sendAll();
    }
    void tell(rfc2217::Command command) {
        m_codec.appendCommand(command, std::span<const unsigned char>(), m_out);
        sendAll();
    }
    /// Hears until all that was heard ends with `text`. False: the connection has ended, or nothing comes.
    bool hears(std::string_view text) {
        while (!m_heard.ends_with(text))
            if (!hear()) return false;
        return true;
    }
    /// Whether the desk's end closes the connection.
    bool turnedAway() {
        while (hear()) {
        }
        return m_ended;
    }
    /// Ends the connection in order: one that is closed with bytes unread is reset, and a reset drops the desk's input.
    void leave() {
        ::shutdown(m_socket.get(), SHUT_WR);
        while (hear()) {
        }
    }
    const std::string& heard() const { return m_heard; }
    /// Sends as much of `bytes` as goes out without anybody reading the answers.
    void flood(const rfc2217::Bytes& bytes) {
        for (int i = 0; i < 2000; ++i)
            if (::send(m_socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) return;
    }

private:
    void data(std::span<const unsigned char> bytes) override { m_heard.append(bytes.begin(), bytes.end()); }
    void command(rfc2217::Command, std::span<const unsigned char>, rfc2217::Bytes&) override {}

    bool hear() {
        std::array<unsigned char, 4096> bytes;
        if (!readable(m_socket)) return false;
        const ssize_t count = ::recv(m_socket.get(), bytes.data(), bytes.size(), 0);
        m_ended = count <= 0;
        if (m_ended) return false;
        m_codec.receive(std::span(bytes).first(static_cast<std::size_t>(count)), *this, m_out);
        sendAll();
        return true;
    }
    void sendAll() {
        ::send(m_socket.get(), m_out.data(), m_out.size(), MSG_NOSIGNAL);
        m_out.clear();
    }

    FileDescriptor m_socket;
    rfc2217::Codec m_codec{rfc2217::Role::client};
    rfc2217::Bytes m_out;
    std::string m_heard;
    bool m_ended = false;
};

/// While it lives, the process gets no further descriptor.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit none{.rlim_cur = STDERR_FILENO + 1, .rlim_max = m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before{};
};

class NetworkLine : public testing::Test {
protected:
    void serve(const desk::Options& options) {
        auto line = std::make_unique<lines::Rfc2217Server>();
        port = line->port();
        server.emplace(options, std::move(line));
    }

    std::uint16_t port = 0;
    std::optional<DeskServer> server;
};

TEST_F(NetworkLine, Name_TellsThePortThatWasPicked) {
    serve(fast);
    EXPECT_NE(port, 0);
    EXPECT_EQ(server->name(), "rfc2217://127.0.0.1:" + std::to_string(port));
}

TEST_F(NetworkLine, ReservedPort_IsRefusedWithItsReason) {
    serve(fast);
    try {
        lines::Rfc2217Server second("127.0.0.1", port);
        FAIL() << "two servers on one port";
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("cannot listen on 127.0.0.1:" + std::to_string(port)));
    }
    EXPECT_THROW(lines::Rfc2217Server("no such host", 0), std::runtime_error);
}

TEST_F(NetworkLine, WholeStart_WorksOverTheNetwork) {
    serve(fast);
    ASSERT_TRUE(booted(*server)) << "its first prompt goes to nobody";
    Host host(port);
    host.rts(false);
    host.rts(true);
    ASSERT_TRUE(host.hears("\r\nEPROM>"));
    host.say("H \r");
    ASSERT_TRUE(host.hears("1.0\r\nEPROM>"));
    host.say("J 0100 0\r");
    ASSERT_TRUE(host.hears("J 0100 0\r\r\n"));
    host.say("F2 ? ");
    ASSERT_TRUE(host.hears("V007 "));
    EXPECT_TRUE(seen(*server, [](desk::Desk& desk) { return desk.active(); }));
    EXPECT_EQ(seen(*server, [](desk::Desk& desk) { return desk.lamp(2); }), 'F');
    server->operate([](desk::Desk& desk, desk::Time now) { desk.raw("\xFF\xFE", now); });
    EXPECT_TRUE(host.hears("\xFF\xFE"));
}

TEST_F(NetworkLine, Paced_ArrivesToo) {
    serve({.running = true});
    Host host(port);
    host.say("? ");
    EXPECT_TRUE(host.hears("V007 "));
}

TEST_F(NetworkLine, FarewellAtOnce_ArrivesWholeAfterTheHostHasLeft) {
    serve({.running = true});
    Host host(port);
    host.say(farewell());
    host.leave();
    EXPECT_TRUE(comes([&] { return seen(*server, received) == farewell(); })) << seen(*server, received);
    EXPECT_EQ(seen(*server, [](desk::Desk& desk) { return desk.lostInput(); }), 0U);
}

// A burst is 68 seconds of the line's time.
TEST_F(NetworkLine, BurstBeforeAReset_TheConsoleAnswers) {
    serve({.running = true});
    Host host(port);
    host.say(std::string(65'536, 'x'));
    host.rts(false);
    host.rts(true);
    ASSERT_TRUE(host.hears("\r\nEPROM>"));
    EXPECT_GT(seen(*server, [](desk::Desk& desk) { return desk.lostInput(); }), 0U);
}

TEST_F(NetworkLine, BurstOfAnEarlierHost_TheNextIsAnswered) {
    serve({.running = true});
    {
        Host first(port);
        first.say(std::string(65'536, 'x'));
        ASSERT_TRUE(comes([&] { return seen(*server, [](desk::Desk& desk) { return desk.lostInput(); }) > 0; }));
    }
    Host next(port);
    next.say(" ? ");
    EXPECT_TRUE(next.hears("V007 "));
    EXPECT_LT(seen(*server, [](desk::Desk& desk) { return desk.received().size(); }), desk::Desk::sendBuffer);
}

TEST_F(NetworkLine, SecondHost_IsTurnedAwayAndTheFirstKeepsTheDesk) {
    serve(fastRunning);
    Host first(port);
    first.say("? ");
    ASSERT_TRUE(first.hears("V007 "));
    EXPECT_TRUE(Host(port).turnedAway());
    first.say("? ");
    EXPECT_TRUE(first.hears("V007 V007 "));
}

TEST_F(NetworkLine, NextHost_FindsTheDeskAsTheLastLeftIt) {
    serve(fastRunning);
    {
        Host first(port);
        first.say("F7 ? ");
        ASSERT_TRUE(first.hears("V007 "));
    }
    Host second(port);
    second.say("? ");
    EXPECT_TRUE(second.hears("V007 "));
    EXPECT_EQ(seen(*server, [](desk::Desk& desk) { return desk.lamp(7); }), 'F');
}

TEST_F(NetworkLine, HostThatLeavesDuringAReset_LetsGoOfRts) {
    serve(fast);
    {
        Host host(port);
        host.rts(false);
        ASSERT_TRUE(comes([&] { return seen(*server, [](desk::Desk& desk) { return desk.resets(); }) == 1; }));
    }
    EXPECT_TRUE(comes([&] { return seen(*server, [](desk::Desk& desk) { return desk.rts(); }); }));
}

TEST_F(NetworkLine, Suspended_HoldsWhatTheDeskSendsUntilResumed) {
    serve(fastRunning);
    Host host(port);
    host.tell(rfc2217::Command::flowControlSuspend);
    host.say("? W ");
    ASSERT_TRUE(comes([&] { return seen(*server, [](desk::Desk& desk) { return desk.wheelOn(); }); }));
    host.tell(rfc2217::Command::setBaudRate);  // malformed: not answered
    EXPECT_EQ(host.heard(), "");
    host.tell(rfc2217::Command::flowControlResume);
    EXPECT_TRUE(host.hears("V007 "));
}

TEST_F(NetworkLine, HostThatNeverReadsItsAnswers_BlocksOnlyItself) {
    serve(fastRunning);
    {
        Host deaf(port);
        rfc2217::Bytes questions;
        for (int i = 0; i < 100; ++i)
            rfc2217::Codec(rfc2217::Role::client)
                .appendCommand(rfc2217::Command::signature, std::span<const unsigned char>(), questions);
        deaf.flood(questions);
        server->operate([](desk::Desk& desk, desk::Time now) {
            for (int i = 0; i < 100; ++i) desk.tap('E', now);
        });
    }
    EXPECT_TRUE(comes([&] {
        Host next(port);
        next.say("? ");
        return next.hears("V007 ");
    }));
}

/// Connects, and waits as long as a generous time for that.
bool reaches(const cvhost::FileDescriptor& socket, std::uint16_t port) {
    const timeval time{.tv_sec = 60, .tv_usec = 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    address.sin_port = ::htons(port);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

TEST_F(NetworkLine, Clients_ManyBeforeTheNextRound_AllReachTheServer) {
    const lines::Rfc2217Server line;
    std::vector<cvhost::FileDescriptor> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(cvhost::owned(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
        ASSERT_TRUE(reaches(clients.back(), line.port())) << i;
    }
}

TEST_F(NetworkLine, NoDescriptorForAHost_ItWaitsWithoutTheServerSpinning) {
    lines::Rfc2217Server line;
    desk::Desk desk(fastRunning);
    Host host(line.port());
    std::vector<pollfd> waits;
    line.watchFor(waits);
    ASSERT_EQ(::poll(waits.data(), waits.size(), -1), 1);
    waits.clear();
    {
        const NoDescriptors none;
        line.service(desk, 1s);
        line.watchFor(waits);
        EXPECT_EQ(::poll(waits.data(), waits.size(), 0), 0) << "it would be serviced again and again";
    }
    ASSERT_TRUE(line.nextEvent());
    EXPECT_GT(*line.nextEvent(), 1s);
    line.service(desk, *line.nextEvent());
    EXPECT_FALSE(line.nextEvent());
    waits.clear();
    line.watchFor(waits);
    EXPECT_EQ(waits.size(), 2U) << "the listener and the host";
    line.send(std::array<unsigned char, 2>{'h', 'i'}, 2s);
    EXPECT_TRUE(host.hears("hi"));
}

TEST_F(NetworkLine, ServersEnd_ClosesTheConnection) {
    serve(fastRunning);
    Host host(port);
    host.say("? ");
    ASSERT_TRUE(host.hears("V007 "));
    server.reset();
    EXPECT_TRUE(host.turnedAway());
}

}  // namespace
