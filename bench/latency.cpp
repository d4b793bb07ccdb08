// bench_latency LINE UNIT ROUNDS SAMPLES: from the sending of bytes to whoever waits for them, as JSON.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "bench/LatencyRounds.h"

int main(int count, char** arguments) {
    using bench::LineKind, bench::Unit;
    if (count != 5) {
        std::fprintf(stderr, "usage: bench_latency pty|rfc2217 byte|packet|key ROUNDS SAMPLES\n");
        return 2;
    }
    try {
        const LineKind line = std::string_view(arguments[1]) == "pty" ? LineKind::pty : LineKind::rfc2217;
        const std::string_view asked = arguments[2];
        const Unit unit = asked == "byte" ? Unit::byte : asked == "packet" ? Unit::packet : Unit::key;
        const auto results = bench::measureByTurns(line, unit, std::atoi(arguments[3]), std::atoi(arguments[4]));
        std::printf("%s\n", results.dump().c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_latency: %s\n", error.what());
        return 1;
    }
    return 0;
}
