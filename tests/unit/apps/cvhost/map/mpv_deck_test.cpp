// The deck and an mpv that is made of a socket: it comes, goes, hangs, and says what no mpv says.
#include "apps/cvhost/map/MpvDeck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/cvhost/map/MpvSocket.h"
#include "apps/cvhost/map/Target.h"
#include "tests/unit/apps/cvhost/map/MapRig.h"

using namespace cvhost::map;
using namespace std::chrono_literals;
using map_test::oneFrame;
using map_test::playKey;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

namespace {

using Json = nlohmann::json;

constexpr auto generous = std::chrono::minutes(1);
constexpr int markIn = 9;

void waitFor(const cvhost::FileDescriptor& socket) {
    pollfd waited{socket.get(), POLLIN, 0};
    if (::poll(&waited, 1, std::chrono::milliseconds(generous).count()) <= 0) throw std::runtime_error("nothing comes");
}

/// mpv's end of one connection.
class Connection {
public:
    explicit Connection(cvhost::FileDescriptor socket) : m_socket(std::move(socket)) {}

    /// The next command, without its envelope; nothing at the end. It is answered.
    std::optional<std::string> command() {
        while (true) {
            if (const std::size_t end = m_unread.find('\n'); end != m_unread.npos) {
                const Json line = Json::parse(m_unread.substr(0, end));
                m_unread.erase(0, end + 1);
                if (m_answers) answer(line.at("request_id"));
                return line.at("command").dump();
            }
            waitFor(m_socket);
            char bytes[4096];
            const ssize_t got = ::recv(m_socket.get(), bytes, sizeof bytes, 0);
            if (got <= 0) return std::nullopt;
            m_unread.append(bytes, static_cast<std::size_t>(got));
        }
    }
    /// As many commands.
    std::vector<std::string> commands(int number) {
        std::vector<std::string> all;
        while (number-- > 0) all.push_back(command().value_or("the end"));
        return all;
    }
    /// What comes until the deck has closed its end.
    std::vector<std::string> rest() {
        std::vector<std::string> all;
        while (auto next = command()) all.push_back(*next);
        return all;
    }
    void say(const std::string& text) {
        ASSERT_EQ(::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    void say(const char* property, const Json& value) {
        say(Json{{"event", "property-change"}, {"name", property}, {"data", value}}.dump() + '\n');
    }
    void openFilm() {
        say("duration", 40.0);
        say("container-fps", 25.0);
        say("time-pos", 4.0);
    }
    void answerNothing() { m_answers = false; }
    void close() { m_socket.reset(); }

private:
    void answer(const Json& request) {
        const std::string text = Json{{"request_id", request}, {"error", "success"}}.dump() + '\n';
        ::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);  // the deck may have gone
    }

    bool m_answers = true;
    cvhost::FileDescriptor m_socket;
    std::string m_unread;
};

/// The commands that a deck sends first.
const int greetings = [] {
    const std::string greeting = Film().takeCommands();
    return static_cast<int>(std::ranges::count(greeting, '\n'));
}();

class MpvDeckTest : public testing::Test {
protected:
    ~MpvDeckTest() override {
        endDeck();
        std::filesystem::remove(m_path);
    }

    void startMpv() {
        std::filesystem::remove(m_path);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::ranges::copy(m_path, address.sun_path);
        m_listener = cvhost::owned(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
        ASSERT_EQ(::bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << m_path;
        ASSERT_EQ(::listen(m_listener.get(), 1), 0);
    }
    void endMpv() { m_listener.reset(); }
    Connection accept() {
        waitFor(m_listener);
        return Connection(cvhost::owned(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
    }
    /// A connection whose greeting has been read.
    Connection greet() {
        Connection connection = accept();
        for (const std::string& command : connection.commands(greetings)) {
            EXPECT_THAT(command, testing::AnyOf(HasSubstr("observe_property"), HasSubstr("keyup")));
        }
        return connection;
    }
    void startDeck(std::unique_ptr<MpvLink> link = nullptr) {
        if (!link) link = std::make_unique<MpvSocket>(m_path);
        m_deck.emplace(std::move(link), [this] {
            const std::lock_guard lock(m_mutex);
            m_changed.notify_all();
        });
    }
    void endDeck() { m_deck.reset(); }
    template <class Condition>
    bool becomes(Condition condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, generous, condition);
    }
    bool becomesConnected(bool connected) {
        return becomes([=, this] { return m_deck->connected() == connected; });
    }
    bool becomesFrame(std::int64_t frame) {
        return becomes([=, this] { return m_deck->view().state.frame == frame; });
    }

    const std::string m_path = testing::TempDir() + "mpv_deck_" + std::to_string(::getpid());
    cvhost::FileDescriptor m_listener;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<MpvDeck> m_deck;
};

/// Hands out prepared sockets, then none. Counts the attempts.
class PreparedLink final : public MpvLink {
public:
    PreparedLink(std::vector<cvhost::FileDescriptor> sockets, std::optional<std::chrono::milliseconds> delay,
                 std::atomic<int>& attempts)
        : m_sockets(std::move(sockets)), m_delay(delay), m_attempts(attempts) {}

    cvhost::FileDescriptor connect() override {
        ++m_attempts;
        if (m_sockets.empty()) return {};
        cvhost::FileDescriptor socket = std::move(m_sockets.back());
        m_sockets.pop_back();
        return socket;
    }
    std::optional<std::chrono::milliseconds> retryDelay() const override { return m_delay; }

private:
    std::vector<cvhost::FileDescriptor> m_sockets;
    const std::optional<std::chrono::milliseconds> m_delay;
    std::atomic<int>& m_attempts;
};

struct Sockets {
    cvhost::FileDescriptor deck;
    cvhost::FileDescriptor mpv;
};

Sockets socketPair() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) throw std::bad_alloc();
    return {cvhost::FileDescriptor(ends[0]), cvhost::FileDescriptor(ends[1])};
}

std::vector<cvhost::FileDescriptor> only(cvhost::FileDescriptor socket) {
    std::vector<cvhost::FileDescriptor> sockets;
    sockets.push_back(std::move(socket));
    return sockets;
}

}  // namespace

TEST(MpvSocket, New_PathThatNoSocketCanHave_IsRefused) {
    EXPECT_THROW(MpvSocket(""), TargetFailure);
    EXPECT_THROW(MpvSocket(std::string(108, 'a')), TargetFailure);
    EXPECT_FALSE(MpvSocket(std::string(107, 'a')).connect());
}

TEST_F(MpvDeckTest, New_MpvIsThere_IsConnectedAndWorksIt) {
    startMpv();
    startDeck();
    EXPECT_TRUE(m_deck->connected());
    Connection mpv = greet();
    mpv.openFilm();
    EXPECT_TRUE(becomesFrame(100));
    m_deck->jog(oneFrame);
    EXPECT_THAT(mpv.command(), Optional(HasSubstr("4.04")));
    m_deck->press(5, "x");
    m_deck->tap("\"],[\"run\",\"y");
    m_deck->release(5);
    EXPECT_THAT(mpv.commands(3),
                ElementsAre(R"(["keydown","x"])", R"(["keypress","\"],[\"run\",\"y"])", R"(["keyup","x"])"));
    EXPECT_FALSE(m_deck->ended());
}

TEST_F(MpvDeckTest, New_MpvComesLater_IsFoundAndGetsNothingFromBefore) {
    startDeck();
    EXPECT_FALSE(m_deck->connected());
    m_deck->key(playKey);
    m_deck->key(markIn);
    m_deck->jog(5 * oneFrame);
    m_deck->press(1, "x");
    m_deck->tap("y");
    startMpv();
    Connection mpv = greet();
    EXPECT_TRUE(becomesConnected(true));
    EXPECT_EQ(m_deck->view().state.markIn, std::nullopt);
    mpv.openFilm();
    EXPECT_TRUE(becomesFrame(100));
    m_deck->release(1);
    m_deck->tap("z");
    EXPECT_EQ(mpv.command(), R"(["keypress","z"])");
}

TEST_F(MpvDeckTest, MpvGoes_ComesBack_BeginsAnew) {
    startMpv();
    startDeck();
    Connection first = greet();
    first.openFilm();
    // The next mpv's first line must not end the line that this one has begun.
    first.say(R"({"event":"property-change","name":"pause","data":false})"
              "\n"
              R"({"event":"prop)");
    EXPECT_TRUE(becomes([this] { return m_deck->view().state.speed == 1024; }));
    m_deck->key(markIn);
    m_deck->press(1, "x");
    m_deck->jog(oneFrame);
    endMpv();
    first.close();
    EXPECT_TRUE(becomesConnected(false));
    EXPECT_EQ(m_deck->view().state, cvhost::transport::State{});
    EXPECT_FALSE(m_deck->ended());
    startMpv();
    Connection second = accept();
    second.answerNothing();
    second.commands(greetings);
    second.openFilm();
    second.say("pause", true);
    EXPECT_TRUE(becomesFrame(100));
    m_deck->release(1);
    m_deck->jog(2 * oneFrame);
    EXPECT_THAT(second.command(), Optional(HasSubstr("4.08")));
}

TEST_F(MpvDeckTest, MpvGoes_RingIsTurned_TheSameSpeedAgainDoesNothing) {
    startMpv();
    startDeck();
    Connection first = greet();
    endMpv();
    first.close();
    EXPECT_TRUE(becomesConnected(false));
    m_deck->shuttle(512);
    startMpv();
    Connection mpv = greet();
    EXPECT_TRUE(becomesConnected(true));
    m_deck->shuttle(512);
    m_deck->tap("x");
    EXPECT_EQ(mpv.command(), R"(["keypress","x"])");
    m_deck->shuttle(2048);
    EXPECT_EQ(mpv.command(), R"(["set_property","speed",2.0])");
}

TEST_F(MpvDeckTest, MpvGoes_EachTimeAtOnce_IsTriedAgain) {
    startMpv();
    startDeck();
    for (int i = 0; i < 3; ++i) accept().close();
    greet();
}

TEST_F(MpvDeckTest, MpvSays_WhatCannotBeRead_GoesOn) {
    startMpv();
    startDeck();
    Connection mpv = greet();
    mpv.say(std::string("\0\xff{[\n\n}\n", 8) + std::string(60'000, '[') + "\n{\"event\":");
    mpv.say("\"none\"}\n");
    mpv.openFilm();
    EXPECT_TRUE(becomesFrame(100));
}

TEST_F(MpvDeckTest, MpvSays_ALineWithoutAnEnd_IsLeftAndFoundAgain) {
    startMpv();
    startDeck();
    Connection first = greet();
    m_deck->press(1, "x");
    EXPECT_EQ(first.command(), R"(["keydown","x"])");
    first.say(std::string(70'000, 'a'));
    EXPECT_THAT(first.rest(), ElementsAre(R"(["keyup","x"])"));
    first.close();
    Connection second = greet();
    second.openFilm();
    EXPECT_TRUE(becomesFrame(100));
}

TEST_F(MpvDeckTest, MpvHangs_ManyRequests_TheNewestAndTheReleaseWait) {
    startMpv();
    startDeck();
    Connection mpv = greet();
    mpv.openFilm();
    EXPECT_TRUE(becomesFrame(100));
    m_deck->press(1, "x");
    EXPECT_EQ(mpv.command(), R"(["keydown","x"])");
    for (int i = 0; i < 400; ++i) m_deck->tap("y");
    for (int i = 0; i < 500; ++i) m_deck->jog(oneFrame);
    EXPECT_EQ(m_deck->view().state.frame, 600);
    bool released = false;
    std::string last;
    for (int i = 0; i < 400 && last.find("24.0") == last.npos; ++i) {
        last = *mpv.command();
        released = released || last == R"(["keyup","x"])";
        if (last.find("seek") != last.npos) mpv.say("{\"event\":\"playback-restart\"}\n");
    }
    EXPECT_THAT(last, HasSubstr("24.0"));
    m_deck->press(1, "x");
    while (last.find("key") == last.npos || last.find("keypress") != last.npos) last = *mpv.command();
    EXPECT_EQ(last, released ? R"(["keydown","x"])" : R"(["keyup","x"])");
}

/// A socket that is full after few commands.
Sockets smallPair() {
    Sockets sockets = socketPair();
    const int least = 0;
    ::setsockopt(sockets.deck.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    return sockets;
}

TEST_F(MpvDeckTest, MpvReadsNothing_RingIsTurned_TheLastSpeedComesAfterwards) {
    std::atomic<int> attempts = 0;
    Sockets sockets = smallPair();
    startDeck(std::make_unique<PreparedLink>(only(std::move(sockets.deck)), 24h, attempts));
    for (int speed = 1; speed < 2000; ++speed) m_deck->shuttle(speed);
    m_deck->shuttle(2048);
    Connection mpv(std::move(sockets.mpv));
    mpv.answerNothing();
    std::string last;
    while (last != R"(["set_property","speed",2.0])") last = *mpv.command();
}

TEST_F(MpvDeckTest, End_KeysHeld_AreReleasedBeforeTheSocketCloses) {
    startMpv();
    startDeck();
    Connection mpv = greet();
    m_deck->press(1, "x");
    m_deck->press(2, "y");
    mpv.commands(2);
    std::thread end([this] { endDeck(); });
    EXPECT_THAT(mpv.rest(), ElementsAre(R"(["keyup","x"])", R"(["keyup","y"])"));
    mpv.close();
    end.join();
}

TEST_F(MpvDeckTest, End_MpvStillWrites_ItCanReadTheReleaseAfterwards) {
    startMpv();
    startDeck();
    Connection mpv = greet();
    m_deck->press(1, "x");
    mpv.command();
    std::thread end([this] { endDeck(); });
    mpv.openFilm();
    EXPECT_EQ(mpv.command(), R"(["keyup","x"])");
    mpv.say(std::string(100'000, ' ') + '\n');  // the deck still reads
    EXPECT_EQ(mpv.command(), std::nullopt);
    mpv.close();
    end.join();
}

TEST_F(MpvDeckTest, End_MpvReadsNothing_EndsAllTheSame) {
    std::atomic<int> attempts = 0;
    Sockets sockets = smallPair();
    startDeck(std::make_unique<PreparedLink>(only(std::move(sockets.deck)), 24h, attempts));
    for (int speed = 1; speed < 2000; ++speed) m_deck->shuttle(speed);
    m_deck->press(1, "x");
    endDeck();
    EXPECT_EQ(attempts, 1);
}

TEST_F(MpvDeckTest, End_MpvIsNotThere_Ends) {
    startDeck();
    m_deck->press(1, "x");
    endDeck();
}

TEST_F(MpvDeckTest, MpvIsNotThere_HandsAreBusy_NoAttemptIsMadeBeforeItsTime) {
    std::atomic<int> attempts = 0;
    Sockets sockets = socketPair();
    sockets.mpv.reset();
    startDeck(std::make_unique<PreparedLink>(only(std::move(sockets.deck)), 24h, attempts));
    EXPECT_TRUE(becomesConnected(false));
    for (int i = 0; i < 1000; ++i) m_deck->jog(oneFrame);
    endDeck();
    EXPECT_EQ(attempts, 1);
}

TEST_F(MpvDeckTest, Child_Goes_TheDeckHasEndedAndKeepsItsView) {
    std::atomic<int> attempts = 0;
    Sockets sockets = socketPair();
    startDeck(std::make_unique<PreparedLink>(only(std::move(sockets.deck)), std::nullopt, attempts));
    EXPECT_TRUE(m_deck->connected());
    Connection mpv(std::move(sockets.mpv));
    mpv.openFilm();
    EXPECT_TRUE(becomesFrame(100));
    m_deck->press(1, "x");
    mpv.close();
    EXPECT_TRUE(becomes([this] { return m_deck->ended(); }));
    m_deck->jog(oneFrame);
    EXPECT_EQ(m_deck->view().state.frame, 100);
    EXPECT_FALSE(m_deck->connected());
    endDeck();
    EXPECT_EQ(attempts, 1);
}
