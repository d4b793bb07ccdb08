// bench_flood PACKETS_A_SECOND SECONDS: more than any console sends, with handlers that set lamps.
//
// Four packets in turn: a key pressed and released, the shuttle ring moved and moved back. The key's handler switches one
// lamp, the shuttle's shows the speed on two: five commands for four packets.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>

#include "bench/Driver.h"
#include "host/core/KeyQueue.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view cycle = "E EU \\C8000000 \\7F000000 ";
constexpr int packetsInCycle = 4, runsInCycle = 3, commandsInCycle = 5;
constexpr int keyCode = 'E' - 0x40, shuttleCode = 0, keyLamp = 10;

/// Memory of the process that is in RAM, in KiB.
long residentKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::atol(line.c_str() + 6);
    }
    return -1;
}

template <class Done>
bool waitUntil(Done done) {
    for (const auto end = Clock::now() + std::chrono::seconds(30); Clock::now() < end;) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

/// Sends cycles at the pace of `rate` packets a second, without a pause when it is behind. How many it has sent.
std::uint64_t sendCycles(bench::ConsoleStub& end, int rate, int seconds, std::vector<long>& resident) {
    constexpr std::chrono::milliseconds tick{1};
    const int cyclesInTick = std::max(1, rate / packetsInCycle / 1000);
    std::string burst;
    for (int i = 0; i < cyclesInTick; ++i) burst += cycle;
    const auto begin = Clock::now();
    std::uint64_t ticks = 0;
    for (; Clock::now() < begin + std::chrono::seconds(seconds) && ticks < 1000U * static_cast<unsigned>(seconds); ++ticks) {
        std::this_thread::sleep_until(begin + ticks * tick);
        if (!end.send(burst)) throw std::runtime_error("the line has gone");
        if (ticks % 1000 == 500) resident.push_back(residentKb());
    }
    return ticks * static_cast<unsigned>(cyclesInTick);
}

nlohmann::json flood(int rate, int seconds) {
    bench::ConsoleStub end(bench::LineKind::pty);
    bench::Driver driver(end.name());
    iConsoleResource& console = driver.console();
    std::atomic<std::uint64_t> runs{0};
    bool on = false;  // of the receive thread
    bench::Handler key([&](int) {
        while (cvhost::keyQueue().take()) {
        }
        on = !on;
        console.lamp_set(keyLamp, on ? 'F' : 'O');
        ++runs;
    });
    bench::Handler shuttle([&](int) {
        console.show_ispeed(console.get_ispeed());
        ++runs;
    });
    driver.start(end);
    // Start-up leaves the speed at play and shows 0: the first round puts both in step.
    driver.handle(keyCode, key);
    driver.handle(shuttleCode, shuttle);
    end.send(cycle);
    if (!waitUntil([&] { return runs == runsInCycle; })) throw std::runtime_error("the handlers do not run");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));

    const std::uint64_t commandsBefore = end.commands();
    std::vector<long> resident;
    const auto begin = Clock::now();
    const std::uint64_t cycles = sendCycles(end, rate, seconds, resident);
    const auto wanted = (cycles + 1) * runsInCycle;
    waitUntil([&] { return runs >= wanted; });
    const double took = std::chrono::duration<double>(Clock::now() - begin).count();
    waitUntil([&] { return end.commands() - commandsBefore >= cycles * commandsInCycle; });

    const std::uint64_t commands = end.commands() - commandsBefore;
    const auto last = Clock::now();
    console.exit();
    const double exitMs = std::chrono::duration<double, std::milli>(Clock::now() - last).count();
    const auto packets = cycles * packetsInCycle;
    return {{"asked_per_second", rate},
            {"packets", packets},
            {"seconds", took},
            {"per_second", static_cast<double>(packets) / took},
            {"handlers_lost", static_cast<std::int64_t>(wanted - runs)},
            {"commands", commands},
            {"commands_due", cycles * commandsInCycle},
            {"resident_kb", resident},
            {"exit_ms", exitMs}};
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: bench_flood PACKETS_A_SECOND SECONDS\n");
        return 2;
    }
    try {
        std::printf("%s\n", flood(std::atoi(arguments[1]), std::atoi(arguments[2])).dump().c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_flood: %s\n", error.what());
        return 1;
    }
    return 0;
}
