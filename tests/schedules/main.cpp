// schedules: short scripts of driver and host in every schedule, with a bound on how often a thread is interrupted.
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/schedules/Accesses.h"
#include "tests/schedules/Canary.h"
#include "tests/schedules/Memory.h"
#include "tests/schedules/Scripts.h"

namespace schedules {
namespace {

constexpr int usageError = 2;

const Script* s_script = nullptr;
const sim::ScheduleSearch* s_search = nullptr;
std::string s_canary;

/// The schedule so far, and the command that repeats it. The run cannot go on from here, nor can the next begin.
[[noreturn]] void end(const std::string& what) {
    const memory::Outside notTheRuns;
    accesses::end();
    if (s_search == nullptr) {
        std::printf("%s\n", what.c_str());
    } else {
        std::printf("%s: %s\n%s  found in schedule %llu; repeat: ./dev %s%s %s --schedule %s\n", s_script->name,
                    what.c_str(), s_search->story().c_str(), static_cast<unsigned long long>(s_search->count()), command,
                    s_canary.c_str(), s_script->name, sim::textOf(s_search->turns()).c_str());
    }
    std::printf("schedules: 0 passed, 1 failed\n");
    std::fflush(stdout);
    _exit(1);
}

void endBySignal(int signal) {
    end(signal == SIGABRT ? "it cannot go on (see above)" : "crashed with signal " + std::to_string(signal));
}

void watchForCrashes() {
    static char stack[1 << 16];
    stack_t place{};
    place.ss_sp = stack;
    place.ss_size = sizeof stack;
    sigaltstack(&place, nullptr);
    struct sigaction action{};
    action.sa_handler = endBySignal;
    action.sa_flags = SA_ONSTACK;
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE}) sigaction(signal, &action, nullptr);
    failed = [](const std::string& what) { end(what); };
    accesses::broken = failed;
    memory::endedTwice = [](const void*) { end("memory is given back twice"); };
}

/// Every schedule of the search: how many there were.
std::uint64_t runAll(const Script& script, sim::ScheduleSearch& search) {
    s_search = &search;
    while (search.next()) {
        memory::beginRun();
        script.run(search);
        const std::size_t left = memory::endRun();
        if (left != 0) end(std::to_string(left) + " blocks of memory are left");
    }
    s_search = nullptr;
    return search.count();
}

/// All schedules with so many interruptions at most; with fewer first, so that what is found is found in the simplest.
void tryScript(const Script& script, unsigned interruptions) {
    s_script = &script;
    accesses::forget();
    const std::clock_t begin = std::clock();
    std::uint64_t count = 0;
    for (unsigned bound = 0; bound <= interruptions; ++bound) {
        do {
            accesses::takeLearnt();
            sim::ScheduleSearch search(bound);
            count = runAll(script, search);
        } while (accesses::learnt());
    }
    const double took = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    std::printf("%-24s %9llu schedules with %u interruptions at most, %.1f s of processor\n", script.name,
                static_cast<unsigned long long>(count), interruptions, took);
    std::fflush(stdout);
}

struct Request {
    std::vector<const Script*> scripts;
    std::optional<unsigned> interruptions;
    std::optional<sim::Turns> schedule;
};

int usage() {
    std::fprintf(stderr,
                 "usage: %s [--interruptions N] [SCRIPT]...\n"
                 "       %s SCRIPT --schedule CHOICES\n"
                 "  --interruptions N   how often threads may be interrupted in one schedule, instead of the number below\n"
                 "  --schedule CHOICES  this schedule alone, as a failure has printed it\n"
                 "scripts:\n",
                 command, command);
    for (const Script& script : scripts()) {
        std::fprintf(stderr, "  %-24s %u%s\n", script.name, script.interruptions,
                     script.limit ? "; a known limit, not run" : "");
    }
    return usageError;
}

bool takeOption(Request& request, std::string_view name, std::string_view value) {
    if (name == "--interruptions") {
        const char* end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, request.interruptions.emplace());
        return error == std::errc{} && stop == end;
    }
    if (name == "--schedule") return (request.schedule = sim::turnsFromText(value)).has_value();
    if (name == "--canary") {
        s_canary = " --canary " + std::string(value);
        return wakeCanary(value);
    }
    return false;
}

std::optional<Request> parse(int count, char** arguments) {
    Request request;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = arguments[i];
        if (word.starts_with("--")) {
            if (++i == count || !takeOption(request, word, arguments[i])) return std::nullopt;
            continue;
        }
        const auto found = std::ranges::find(scripts(), word, &Script::name);
        if (found == scripts().end()) return std::nullopt;
        request.scripts.push_back(&*found);
    }
    if (request.schedule && request.scripts.size() != 1) return std::nullopt;
    if (request.scripts.empty()) {
        for (const Script& script : scripts()) {
            if (!script.limit) request.scripts.push_back(&script);
        }
    }
    return request;
}

/// So that the first run finds the process as every later one does.
void warmUp() {
    prepare();
    for (const Script& script : scripts()) {
        sim::ScheduleSearch search(0);
        search.next();
        s_script = &script;
        script.run(search);
    }
}

int run(const Request& request) {
    watchForCrashes();
    warmUp();
    if (request.schedule) {
        s_script = request.scripts.front();
        sim::ScheduleSearch search(*request.schedule);
        accesses::takeAll();
        runAll(*s_script, search);
        if (search.turns() != *request.schedule) end("the schedule does not fit the script");
    } else {
        for (const Script* script : request.scripts)
            tryScript(*script, request.interruptions.value_or(script->interruptions));
    }
    std::printf("schedules: %zu passed, 0 failed\n", request.scripts.size());
    return 0;
}

}  // namespace

void (*failed)(const std::string& what) = [](const std::string&) { std::abort(); };

}  // namespace schedules

int main(int count, char** arguments) {
    const auto request = schedules::parse(count, arguments);
    return request ? schedules::run(*request) : schedules::usage();
}
