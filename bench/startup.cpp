// bench_startup ROUNDS: from init() to an active console in real time, on a network serial port, with a desk that takes its
// bytes' time.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <nlohmann/json.hpp>

#include "apps/common/ConsoleFacts.h"
#include "bench/Driver.h"
#include "bench/StartupTime.h"
#include "lines/DeskServer.h"
#include "lines/Rfc2217Server.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::microseconds lookAgain{50};
/// A console has been on for a while: nobody hears the prompt that it shows at first.
constexpr std::chrono::milliseconds sinceSwitchedOn{100};

/// Milliseconds from init() until the console is active.
double startUp(const desk::Options& options) {
    lines::DeskServer server(options, std::make_unique<lines::Rfc2217Server>());
    bench::Driver driver(server.name());
    std::this_thread::sleep_for(sinceSwitchedOn);
    const auto begin = Clock::now();
    driver.console().init();
    while (!driver.console().active()) {
        if (Clock::now() - begin > std::chrono::seconds(30)) throw std::runtime_error("the console was not found");
        std::this_thread::sleep_for(lookAgain);
    }
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

}  // namespace

int main(int count, char** arguments) {
    try {
        const int rounds = count > 1 ? std::atoi(arguments[1]) : 5;
        nlohmann::json result;
        for (const common::ModelFacts& model : common::models) result.push_back({{"model", model.name}});
        for (int round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < common::models.size(); ++i)
                result[i]["total_ms"].push_back(startUp({.model = common::models[i].model}));
        }
        std::printf("%s\n", result.dump().c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_startup: %s\n", error.what());
        return 1;
    }
    return 0;
}
