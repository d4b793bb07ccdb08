#include <atomic>
#include <climits>
#include <cmath>

#include "host/api/Settings.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Task.h"

namespace hostcheck {
namespace {

constexpr const char* noSuchKey = "hostcheck_no_such_setting";

Outcome defaults() {
    const int whole = config_int(noSuchKey, 41, INT_MIN, INT_MAX);
    if (whole != 41) return fail("config_int answers %d, not 41", whole);
    const double exact = config_double(noSuchKey, 0.125);
    if (exact != 0.125) return fail("config_double answers %g, not 0.125", exact);
    const LightweightString<char> text = config_string(noSuchKey, "here");
    if (!(text == LightweightString<char>("here")))
        return fail("config_string answers \"%.40s\", not \"here\"", text.c_str());
    return pass();
}

Outcome onThreads() {
    std::atomic<int> right = 0;
    auto body = [&](BasicThread&) {
        if (config_int(noSuchKey, 42, INT_MIN, INT_MAX) == 42 && config_double(noSuchKey, 0.5) == 0.5 &&
            config_string(noSuchKey, "x") == LightweightString<char>("x"))
            ++right;
    };
    Task first(body);
    Task second(body);
    if (!first.begin() || !second.begin()) return notTried("no thread to be had");
    if (!first.endsWithin(atOnce) || !second.endsWithin(atOnce)) return fail("a setting was not answered within 3 s");
    return right == 2 ? pass() : fail("%d of 2 threads got their defaults", right.load());
}

bool preference(const char* key, bool otherwise) { return prefs().getPreference(LightweightString<char>(key), otherwise); }

Outcome preferenceDefault() {
    if (!preference("HostCheckNoSuchPreference", true)) return fail("false for the default true");
    if (preference("HostCheckNoOtherPreference", false)) return fail("true for the default false");
    return pass();
}

Outcome askedAgain() {
    const bool first = preference("HostCheckAskedAgain", true);
    const bool second = preference("HostCheckAskedAgain", false);
    return first && second ? fail("the first answer was given again when the default had changed") : pass();
}

constexpr Check checks[] = {
    {"settings-default", &defaults},
    {"settings-preference", &preferenceDefault},
    {"settings-asked-again", &askedAgain},
    {"settings-threads", &onThreads},
};

}  // namespace

std::span<const Check> settingsChecks() { return checks; }

}  // namespace hostcheck
