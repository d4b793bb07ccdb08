// With a map in force, a recording and a client of the control socket, the thread that receives the console's bytes asks for
// no memory.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/control/Exchange.h"
#include "apps/cvhost/control/Listener.h"
#include "apps/cvhost/control/Server.h"
#include "apps/cvhost/map/Mapping.h"
#include "apps/cvhost/map/MpvTarget.h"
#include "apps/cvhost/map/OscTarget.h"
#include "apps/cvhost/report/TextReport.h"
#include "apps/cvhost/run/EventQueue.h"
#include "apps/cvhost/run/RunMonitor.h"
#include "apps/recording/Recorder.h"
#include "tests/support/OscProgram.h"
#include "tests/support/ValueConsole.h"

namespace {

/// Of each thread by itself.
thread_local long t_allocations = 0;

void* take(std::size_t bytes) {
    ++t_allocations;
    void* memory = std::malloc(bytes == 0 ? 1 : bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t bytes) { return take(bytes); }
void* operator new[](std::size_t bytes) { return take(bytes); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace cvhost::map;

/// In the keyboard's place, which needs the kernel's leave. It may hang.
class Nothing final : public Target {
public:
    void take(const Action&) override { m_hanging.wait(true); }
    void hang(bool hanging) {
        m_hanging = hanging;
        m_hanging.notify_all();
    }

private:
    std::atomic<bool> m_hanging = false;
};

/// An mpv that never answers.
class SilentMpv final : public MpvLink {
public:
    cvhost::FileDescriptor connect() override {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
        m_end = cvhost::FileDescriptor(ends[1]);
        return cvhost::FileDescriptor(ends[0]);
    }
    std::optional<std::chrono::milliseconds> retryDelay() const override { return std::nullopt; }

private:
    cvhost::FileDescriptor m_end;
};

/// A client of the control socket that reads all that it can get.
class Client {
public:
    explicit Client(const std::string& path) : m_socket(cvhost::control::connectTo(path, SOCK_CLOEXEC)) {
        constexpr std::string_view subscribe =
            R"({"do":"subscribe","events":["key","released","handler","playhead","wire"]})"
            "\n";
        EXPECT_EQ(::send(m_socket.get(), subscribe.data(), subscribe.size(), MSG_NOSIGNAL), ssize_t{subscribe.size()});
        m_thread = std::thread([this] { read(); });
        waitFor("done", 1);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() {
        ::shutdown(m_socket.get(), SHUT_RDWR);
        m_thread.join();
    }

    /// Waits until so many events of that name have come, or no more will.
    void waitFor(std::string_view name, long count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_ended || countOf(name) >= count; });
        EXPECT_EQ(countOf(name), count) << name;
    }

private:
    long countOf(std::string_view name) const {
        const auto found = m_counts.find(name);
        return found == m_counts.end() ? 0 : found->second;
    }
    void read() {
        constexpr std::string_view head = "\"event\":\"";
        std::array<char, 4096> bytes{};
        std::string text;
        for (ssize_t got = 0; (got = ::recv(m_socket.get(), bytes.data(), bytes.size(), 0)) > 0;) {
            text.append(bytes.data(), static_cast<std::size_t>(got));
            const std::lock_guard lock(m_mutex);
            for (std::size_t end = 0; (end = text.find('\n')) != text.npos; text.erase(0, end + 1)) {
                const std::size_t begin = text.find(head) + head.size();
                ++m_counts[text.substr(begin, text.find('"', begin) - begin)];
            }
            m_changed.notify_all();
        }
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }

    const cvhost::FileDescriptor m_socket;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, long, std::less<>> m_counts;
    bool m_ended = false;
    std::thread m_thread;
};

class MapMemory : public testing::Test {
protected:
    MapMemory() { m_monitor.watchKeys(&m_console); }
    ~MapMemory() override {
        for (const std::string& path : {m_path, m_recording}) std::filesystem::remove(path);
    }

    OpenMap open(const std::string& text) const {
        std::ofstream(m_path) << text;
        return openMap(m_path);
    }
    void start(OpenMap map, std::unique_ptr<Target> target) {
        m_mapping = std::make_unique<Mapping>(std::move(map), [&](const Application&) { return std::move(target); });
        EXPECT_TRUE(m_mapping->startTarget().empty());
        m_monitor.addFirst(std::ref(*m_mapping));
    }
    void record() {
        const int file = ::open(m_recording.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        m_monitor.addFirst(std::ref(m_recorder.emplace(file, "test")));
    }
    void serve() {
        m_monitor.addFirst(std::ref(m_exchange.emplace(common::RunClock(), true, [] {})));
        m_server.emplace(m_control,
                         cvhost::control::Server::Stage{
                             .start = {}, .exchange = *m_exchange, .claim = [](const cvhost::control::Codes&) {}});
        m_client.emplace(m_control);
    }
    long linesRecorded(std::string_view kind) const {
        std::ifstream file(m_recording);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        const std::string wanted = "\"event\":\"" + std::string(kind) + '"';
        long lines = 0;
        for (std::size_t at = 0; (at = text.find(wanted, at)) != text.npos; ++at) ++lines;
        return lines;
    }
    void pass(cvhost::Direction direction, std::string_view bytes) {
        m_monitor(
            cvhost::LineBytes{direction, std::span(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())});
    }
    void handle(char byte) {
        pass(cvhost::Direction::receive, {&byte, 1});
        m_monitor(cvhost::ByteHandled{static_cast<unsigned char>(byte)});
    }
    /// As a key's handler sets it.
    void setLamp(bool on) {
        const std::array arguments{5, on ? int{'F'} : int{'O'}};
        m_monitor(cvhost::ConsoleCall{"lamp_set", arguments});
        pass(cvhost::Direction::transmit, on ? "F5 " : "O5 ");
    }
    void key(char letter) {
        const int code = common::keyCode(letter);
        handle(letter);
        m_console.down.insert(code);  // asks for memory, and is no part of the host
        m_monitor(cvhost::KeyQueued{.code = code, .handled = false, .flags = 0});
        handle(' ');
    }
    void release(char letter) {
        m_console.down.erase(common::keyCode(letter));
        handle(letter);
        handle('U');
        handle(' ');
    }
    void run(int code, int speed, double jog) {
        m_monitor(cvhost::HandlerRun{.code = code, .speed = speed, .jog = 0, .jogExact = jog, .wheelEnabled = true});
    }
    /// What a hand does in a minute or two; the allocations on this thread, after the first rounds.
    long work() {
        long before = t_allocations;
        long console = 0;
        for (int round = 0; round < rounds; ++round) {
            workOnce(round, console);
            if (round < firstRounds) before = t_allocations - console;
        }
        return t_allocations - before - console;
    }
    /// `console` counts what the console asks for.
    void workOnce(int round, long& console) {
        for (const char letter : {'H', 'E', 'F', 'I'}) {
            key(letter);
            ++console;
        }
        run(common::keys::ring, round * 97 % 8192 - 4096, 0);
        run(common::keys::wheel, 0, round % 40 - 20);
        setLamp(round % 2 == 0);
        for (const char letter : {'E', 'H', 'I', 'F'}) release(letter);
        if (m_client && round % 20 == 0) m_client->waitFor("key", 4 * (round + 1));  // a slower one would be disconnected
    }

    static constexpr int rounds = 2000;
    static constexpr int firstRounds = 10;  ///< their bytes are the port's first, which are kept for the start-up's advice
    const std::string m_stem = testing::TempDir() + "map_memory_test_" + std::to_string(::getpid());
    const std::string m_path = m_stem + ".toml";
    const std::string m_recording = m_stem + ".jsonl";
    const std::string m_control = m_stem + ".socket";
    ValueConsole m_console;
    std::unique_ptr<Mapping> m_mapping;
    const cvhost::FileDescriptor m_nowhere = cvhost::owned(::open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null");
    common::LineWriter m_output{m_nowhere.get(), {.missing = [](std::size_t) { return std::string(); }, .broken = [] {}}};
    cvhost::report::TextReport m_report{m_output, {}, {.colour = true, .wire = true}};
    cvhost::run::EventQueue m_queue{{std::ref(m_report)}, [](const cvhost::Event&) { return true; }, [](std::size_t) {}};
    std::optional<recording::Recorder> m_recorder;
    std::optional<cvhost::control::Exchange> m_exchange;
    cvhost::run::RunMonitor m_monitor{{std::ref(m_queue)}, [] {}};
    std::optional<cvhost::control::Server> m_server;
    std::optional<Client> m_client;
};

const std::string layer = "[layer.other]\nheld = 'H'\n";

}  // namespace

TEST_F(MapMemory, Keys_KeysRingAndWheel_NoneAsked) {
    auto target = std::make_unique<Nothing>();
    Nothing& nothing = *target;
    start(open("target = 'keys'\n[keys]\nE = 'ctrl+shift+z'\nF = { tap = ['k', 'l'] }\nI = 'shift'\n"
               "[ring]\ncentre = 'k'\nsteps = [0.5, 2]\nforward = 'l'\nbackward = 'j'\n[wheel]\nscroll = 'up'\n" +
               layer + "keys = { E = 'x' }\n"),
          std::move(target));
    EXPECT_EQ(work(), 0);
    nothing.hang(true);
    EXPECT_EQ(work(), 0);
    nothing.hang(false);
}

TEST_F(MapMemory, Mpv_KeysRingAndWheel_NoneAsked) {
    MpvDeck deck(std::make_unique<SilentMpv>(), [] {});
    start(open("target = 'mpv'\n[keys]\nE = 'Ctrl+PGDWN'\nF = { tap = ['s', 'play'] }\nI = 'a'\n[ring]\nspeed = 1\n"
               "[wheel]\nframes = 1\n" +
               layer + "keys = { E = 'x' }\nwheel = { forward = 'c', backward = 'd' }\n"),
          std::make_unique<MpvTarget>(deck));
    EXPECT_EQ(work(), 0);
    m_mapping->end();
}

TEST_F(MapMemory, Osc_KeysRingAndWheel_NoneAsked) {
    const OscProgram program;
    OpenMap map = open("target = 'osc'\nport = " + std::to_string(program.port()) +
                       "\n[keys]\nE = '/an/address/that/is/long'\nF = { tap = ['/jump', 1, 0.5, 'text'] }\nI = '/i'\n"
                       "[ring]\nspeed = 1\nsend = '/speed'\n[wheel]\nsend = '/jog'\n" +
                       layer + "keys = { E = '/x' }\n");
    auto target = std::make_unique<OscTarget>(map.map.application, [] {});
    start(std::move(map), std::move(target));
    EXPECT_EQ(work(), 0);
}

TEST_F(MapMemory, Recording_KeysRingAndWheel_NoneAsked) {
    record();
    EXPECT_EQ(work(), 0);
    EXPECT_EQ(linesRecorded("key"), 4 * rounds);
    EXPECT_EQ(linesRecorded("rx"), 20 * rounds);
    EXPECT_EQ(linesRecorded("tx"), rounds);
    EXPECT_EQ(linesRecorded("call"), rounds);
}

TEST_F(MapMemory, ClientOfTheControlSocket_KeysRingAndWheel_NoneAsked) {
    serve();
    EXPECT_EQ(work(), 0);
    m_client->waitFor("key", 4 * rounds);
    m_client->waitFor("handler", 2 * rounds);
    m_client->waitFor("wire", 21 * rounds);
    m_client->waitFor("released", 4 * rounds);
}
