// The lines that carry a desk, on real sockets and pseudo-terminals. Every wait ends by its condition; the limits are there
// for the day when something is broken.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "lines/DeskServer.h"
#include "lines/Pty.h"
#include "lines/Rfc2217Server.h"
#include "rfc2217/Codec.h"

namespace {

using namespace std::chrono_literals;
using lines::DeskServer;
using lines::FileDescriptor;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

constexpr auto limit = 20s;

/// All that a host says when it ends, in one go: lamps, which must not be lit, and the wheel.
std::string farewell() {
    std::string text;
    for (int lamp = 1; lamp <= 46; ++lamp) text += 'O' + std::to_string(lamp) + ' ';
    return text + "X O4 ";
}

std::string received(const desk::Desk& desk) {
    std::string text;
    for (const desk::TimedByte& byte : desk.received()) text += static_cast<char>(byte.byte);
    return text;
}

constexpr desk::Options fast{.unpaced = true, .bootTime = 1ms, .startTime = 1ms};
constexpr desk::Options fastRunning{.running = true, .unpaced = true, .bootTime = 1ms, .startTime = 1ms};

/// Whether `condition` comes to hold.
template <class Condition>
bool comes(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

template <class Look>
auto seen(DeskServer& server, Look look) {
    decltype(look(std::declval<desk::Desk&>())) result{};
    server.operate([&](desk::Desk& desk, desk::Time) { result = look(desk); });
    return result;
}

bool booted(DeskServer& server) {
    return comes([&] { return seen(server, [](desk::Desk& desk) { return !desk.nextEvent(); }); });
}

bool readable(const FileDescriptor& descriptor) {
    pollfd wait{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return ::poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(limit).count())) == 1;
}

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
    {
        Host host(port);
        host.say(farewell());
    }
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
bool reaches(const lines::FileDescriptor& socket, std::uint16_t port) {
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
    std::vector<lines::FileDescriptor> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(lines::owned(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
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

class PtyLine : public testing::Test {
protected:
    PtyLine() {
        std::string name = (std::filesystem::temp_directory_path() / "desk-lines-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        link = folder / "desk";
    }
    ~PtyLine() override { std::filesystem::remove_all(folder); }

    FileDescriptor open() const { return FileDescriptor(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)); }

    static void say(const FileDescriptor& port, std::string_view text) {
        EXPECT_EQ(::write(port.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// The next `count` bytes; fewer when no more come.
    static std::string hear(const FileDescriptor& port, std::size_t count) {
        std::string text;
        std::array<char, 4096> bytes;
        while (text.size() < count && readable(port)) {
            const ssize_t got = ::read(port.get(), bytes.data(), std::min(bytes.size(), count - text.size()));
            if (got <= 0) break;
            text.append(bytes.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

    std::filesystem::path folder, link;
};

TEST_F(PtyLine, Link_LeadsToTheTerminalAndGoesWithIt) {
    {
        const lines::Pty pty(link);
        EXPECT_EQ(pty.name(), link);
        EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
    }
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(PtyLine, StaleLink_IsReplaced) {
    std::filesystem::create_symlink("/nowhere", link);
    const lines::Pty pty(link);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, LinkOfADeskThatRuns_IsLeftAloneAndTheReasonGiven) {
    const lines::Pty first(link);
    EXPECT_THAT([&] { lines::Pty{link}; },
                Throws<std::system_error>(Property(&std::system_error::code, std::errc::file_exists)));
    EXPECT_EQ(std::filesystem::read_symlink(link), first.device());
}

TEST_F(PtyLine, LinkToAFile_IsLeftAlone) {
    const std::filesystem::path file = folder / "file";
    std::filesystem::create_symlink(file, link);
    std::ofstream(file) << "younger than the link";
    EXPECT_THROW(lines::Pty{link}, std::system_error);
    EXPECT_EQ(std::filesystem::read_symlink(link), file);
}

TEST_F(PtyLine, LinkWhoseTerminalsNumberIsAnothersNow_IsReplaced) {
    const auto newTerminal = [] { return lines::owned(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "no terminal"); };
    FileDescriptor terminal;
    do {  // until no other program takes the number
        std::filesystem::remove(link);
        terminal = newTerminal();
        const std::string killed = ::ptsname(terminal.get());
        std::filesystem::create_symlink(killed, link);
        terminal.reset();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // files' times go by the timer's tick
        terminal = newTerminal();
    } while (std::filesystem::read_symlink(link) != ::ptsname(terminal.get()));
    const lines::Pty pty(link);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, HungUp_LeadsToANewTerminalUnderTheSameName) {
    lines::Pty pty(link);
    const std::string before = pty.device();
    pty.hangUp();
    EXPECT_NE(pty.device(), before);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, OtherFile_IsLeftAloneAndTheReasonGiven) {
    std::ofstream(link) << "precious";
    try {
        lines::Pty pty(link);
        FAIL() << "made a link over a file";
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("cannot make the link " + link.string()));
    }
    EXPECT_EQ(std::filesystem::file_size(link), 8U);
}

TEST_F(PtyLine, LinkTakenOverByAnother_IsLeftToIt) {
    {
        const lines::Pty pty(link);
        std::filesystem::remove(link);
        std::filesystem::create_symlink("/elsewhere", link);
    }
    EXPECT_EQ(std::filesystem::read_symlink(link), "/elsewhere");
}

TEST_F(PtyLine, EveryByteValue_PassesUnchanged) {
    DeskServer server(fast, std::make_unique<lines::Pty>(link));
    ASSERT_TRUE(booted(server)) << "its prompt goes to nobody";
    const FileDescriptor port = open();
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\r') all += static_cast<char>(byte);
    say(port, all);
    EXPECT_EQ(hear(port, all.size()), all);
}

TEST_F(PtyLine, FarewellAtOnce_ArrivesWholeAfterTheHostHasClosed) {
    DeskServer server({.running = true}, std::make_unique<lines::Pty>(link));
    say(open(), farewell());
    EXPECT_TRUE(comes([&] { return seen(server, received) == farewell(); })) << seen(server, received);
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.lostInput(); }), 0U);
}

TEST_F(PtyLine, HostAfterHost_FindsTheProgramRunning) {
    DeskServer server(fast, std::make_unique<lines::Pty>(link));
    ASSERT_TRUE(booted(server));
    {
        const FileDescriptor first = open();
        say(first, "J 0100 0\r");
        ASSERT_EQ(hear(first, 11), "J 0100 0\r\r\n");
        say(first, "? F9 ");
        ASSERT_EQ(hear(first, 5), "V007 ");
    }
    const FileDescriptor second = open();
    say(second, "J 0100 0\rF2      ? ");
    EXPECT_EQ(hear(second, 5), "V007 ");
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.lamp(9); }), 'F');
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.resets(); }), 0U);
}

TEST_F(PtyLine, WhatIsSentWhileNobodyListens_IsLost) {
    DeskServer server(fastRunning, std::make_unique<lines::Pty>(link));
    const auto tap = [&](char key) {
        server.operate([key](desk::Desk& desk, desk::Time now) { desk.tap(key, now); });
        return comes([&] { return seen(server, [](desk::Desk& desk) { return !desk.nextEvent(); }); });
    };
    ASSERT_TRUE(tap('A'));
    {
        const FileDescriptor port = open();
        say(port, "? ");
        EXPECT_EQ(hear(port, 5), "V007 ");
    }
    ASSERT_TRUE(tap('B'));
    const FileDescriptor port = open();
    say(port, "? ");
    EXPECT_EQ(hear(port, 5), "V007 ");
}

}  // namespace
