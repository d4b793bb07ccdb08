// bench_steady PACKETS IDLE_SECONDS: what the host and the plug-in do for each packet once the console runs, and while it
// is idle.
//
// The key's handler marks the first and the last packet for those who watch the system calls (strace): it writes "begin" and
// "end" to no descriptor.
#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <nlohmann/json.hpp>

#include "bench/Counters.h"
#include "bench/Driver.h"
#include "host/core/Allocator.h"
#include "host/core/KeyQueue.h"

namespace {

constexpr std::string_view packet = "E ";
constexpr int code = 'E' - 0x40;

/// Watches for locks in the plug-in's code.
int findPlugin(dl_phdr_info* library, std::size_t, void*) {
    if (std::string_view(library->dlpi_name).find("CorvaneConsole.so") == std::string_view::npos) return 0;
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const auto& part = library->dlpi_phdr[i];
        if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) continue;
        const std::uintptr_t begin = library->dlpi_addr + part.p_vaddr;
        bench::watchLocks(begin, begin + part.p_memsz);
        return 1;
    }
    return 0;
}

double processSeconds() {
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

void mark(const char* text) { [[maybe_unused]] const ssize_t fails = ::write(-1, text, std::strlen(text)); }

struct Counts {
    std::uint64_t allocations = bench::allocations();
    std::uint64_t hostBlocks = cvhost::allocatorCount().totalBlocks;
    std::uint64_t locks = bench::locks();
    std::uint64_t pluginLocks = bench::locksWatched();
};

nlohmann::json measure(int packets, int idleSeconds) {
    bench::ConsoleStub end(bench::LineKind::pty);
    bench::Driver driver(end.name());
    if (::dl_iterate_phdr(findPlugin, nullptr) != 1) throw std::runtime_error("where is the plug-in?");
    std::atomic<int> handled{0};
    bench::Handler handler([&](int) {
        if (const int before = handled++; before == 0 || before == packets) mark(before == 0 ? "begin" : "end");
    });
    driver.handle(code, handler);
    driver.start(end);

    const auto press = [&](int count) {
        for (int i = 0; i < count; ++i) {
            const int before = handled;
            end.send(packet);
            while (handled == before) std::this_thread::sleep_for(std::chrono::microseconds(50));
            while (cvhost::keyQueue().take()) {
            }
        }
    };
    press(1);
    const Counts before;
    press(packets);
    const Counts after;

    const double used = processSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
    const double idle = processSeconds() - used;
    return {{"packets", packets},
            {"allocations", after.allocations - before.allocations},
            {"host_allocations", after.hostBlocks - before.hostBlocks},
            {"locks", after.locks - before.locks},
            {"plugin_locks", after.pluginLocks - before.pluginLocks},
            {"threads", bench::threadNames()},
            {"idle_seconds", idleSeconds},
            {"idle_cpu_ms", idle * 1000}};
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: bench_steady PACKETS IDLE_SECONDS\n");
        return 2;
    }
    try {
        std::printf("%s\n", measure(std::atoi(arguments[1]), std::atoi(arguments[2])).dump().c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_steady: %s\n", error.what());
        return 1;
    }
    return 0;
}
