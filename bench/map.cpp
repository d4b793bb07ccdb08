// bench_map ROUNDS SAMPLES: `cvhost run` with a map for mpv, on a pty, and a real mpv without a window. As JSON: from a
// key's bytes to the state that mpv reports; from a change made in mpv to the lamp's bytes at the console; and how long the
// playhead runs on after the wheel's last count.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/ConsoleStub.h"
#include "bench/CvhostRun.h"
#include "tests/apps/MpvRig.h"

namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

constexpr int frames = 15'000;
constexpr int counts = 40;
constexpr double framesPerSecond = 25;
constexpr std::chrono::milliseconds betweenCounts{10};
constexpr std::chrono::milliseconds settling{10};
constexpr std::chrono::seconds generous{30};

/// What mpv reports of itself, and when.
class MpvNews {
public:
    explicit MpvNews(const std::filesystem::path& path)
        : m_socket(apps_test::connectToMpv(path)), m_stop(cvhost::owned(::eventfd(0, EFD_CLOEXEC), "eventfd")) {
        ask("{\"command\":[\"observe_property\",1,\"pause\"]}\n{\"command\":[\"observe_property\",2,\"time-pos\"]}\n");
        m_thread = std::thread([this] { run(); });
    }
    MpvNews(const MpvNews&) = delete;
    MpvNews& operator=(const MpvNews&) = delete;
    ~MpvNews() {
        ::eventfd_write(m_stop.get(), 1);
        m_thread.join();
    }

    void ask(const std::string& commands) const {
        if (::write(m_socket.get(), commands.data(), commands.size()) < 0) throw std::runtime_error("mpv has gone");
    }
    /// Waits until it is paused, or not; when it said so.
    Time whenPaused(bool paused) {
        waitUntil([&] { return m_paused == paused; });
        return m_pausedAt;
    }
    double place() const { return m_place; }
    /// When it was last reported.
    Time placeAt() const { return m_placeAt; }

    template <class Wanted>
    static void waitUntil(Wanted wanted) {
        const Time limit = Clock::now() + generous;
        while (!wanted()) {
            if (Clock::now() > limit) throw std::runtime_error("nothing happens");
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    }

private:
    void run() {
        std::string unread;
        for (;;) {
            std::array<pollfd, 2> waits{{{m_socket.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}}};
            ::poll(waits.data(), waits.size(), -1);
            if (waits[1].revents != 0) return;
            std::array<char, 4096> bytes{};
            const ssize_t got = ::read(m_socket.get(), bytes.data(), bytes.size());
            if (got <= 0) return;
            const Time now = Clock::now();
            unread.append(bytes.data(), static_cast<std::size_t>(got));
            for (std::size_t end = 0; (end = unread.find('\n')) != unread.npos; unread.erase(0, end + 1))
                take(nlohmann::json::parse(unread.substr(0, end)), now);
        }
    }
    void take(const nlohmann::json& news, Time now) {
        if (news.value("event", "") != "property-change" || !news.contains("data")) return;
        if (news["data"].is_boolean()) {
            m_pausedAt = now;
            m_paused = news["data"].get<bool>();
        } else if (news["data"].is_number()) {
            m_placeAt = now;
            m_place = news["data"].get<double>();
        }
    }

    const cvhost::FileDescriptor m_socket;
    const cvhost::FileDescriptor m_stop;
    std::atomic<bool> m_paused = true;
    std::atomic<Time> m_pausedAt{};
    std::atomic<double> m_place = 0;
    std::atomic<Time> m_placeAt{};
    std::thread m_thread;
};

struct Samples {
    std::vector<double> us;

    void add(Clock::duration time) { us.push_back(std::chrono::duration<double, std::micro>(time).count()); }
    double percentile(double percent) {
        std::ranges::sort(us);
        return us.at(std::min(static_cast<std::size_t>(percent / 100 * static_cast<double>(us.size())), us.size() - 1));
    }
};

class Bench {
public:
    Bench() {
        apps_test::MpvRemote mpv(m_socket);
        if (!mpv.becomes("pause", nlohmann::json(true))) throw std::runtime_error("mpv does not begin");
        std::this_thread::sleep_for(std::chrono::seconds(1));  // cvhost looks for mpv twice a second
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;
    ~Bench() { std::filesystem::remove_all(m_folder); }

    nlohmann::json run(int rounds, int samples) {
        nlohmann::json results;
        measure(10, m_warm, m_warm);
        for (int round = 0; round < rounds; ++round) {
            Samples state, lamp;
            measure(samples, state, lamp);
            for (const auto& [name, percent] : {std::pair{"p50", 50.0}, std::pair{"p99", 99.0}}) {
                results["state"][name].push_back(state.percentile(percent));
                results["lamp"][name].push_back(lamp.percentile(percent));
            }
        }
        for (int round = 0; round < rounds; ++round) results["run_on_us"].push_back(runOn());
        return results;
    }

private:
    static std::filesystem::path makeFolder() {
        std::string name = std::filesystem::temp_directory_path() / "bench_map.XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
        apps_test::writeFilm(std::filesystem::path(name) / "film.y4m", frames);
        return name;
    }

    void measure(int samples, Samples& state, Samples& lamp) {
        for (int sample = 0; sample < samples; ++sample) {
            const bool paused = sample % 2 != 0;
            const Time begin = Clock::now();
            m_end.send(paused ? "L " : "K ");
            state.add(m_news.whenPaused(paused) - begin);
            std::this_thread::sleep_for(settling);
            m_end.send(paused ? "LU " : "KU ");
            std::this_thread::sleep_for(settling);
            lamp.add(lampAfter(paused));
        }
    }
    /// From a change in mpv to the first lamp's bytes; it is changed back.
    Clock::duration lampAfter(bool paused) {
        Clock::duration took{};
        for (const bool next : {!paused, paused}) {
            const std::uint64_t commands = m_end.commands();
            const Time begin = Clock::now();
            m_news.ask(next ? "{\"command\":[\"set_property\",\"pause\",true]}\n"
                            : "{\"command\":[\"set_property\",\"pause\",false]}\n");
            MpvNews::waitUntil([&] { return m_end.commands() != commands; });
            took = m_end.commandAt() - begin;
            m_news.whenPaused(next);
            std::this_thread::sleep_for(settling);
        }
        return took;
    }
    double runOn() {
        if (!m_wheelOn) {
            m_end.send("\\ ");
            m_end.send("\\U ");
            if (!m_end.waitForText("W F4 ")) throw std::runtime_error("the wheel does not go on");
            m_wheelOn = true;
        }
        const double wanted = m_news.place() + counts / framesPerSecond;
        Time last;
        for (int i = 0; i < counts; ++i) {
            std::this_thread::sleep_for(betweenCounts);
            last = Clock::now();
            m_end.send("\\7F010000 ");
        }
        MpvNews::waitUntil([&] { return std::abs(m_news.place() - wanted) < 0.5 / framesPerSecond; });
        std::this_thread::sleep_for(30 * settling);  // for a frame too many
        if (std::abs(m_news.place() - wanted) > 0.5 / framesPerSecond) throw std::runtime_error("the playhead went too far");
        return std::chrono::duration<double, std::micro>(m_news.placeAt() - last).count();
    }

    const std::filesystem::path m_folder = makeFolder();
    const std::filesystem::path m_socket = m_folder / "mpv.sock";
    apps_test::Process m_mpv{
        {.command = {"/usr/bin/env", "mpv", "--no-config", "--no-terminal", "--vo=null", "--ao=null", "--pause",
                     "--keep-open=yes", "--input-ipc-server=" + m_socket.string(), (m_folder / "film.y4m").string()}}};
    bench::ConsoleStub m_end{bench::LineKind::pty};
    bench::CvhostRun m_run{m_end, "target = 'mpv'\nsocket = '" + m_socket.string() +
                                      "'\n[keys]\nplay = 'play'\nstop = 'stop'\n[wheel]\nframes = 1\n"};
    MpvNews m_news{m_socket};
    Samples m_warm;
    bool m_wheelOn = false;
};

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: bench_map ROUNDS SAMPLES\n");
        return 2;
    }
    try {
        std::printf("%s\n", Bench().run(std::atoi(arguments[1]), std::atoi(arguments[2])).dump().c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_map: %s\n", error.what());
        return 1;
    }
    return 0;
}
