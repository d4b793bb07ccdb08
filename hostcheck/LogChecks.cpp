#include <atomic>
#include <cstring>

#include "host/api/Log.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Task.h"

// The formats are wrong on purpose: with tracing on, packets from the line are formats.
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace hostcheck {
namespace {

Outcome threads() {
    constexpr int lines = 50;
    std::atomic<int> begun = 0;
    const auto body = [&](BasicThread&) {
        ++begun;
        waitUntil([&] { return begun == 2; }, atOnce);
        for (int i = 0; i < lines; ++i) LogBoth("noise: line %d of %d\n", i + 1, lines);
    };
    Task first(body);
    Task second(body);
    if (!first.begin() || !second.begin()) return notTried("no thread to be had");
    return first.endsWithin(4 * atOnce) && second.endsWithin(4 * atOnce) ? pass() : fail("100 lines took more than 12 s");
}

Outcome longText() {
    static char text[4096];
    std::memset(text, 'x', sizeof text - 1);
    LogBoth("noise: %s\n", text);
    return pass();
}

Outcome unknown() {
    LogBoth("noise: %y %Q %!\n");
    return pass();
}

Outcome longDouble() {
    LogBoth("noise: %Lf\n", 1.5L);
    return pass();
}

Outcome percentN() {
    static char format[] = "noise: a count%n is not written\n";  // in writable memory, as a packet is
    int victim = -1;
    const char* const shown = format;
    LogBoth(shown, &victim);
    return victim == -1 ? pass() : fail("%%n wrote %d", victim);
}

constexpr Check checks[] = {
    {"log-threads", &threads}, {"log-long", &longText},      {"log-long-double", &longDouble},
    {"log-unknown", &unknown}, {"log-percent-n", &percentN},
};

}  // namespace

std::span<const Check> logChecks() { return checks; }

}  // namespace hostcheck
