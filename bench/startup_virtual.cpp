// bench_startup_virtual: from init() to an active console on virtual time; and how fast virtual time runs for a session.
#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "apps/common/ConsoleFacts.h"
#include "bench/StartupTime.h"
#include "tests/support/Rig.h"

namespace {

using namespace std::chrono_literals;
using bench::fixedWaits;
using bench::onTheWire;
using support::Rig;

double ms(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }

nlohmann::json startUp(const common::ModelFacts& model, int firmware) {
    const desk::Options options{.firmware = firmware, .model = model.model};
    Rig rig(options);
    rig.init();
    rig.run_until([&] { return rig.console().active(); });
    const auto total = rig.now();
    const auto rest = total - fixedWaits - options.bootTime - onTheWire;
    return {{"model", model.name},
            {"firmware", firmware},
            {"total_ms", ms(total)},
            {"fixed_ms", ms(fixedWaits)},
            {"boot_ms", ms(options.bootTime)},
            {"wire_ms", ms(onTheWire)},
            {"rest_ns", rest.count()}};
}

/// A session of a quarter of an hour: start-up, an editor at work, exit. An hour's work has about 1500 key presses.
double simulatedPerRealSecond() {
    const auto begin = std::chrono::steady_clock::now();
    Rig rig;
    rig.handle(5, [](int) { return true; });
    rig.start();
    for (int round = 0; round < 15 * 60 / 10; ++round) {
        for (const char key : {'E', 'A', 'P', 'L'}) rig.desk.taps(key);
        rig.run_for(5s);
        for (int jog = 0; jog < 20; ++jog) {
            rig.desk.jog(2);
            rig.run_for(50ms);
        }
        for (const unsigned char position : std::array<unsigned char, 4>{140, 180, 220, 127}) {
            rig.desk.shuttle(position);
            rig.run_for(500ms);
        }
        rig.run_for(2s);
    }
    const std::size_t presses = rig.keys().size();
    const double simulated = std::chrono::duration<double>(rig.now()).count();
    rig.unload();
    if (presses < 4 * 90) std::abort();
    return simulated / std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

int main() {
    nlohmann::json result;
    for (const common::ModelFacts& model : common::models) {
        for (const int firmware : {6, 7, 8}) result["startup"].push_back(startUp(model, firmware));
    }
    for (int round = 0; round < 5; ++round) result["simulated_per_real_second"].push_back(simulatedPerRealSecond());
    std::printf("%s\n", result.dump().c_str());
    return 0;
}
