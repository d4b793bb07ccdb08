// With a map in force, the thread that receives the console's bytes asks for no memory.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <string>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/map/Mapping.h"
#include "apps/cvhost/map/MpvTarget.h"
#include "apps/cvhost/map/OscTarget.h"
#include "apps/cvhost/report/TextReport.h"
#include "apps/cvhost/run/EventQueue.h"
#include "apps/cvhost/run/RunMonitor.h"
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

class MapMemory : public testing::Test {
protected:
    MapMemory() { m_monitor.watchKeys(&m_console); }
    ~MapMemory() override { std::filesystem::remove(m_path); }

    OpenMap open(const std::string& text) const {
        std::ofstream(m_path) << text;
        return openMap(m_path);
    }
    void start(OpenMap map, std::unique_ptr<Target> target) {
        m_mapping = std::make_unique<Mapping>(std::move(map), [&](const Application&) { return std::move(target); });
        EXPECT_TRUE(m_mapping->startTarget().empty());
        m_monitor.addFirst(std::ref(*m_mapping));
    }
    void handle(char byte) { m_monitor(cvhost::ByteHandled{static_cast<unsigned char>(byte)}); }
    void key(char letter) {
        const int code = common::keyCode(letter);
        handle(letter);
        m_console.down.insert(code);  // asks for memory, and is no part of the host
        m_monitor(cvhost::KeyQueued{.code = code, .handled = false, .flags = 0});
        handle(' ');
    }
    void release(char letter) {
        m_console.down.erase(common::keyCode(letter));
        handle(' ');
    }
    void run(int code, int speed, double jog) {
        m_monitor(cvhost::HandlerRun{.code = code, .speed = speed, .jog = 0, .jogExact = jog, .wheelEnabled = true});
    }
    /// What a hand does in a minute or two; the allocations on this thread.
    long work() {
        const long before = t_allocations;
        long console = 0;
        for (int i = 0; i < 2000; ++i) {
            for (const char letter : {'H', 'E', 'F', 'I'}) {
                key(letter);
                ++console;
            }
            run(common::keys::ring, i * 97 % 8192 - 4096, 0);
            run(common::keys::wheel, 0, i % 40 - 20);
            for (const char letter : {'E', 'H', 'I', 'F'}) release(letter);
        }
        return t_allocations - before - console;
    }

    const std::string m_path = testing::TempDir() + "map_memory_test_" + std::to_string(::getpid()) + ".toml";
    ValueConsole m_console;
    std::unique_ptr<Mapping> m_mapping;
    const cvhost::FileDescriptor m_nowhere = cvhost::owned(::open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null");
    common::LineWriter m_output{m_nowhere.get(), {.missing = [](std::size_t) { return std::string(); }, .broken = [] {}}};
    cvhost::report::TextReport m_report{m_output, {}, {.colour = true, .wire = true}};
    cvhost::run::EventQueue m_queue{{std::ref(m_report)}, [](const cvhost::Event&) { return true; }, [](std::size_t) {}};
    cvhost::run::RunMonitor m_monitor{{std::ref(m_queue)}, [] {}};
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
