#include "tests/explore/Plan.h"

#include <array>
#include <limits>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace explore {
namespace {

using namespace std::chrono_literals;

constexpr std::array s_faultNames = {
    std::pair{"bytes", fault::bytes},   std::pair{"noise", fault::noise},   std::pair{"bursts", fault::bursts},
    std::pair{"writes", fault::writes}, std::pair{"ports", fault::ports},   std::pair{"console", fault::console},
    std::pair{"host", fault::host},     std::pair{"stalls", fault::stalls},
};

constexpr std::array s_canaryNames = {
    std::pair{"lost-key", Canary::lostKey},
    std::pair{"invented-key", Canary::inventedKey},
    std::pair{"lost-release", Canary::lostRelease},
    std::pair{"long-packet", Canary::longPacket},
    std::pair{"lost-lamp", Canary::lostLamp},
    std::pair{"lamp-on-after-exit", Canary::lampOnAfterExit},
    std::pair{"chatter", Canary::chatter},
    std::pair{"leak", Canary::leak},
    std::pair{"hang", Canary::hang},
    std::pair{"crash", Canary::crash},
};

/// Three in ten sessions have no trouble; the others some of what there may be, one kind at least.
Faults choose(sim::Random& random, Faults mix) {
    if (mix == 0 || random.below(10) < 3) return 0;
    while (true) {
        const auto some = static_cast<Faults>(random.below(fault::all + 1)) & mix;
        if (some != 0) return some;
    }
}

sim::Schedule scheduleFor(sim::Random& random, std::uint64_t seed, Faults faults) {
    sim::Schedule schedule{.seed = seed, .shuffled = true, .timeLimit = 20min};
    schedule.stalls = 20'000;
    schedule.stallAtMost = 1ms;
    if ((faults & fault::stalls) != 0) {
        schedule.stalls = static_cast<unsigned>(random.below(50'000));
        schedule.stallAtMost = 1ms * random.between(1, 400);
    }
    return schedule;
}

desk::Options deskFor(sim::Random& random, Faults faults) {
    constexpr std::array firmwares = {7, 7, 7, 8, 8, 6, 5, 0, 9, 0x700};
    desk::Options options;
    options.firmware = firmwares[random.below(firmwares.size())];
    options.model = common::models[random.below(common::models.size())].model;
    options.running = random.below(4) == 0;
    options.bootTime = 1ms * random.between(0, 60);
    options.startTime = 1ms * random.between(0, 100);
    if ((faults & fault::console) != 0) {
        options.silent = random.below(8) == 0;
        options.noMonitor = random.below(4) == 0;
        if (random.below(2) == 0) options.bootTime = 1ms * random.between(0, 400);
        if (random.below(2) == 0) options.startTime = 1ms * random.between(0, 5000);
    }
    return options;
}

}  // namespace

std::optional<Faults> faultsFromText(std::string_view text) {
    if (text == "all") return fault::all;
    if (text == "none") return 0;
    Faults faults = 0;
    while (true) {
        const std::size_t comma = text.find(',');
        const std::string_view wanted = text.substr(0, comma);
        Faults found = 0;
        for (const auto& [name, bit] : s_faultNames) found |= wanted == name ? bit : 0U;
        if (found == 0) return std::nullopt;
        faults |= found;
        if (comma == std::string_view::npos) return faults;
        text.remove_prefix(comma + 1);
    }
}

std::string describe(Faults faults) {
    if (faults == fault::all) return "all";
    std::string text;
    for (const auto& [name, bit] : s_faultNames) {
        if ((faults & bit) != 0) text += (text.empty() ? "" : ",") + std::string(name);
    }
    return text.empty() ? "none" : text;
}

std::string faultNames() {
    std::string text;
    for (const auto& [name, bit] : s_faultNames) text += std::string(name) + " ";
    return text + "all none";
}

std::optional<Canary> canaryFromText(std::string_view text) {
    for (const auto& [name, canary] : s_canaryNames) {
        if (text == name) return canary;
    }
    return std::nullopt;
}

Plan::Plan(std::uint64_t planSeed, Faults mix) : seed(planSeed) {
    sim::Random random(seed);
    faults = choose(random, mix);
    schedule = scheduleFor(random, seed, faults);
    desk = deskFor(random, faults);
    debug = random.below(4) == 0;
    autoJog = random.below(2) == 0;
    autoJogLevel = random.below(8) == 0 ? random.between(1, 999) : random.between(1, 20);
    steps = random.between(5, 60);
}

double multiplierFor(std::uint64_t seed) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr std::array values = {1.0,   2.0,   1.0, 0.5,      1.3,       1.0,  std::numeric_limits<double>::quiet_NaN(),
                                   -1.55, 1e300, 0.0, infinity, -infinity, 1e-9, -1e300};
    return values[seed / seedsPerProcess % values.size()];
}

}  // namespace explore
