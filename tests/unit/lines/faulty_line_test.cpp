// A line that is unplugged, plugged in again, disturbed and silenced.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <bit>
#include <stdexcept>
#include <thread>

#include "lines/DeskServer.h"
#include "lines/FaultyLine.h"
#include "lines/Rfc2217Server.h"

namespace {

using namespace std::chrono_literals;
using desk::Time;
using lines::FaultyLine;
using testing::ElementsAre;

using Bytes = std::vector<unsigned char>;

constexpr Time start = 1h;

/// What the faulty line's own lines have done.
struct Record {
    int plugs = 0;       ///< tried
    bool taken = false;  ///< so that plugging in fails
    int lines = 0;       ///< that are there
    int services = 0;
    Bytes sent;
};

class RecordedLine final : public lines::Line {
public:
    explicit RecordedLine(Record& record) : m_record(record) { ++m_record.lines; }
    RecordedLine(const RecordedLine&) = delete;
    RecordedLine& operator=(const RecordedLine&) = delete;
    ~RecordedLine() override { --m_record.lines; }

    const std::string& name() const override { return m_name; }
    void watchFor(std::vector<pollfd>& waits) const override { waits.push_back({.fd = 42, .events = POLLIN, .revents = 0}); }
    void service(desk::Machine&, Time) override { ++m_record.services; }
    void send(std::span<const unsigned char> bytes, Time) override {
        m_record.sent.insert(m_record.sent.end(), bytes.begin(), bytes.end());
    }

private:
    Record& m_record;
    const std::string m_name = "line";
};

class FaultyLineTest : public testing::Test {
protected:
    std::size_t watched() const {
        std::vector<pollfd> waits;
        line.watchFor(waits);
        return waits.size();
    }
    /// What arrives of these bytes.
    Bytes arrived(const Bytes& bytes) {
        record.sent.clear();
        line.send(bytes, start);
        return record.sent;
    }

    desk::Desk desk{{.running = true}, start};
    Record record;
    FaultyLine line{[this] {
        ++record.plugs;
        if (record.taken) throw std::runtime_error("taken");
        return std::make_unique<RecordedLine>(record);
    }};
};

TEST_F(FaultyLineTest, Made_NameFree_IsPluggedIn) {
    EXPECT_EQ(line.name(), "line");
    EXPECT_EQ(record.lines, 1);
    EXPECT_EQ(watched(), 1U);
    line.service(desk, start);
    EXPECT_EQ(record.services, 1);
    EXPECT_EQ(line.nextEvent(), std::nullopt);
    EXPECT_EQ(arrived({1, 2, 3}), (Bytes{1, 2, 3}));
}

TEST(FaultyLine, Made_NameTaken_Throws) {
    EXPECT_THROW(FaultyLine([]() -> std::unique_ptr<lines::Line> { throw std::runtime_error("taken"); }),
                 std::runtime_error);
}

TEST_F(FaultyLineTest, Unplugged_WhileRtsIsLow_LetsGoOfItAndOfTheLine) {
    desk.setRts(false, start);
    line.setPlugged(false);
    line.service(desk, start);
    EXPECT_TRUE(desk.rts());
    EXPECT_EQ(record.lines, 0);
    EXPECT_EQ(watched(), 0U);
    EXPECT_EQ(arrived({1, 2, 3}), Bytes{});
    EXPECT_EQ(line.name(), "line");
    EXPECT_EQ(line.nextEvent(), std::nullopt) << "nothing is due while nobody wants it";
    line.service(desk, start + 1h);
    EXPECT_EQ(record.plugs, 1);
}

TEST_F(FaultyLineTest, Unplugged_WhileBytesAreOnTheirWay_TheyNeverArrive) {
    for (int i = 0; i < 70'000; ++i) desk.receive('x', start);
    line.setPlugged(false);
    line.service(desk, start + desk::byteTime);
    desk.advance(start + 1h);
    EXPECT_EQ(desk.received().size(), 1U);
}

TEST_F(FaultyLineTest, PluggedInAgain_NameFree_IsThereAtOnce) {
    line.setPlugged(false);
    line.service(desk, start);
    line.setPlugged(true);
    line.service(desk, start);
    EXPECT_EQ(record.lines, 1);
    EXPECT_EQ(record.services, 1);
    EXPECT_EQ(line.nextEvent(), std::nullopt);
    EXPECT_EQ(arrived({1, 2, 3}), (Bytes{1, 2, 3}));
}

TEST_F(FaultyLineTest, PluggedInAgain_NameTakenForAWhile_IsTriedUntilItIsFree) {
    line.setPlugged(false);
    line.service(desk, start);
    line.setPlugged(true);
    record.taken = true;
    Time now = start;
    line.service(desk, now);
    for (int tries = 1; tries <= 5; ++tries) {
        EXPECT_EQ(record.plugs, 1 + tries);
        const auto next = line.nextEvent();
        ASSERT_TRUE(next) << "nobody would call service() again";
        ASSERT_GT(*next, now);
        line.service(desk, *next - 1ns);
        EXPECT_EQ(record.plugs, 1 + tries) << "it is not tried all the time";
        now = *next;
        if (tries == 5) record.taken = false;
        line.service(desk, now);
    }
    EXPECT_EQ(record.lines, 1);
    EXPECT_EQ(record.services, 1);
    EXPECT_EQ(line.nextEvent(), std::nullopt);
}

TEST_F(FaultyLineTest, NameTaken_UnpluggedMeanwhile_IsNotTriedUntilPluggedInAgain) {
    line.setPlugged(false);
    line.service(desk, start);
    record.taken = true;
    line.setPlugged(true);
    line.service(desk, start);
    ASSERT_TRUE(line.nextEvent());
    line.setPlugged(false);
    EXPECT_EQ(line.nextEvent(), std::nullopt);
    line.service(desk, start + 1h);
    EXPECT_EQ(record.plugs, 2);
    record.taken = false;
    line.setPlugged(true);
    line.service(desk, start);
    EXPECT_EQ(record.lines, 1) << "at once, and not when the last try would have been due";
}

TEST_F(FaultyLineTest, Noise_On_TurnsOneBitOfSomeBytes) {
    const Bytes sent(8000, 0x55);
    line.setNoisy(true);
    const Bytes heard = arrived(sent);
    ASSERT_EQ(heard.size(), sent.size());
    int turned = 0;
    for (const unsigned char byte : heard) {
        const int bits = std::popcount(static_cast<unsigned>(byte ^ 0x55));
        ASSERT_LE(bits, 1);
        turned += bits;
    }
    EXPECT_GT(turned, 800);
    EXPECT_LT(turned, 1200);
    line.setNoisy(false);
    EXPECT_EQ(arrived(sent), sent);
}

TEST_F(FaultyLineTest, Silence_On_LetsNothingThroughUntilOff) {
    line.setSilent(true);
    line.service(desk, start);
    EXPECT_EQ(record.services, 1) << "the host is still heard";
    EXPECT_EQ(arrived({1, 2, 3}), Bytes{});
    line.setSilent(false);
    EXPECT_THAT(arrived({4}), ElementsAre(4));
}

/// Listens on a port of 127.0.0.1, or on any; nothing to listen with when it cannot.
cvhost::FileDescriptor listening(std::uint16_t port) {
    cvhost::FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool bound = ::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    return bound && ::listen(socket.get(), 1) == 0 ? std::move(socket) : cvhost::FileDescriptor();
}

/// Whether `condition` comes to hold.
template <class Condition>
bool comes(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

TEST(FaultyLine, ServedDesk_PortTakenForAWhile_ComesBackByItself) {
    std::atomic<std::uint16_t> port = 0;
    std::atomic<int> tried = 0, made = 0;
    auto faulty = std::make_unique<FaultyLine>([&] {
        ++tried;
        auto server = std::make_unique<lines::Rfc2217Server>("127.0.0.1", port);
        port = server->port();
        ++made;
        return server;
    });
    FaultyLine& line = *faulty;
    lines::DeskServer server({.running = true}, std::move(faulty));
    const auto plug = [&](bool plugged) { server.operate([&](desk::Desk&, Time) { line.setPlugged(plugged); }); };
    plug(false);
    cvhost::FileDescriptor other;
    ASSERT_TRUE(comes([&] { return static_cast<bool>(other = listening(port)); }));
    plug(true);
    EXPECT_TRUE(comes([&] { return tried >= 3; })) << "it was tried " << tried << " times";
    EXPECT_EQ(made, 1);
    other = cvhost::FileDescriptor();
    EXPECT_TRUE(comes([&] { return made == 2; }));
}

}  // namespace
