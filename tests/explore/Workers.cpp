#include "tests/explore/Workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/core/Allocator.h"
#include "tests/explore/Memory.h"
#include "tests/explore/Session.h"
#include "tests/support/Driver.h"

namespace explore {
namespace {

constexpr int patienceMs = 120'000;       // real time for one session, in the slowest of builds
constexpr std::uint64_t repeatEach = 64;  // so many seeds, one of which is run twice and compared

// In the worker.

/// One session, for some seeds a second one that must equal it, and what they leave behind.
Outcome runChecked(std::uint64_t seed, const Order& order) {
    const Plan plan(seed, order.mix);
    const long allocations = liveAllocations();
    const std::size_t blocks = cvhost::allocatorCount().liveBlocks;
    Outcome outcome = runSession(plan, order.canary).outcome;
    if (!outcome.failures.empty()) return outcome;
    if (seed % repeatEach == 0 && outcome.digest != runSession(plan, order.canary).outcome.digest) {
        outcome.failures.emplace_back("a second run of the same seed went another way");
    } else if (cvhost::allocatorCount().liveBlocks != blocks) {
        outcome.failures.emplace_back("host memory was left behind");
    } else if (const long left = liveAllocations() - allocations; left != 0) {
        outcome.failures.emplace_back(std::to_string(left) + " pieces of memory were left behind");
    }
    return outcome;
}

void writeAll(int pipe, const std::string& text) {
    for (std::string_view rest = text; !rest.empty();) {
        const ssize_t written = write(pipe, rest.data(), rest.size());
        if (written <= 0) _exit(3);
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string line(const char* format, auto... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

[[noreturn]] void work(const Order& order, int pipe) {
    support::fixBeyondPlayMultiplier(multiplierFor(order.first));
    runSession(Plan(1, 0), Canary::none);  // what is made once in a process is made before anything is counted
    for (std::uint64_t seed = order.first; seed != order.first + order.count; ++seed) {
        writeAll(pipe, line("begin %" PRIu64 "\n", seed));
        const Outcome outcome = runChecked(seed, order);
        std::string report;
        for (const std::string& failure : outcome.failures) report += "fail " + failure + "\n";
        report += line("end %" PRIx64 " %d %u %u %f %" PRIx32 "\n", outcome.digest, outcome.becameActive ? 1 : 0,
                       outcome.packets, outcome.keys, outcome.seconds, outcome.situations);
        writeAll(pipe, report);
    }
    std::exit(0);
}

// In the parent.

struct Worker {
    Order order;  // what it was given
    pid_t process = 0;
    int pipe = -1;
    std::string text;        // not a whole line yet
    std::uint64_t seed = 0;  // the one that runs
    bool running = false;
    std::string failure;
};

class Foreman {
public:
    Foreman(const Order& order, const std::function<void(std::uint64_t, const std::string&)>& tellFailure)
        : m_order(order), m_next(order.first), m_tellFailure(tellFailure) {}

    Sum run() {
        while (true) {
            while (m_workers.size() < m_order.processes && hire()) continue;
            if (m_workers.empty()) return m_sum;
            listen();
        }
    }

private:
    /// False when there is nothing left to do.
    bool hire() {
        if (m_sum.failed >= failureLimit) return false;
        Order part = m_order;
        if (!m_left.empty()) {
            part = m_left.back();
            m_left.pop_back();
        } else {
            const std::uint64_t end = m_order.first + m_order.count;
            if (m_next == end) return false;
            part.first = m_next;
            m_next = std::min(end, (m_next / seedsPerProcess + 1) * seedsPerProcess);
            part.count = m_next - part.first;
        }
        start(part);
        return true;
    }

    void start(const Order& part) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
        std::fflush(nullptr);
        const pid_t process = fork();
        if (process < 0) std::abort();
        if (process == 0) {
            close(ends[0]);
            work(part, ends[1]);
        }
        close(ends[1]);
        m_workers.push_back({.order = part, .process = process, .pipe = ends[0], .text = {}, .failure = {}});
    }

    void listen() {
        std::vector<pollfd> polled;
        for (const Worker& worker : m_workers) polled.push_back({worker.pipe, POLLIN, 0});
        const bool silent = poll(polled.data(), polled.size(), patienceMs) == 0;
        for (std::size_t i = polled.size(); i-- != 0;) {
            if (silent) kill(m_workers[i].process, SIGKILL);
            if (!silent && polled[i].revents == 0) continue;
            char bytes[4096];
            const ssize_t got = read(polled[i].fd, bytes, sizeof bytes);
            if (got > 0) {
                m_workers[i].text.append(bytes, static_cast<std::size_t>(got));
                takeLines(m_workers[i]);
            } else {
                dismiss(i);
            }
        }
    }

    void takeLines(Worker& worker) {
        for (std::size_t end = 0; (end = worker.text.find('\n')) != std::string::npos;) {
            const std::string text = worker.text.substr(0, end);
            worker.text.erase(0, end + 1);
            takeLine(worker, text);
        }
    }

    void takeLine(Worker& worker, const std::string& text) {
        if (text.starts_with("begin ")) {
            worker.seed = std::stoull(text.substr(6));
            worker.running = true;
            worker.failure.clear();
        } else if (text.starts_with("fail ")) {
            worker.failure += "\n    " + text.substr(5);
        } else {
            std::uint64_t digest = 0;
            int active = 0;
            unsigned packets = 0;
            unsigned keys = 0;
            double seconds = 0;
            SituationSet situations = 0;
            if (std::sscanf(text.c_str(), "end %" SCNx64 " %d %u %u %lf %" SCNx32, &digest, &active, &packets, &keys,
                            &seconds, &situations) != 6) {
                std::abort();
            }
            for (std::size_t i = 0; i < m_sum.situations.size(); ++i) m_sum.situations[i] += situations >> i & 1;
            m_sum.digest += digest;
            m_sum.active += static_cast<unsigned>(active);
            m_sum.packets += packets;
            m_sum.keys += keys;
            m_sum.seconds += seconds;
            finish(worker, worker.failure);
        }
    }

    void finish(Worker& worker, const std::string& failure) {
        worker.running = false;
        if (failure.empty()) {
            ++m_sum.passed;
        } else if (m_sum.failed++ < failureLimit) {
            m_tellFailure(worker.seed, failure);
        }
    }

    /// Takes a worker off the list that has ended; what it has not done is done by another.
    void dismiss(std::size_t index) {
        Worker worker = std::move(m_workers[index]);
        m_workers.erase(m_workers.begin() + static_cast<std::ptrdiff_t>(index));
        close(worker.pipe);
        int status = 0;
        waitpid(worker.process, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
        const std::string how =
            WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "status " + std::to_string(WEXITSTATUS(status));
        if (!worker.running) {
            ++m_sum.failed;
            m_tellFailure(worker.order.first, "\n    the process that ran this seed and those after it ended with " + how);
            return;
        }
        finish(worker, "\n    the process died of " + how + "; what it said is above");
        const std::uint64_t end = worker.order.first + worker.order.count;
        if (worker.seed + 1 == end) return;
        worker.order.first = worker.seed + 1;
        worker.order.count = end - worker.order.first;
        m_left.push_back(worker.order);
    }

    const Order m_order;
    std::uint64_t m_next;
    const std::function<void(std::uint64_t, const std::string&)>& m_tellFailure;
    std::vector<Worker> m_workers;
    std::vector<Order> m_left;
    Sum m_sum;
};

}  // namespace

Sum runSeeds(const Order& order, const std::function<void(std::uint64_t, const std::string&)>& tellFailure) {
    return Foreman(order, tellFailure).run();
}

}  // namespace explore
