// explore: random whole sessions of host, driver, console and operator on virtual time, by seed.
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "tests/explore/Plan.h"
#include "tests/explore/Session.h"
#include "tests/explore/Workers.h"
#include "tests/support/Driver.h"

namespace {

using explore::Order;

constexpr int usageError = 2;
constexpr std::uint64_t seedsUnlessTold = 1000;
constexpr std::uint64_t seedsThatReachAll = 10'000;

int usage() {
    std::fprintf(stderr,
                 "usage: explore [--seeds N] [--faults MIX] [--seed S] [--situations] [--transcript]\n"
                 "  --seeds N       how many sessions; %" PRIu64
                 ", or 1 with --seed\n"
                 "  --seed S        the first session's seed; 1\n"
                 "  --faults MIX    what may go wrong, separated by commas; all\n"
                 "                  %s\n"
                 "  --situations    fail unless each named situation is reached; so it is with all faults and %" PRIu64
                 " seeds\n"
                 "  --transcript    print everything that happens in the session of the first seed, and nothing else\n",
                 seedsUnlessTold, explore::faultNames().c_str(), seedsThatReachAll);
    return usageError;
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

struct Request {
    Order order;
    std::string faults = "all";
    std::string canary;
    bool transcript = false;
    bool situations = false;
};

std::optional<Request> parse(int count, char** arguments) {
    Request request;
    std::optional<std::uint64_t> seeds;
    std::optional<std::uint64_t> seed;
    for (int i = 1; i < count; ++i) {
        const std::string_view name = arguments[i];
        if (name == "--transcript") {
            request.transcript = true;
            continue;
        }
        if (name == "--situations") {
            request.situations = true;
            continue;
        }
        if (++i == count) return std::nullopt;
        const std::string_view value = arguments[i];
        if (name == "--seeds") {
            if (!(seeds = number(value))) return std::nullopt;
        } else if (name == "--seed") {
            if (!(seed = number(value))) return std::nullopt;
        } else if (name == "--faults") {
            const auto mix = explore::faultsFromText(value);
            if (!mix) return std::nullopt;
            request.order.mix = *mix;
            request.faults = value;
        } else if (name == "--canary") {
            const auto canary = explore::canaryFromText(value);
            if (!canary) return std::nullopt;
            request.order.canary = *canary;
            request.canary = " --canary " + std::string(value);
        } else {
            return std::nullopt;
        }
    }
    request.order.first = seed.value_or(1);
    request.order.count = seeds.value_or(seed ? 1 : seedsUnlessTold);
    request.situations |= request.order.count >= seedsThatReachAll && request.order.mix == explore::fault::all;
    const long processors = sysconf(_SC_NPROCESSORS_ONLN);
    request.order.processes = processors > 1 ? static_cast<unsigned>(processors) : 1;
    return request;
}

/// How many sessions reached each situation. Returns how many situations none has reached.
std::uint64_t printSituations(const explore::Sum& sum) {
    std::uint64_t unreached = 0;
    for (std::size_t i = 0; i < sum.situations.size(); ++i) {
        std::printf("%8" PRIu64 " sessions: %s\n", sum.situations[i], explore::situationNames[i]);
        if (sum.situations[i] == 0) ++unreached;
    }
    return unreached;
}

int printTranscript(const Order& order) {
    support::fixBeyondPlayMultiplier(explore::multiplierFor(order.first));
    const auto result = explore::runSession(explore::Plan(order.first, order.mix), order.canary);
    std::printf("%s", sim::describe(result.recording).c_str());
    for (const std::string& failure : result.outcome.failures) std::printf("%s\n", failure.c_str());
    return result.outcome.failures.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const auto request = parse(count, arguments);
    if (!request) return usage();
    const Order& order = request->order;
    if (request->transcript) return printTranscript(order);

    const std::string options = "--faults " + request->faults + request->canary;
    std::printf("explore --seeds %" PRIu64 " --seed %" PRIu64 " %s\n", order.count, order.first, options.c_str());
    std::fflush(stdout);
    const auto begin = std::chrono::steady_clock::now();
    const explore::Sum sum = explore::runSeeds(order, [&](std::uint64_t seed, const std::string& what) {
        std::printf("seed %" PRIu64 " (%s):%s\n  repeat: ./dev explore %s --seed %" PRIu64 "\n", seed,
                    explore::describe(explore::Plan(seed, order.mix).faults).c_str(), what.c_str(), options.c_str(), seed);
        std::fflush(stdout);
    });
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto ran = static_cast<double>(sum.passed + sum.failed);
    std::printf("%" PRIu64 " consoles became active, %" PRIu64 " packets, %" PRIu64 " keys, digest %016" PRIx64 "\n",
                sum.active, sum.packets, sum.keys, sum.digest);
    std::printf("%.0f simulated seconds in %.1f s, %.0f seeds a minute\n", sum.seconds, took, ran * 60 / took);
    const std::uint64_t unreached = printSituations(sum);
    if (request->situations && unreached != 0) std::printf("%" PRIu64 " situations were never reached\n", unreached);
    const std::uint64_t failed = sum.failed + (request->situations ? unreached : 0);
    std::printf("explore: %" PRIu64 " passed, %" PRIu64 " failed\n", sum.passed, failed);
    return failed == 0 ? 0 : 1;
}
