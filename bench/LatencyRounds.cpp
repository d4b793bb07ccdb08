#include "bench/LatencyRounds.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string_view>
#include <thread>

#include "host/core/KeyQueue.h"

namespace bench {
namespace {

using Samples = std::vector<std::uint64_t>;

constexpr int warmUp = 50;
/// 'z' means nothing to anybody; "E " is a key that is pressed.
constexpr std::string_view oneByte = "z", onePacket = "E ";

/// In `sorted`, in nanoseconds.
std::uint64_t percentile(const Samples& sorted, double percent) {
    const auto place = static_cast<std::size_t>(percent / 100 * static_cast<double>(sorted.size()));
    return sorted[std::min(place, sorted.size() - 1)];
}

/// One sample of each contender after the other, in an order that changes, so that whatever else the machine does meets
/// all of them alike.
std::vector<Samples> runRound(const Contenders& contenders, std::string_view bytes, int samples, std::mt19937& random) {
    std::vector<Samples> taken(contenders.size());
    std::vector<std::size_t> order(contenders.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    for (int sample = 0; sample < samples; ++sample) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t who : order) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
            taken[who].push_back(contenders[who]->measure(bytes));
        }
        cvhost::keyQueue().clear();
    }
    for (Samples& one : taken) std::ranges::sort(one);
    return taken;
}

/// Where this thread, and the threads and processes that it starts, run from now on. The sender has one processor and all
/// who wait have another, so that no contender has the luck to lie better. With a single processor nothing changes.
void runOn(unsigned processor) {
    if (::sysconf(_SC_NPROCESSORS_ONLN) < 2) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

}  // namespace

nlohmann::json measureByTurns(LineKind line, Unit unit, int rounds, int samples) {
    runOn(1);
    const Contenders contenders = contendersFor(line, unit);
    runOn(0);
    return measureByTurns(contenders, unit, rounds, samples);
}

nlohmann::json measureByTurns(const Contenders& contenders, Unit unit, int rounds, int samples) {
    const std::string_view bytes = unit == Unit::byte ? oneByte : onePacket;
    std::mt19937 random(1);
    runRound(contenders, bytes, warmUp, random);
    std::vector<Samples> all(contenders.size());
    auto results = nlohmann::json::array();
    for (const auto& contender : contenders) results.push_back({{"name", contender->name}});
    for (int round = 0; round < rounds; ++round) {
        const auto taken = runRound(contenders, bytes, samples, random);
        for (std::size_t who = 0; who < contenders.size(); ++who) {
            results[who]["p50"].push_back(percentile(taken[who], 50));
            results[who]["p99"].push_back(percentile(taken[who], 99));
            all[who].insert(all[who].end(), taken[who].begin(), taken[who].end());
        }
    }
    for (std::size_t who = 0; who < contenders.size(); ++who) {
        std::ranges::sort(all[who]);
        for (int percent = 0; percent < 100; ++percent) results[who]["percentiles"].push_back(percentile(all[who], percent));
    }
    return results;
}

}  // namespace bench
