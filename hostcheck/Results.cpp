#include "hostcheck/Results.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>

#include "host/api/Log.h"
#include "hostcheck/Options.h"
#include "hostcheck/Platform.h"
#include "hostcheck/Report.h"

namespace hostcheck {
namespace {

constinit Report report;
constinit std::atomic_flag reportLock;
constinit std::atomic_flag failureLogged;

/// Held for a moment only, and never while the host is called.
class Held {
public:
    Held() noexcept {
        while (reportLock.test_and_set(std::memory_order_acquire)) {
        }
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { reportLock.clear(std::memory_order_release); }
};

/// Runs `change` under the lock, and writes the files if it returns true. Returns what it returns. Logs the first file that
/// cannot be written.
template <class Change>
bool changeReport(Change&& change) {
    WriteFailure failure;
    {
        const Held held;
        if (!change()) return false;
        failure = report.write();
    }
    if (failure.error != 0 && !failureLogged.test_and_set())
        LogBoth("hostcheck: cannot write %s: %s\n", failure.path, std::strerror(failure.error));
    return true;
}

Outcome outcome(Verdict verdict, const char* format, std::va_list arguments) {
    Outcome made;
    made.verdict = verdict;
    made.seen.addList(format, arguments);
    return made;
}

/// Whether `matches` is true for an id of `list`. It is asked about one after the other until it is.
template <class Matches>
bool anyId(std::string_view list, const Matches& matches) {
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        if (matches(list.substr(0, comma))) return true;
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
    return false;
}

/// Logs the id if no promise has it. False, so that the next id is looked at.
bool reportUnknown(std::string_view id) {
    if (std::ranges::find(promises, id, &Promise::id) != std::end(promises)) return false;
    Text text;
    text.add("%.*s", static_cast<int>(id.size()), id.data());
    LogBoth("hostcheck: unknown promise \"%s\"\n", text.c_str());
    return false;
}

}  // namespace

Outcome pass() { return {.verdict = Verdict::pass, .seen = {}}; }

Outcome fail(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Outcome made = outcome(Verdict::fail, format, arguments);
    va_end(arguments);
    return made;
}

Outcome notTried(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const Outcome made = outcome(Verdict::notTried, format, arguments);
    va_end(arguments);
    return made;
}

bool isChosen(Id id) {
    if (options().only != nullptr) return anyId(options().only, [=](auto each) { return each == id.promise().id; });
    return id.promise().level <= options().level;
}

Verdict verdictOf(Id id) {
    const Held held;
    return report.outcomes[id.index].verdict;
}

void beginRun() {
    changeReport([] { return true; });
    if (options().only != nullptr) anyId(options().only, reportUnknown);
}

void begin(Id id) {
    const bool begun = changeReport([&] {
        if (report.outcomes[id.index].verdict != Verdict::untried) return false;
        report.order[report.tried++] = static_cast<unsigned char>(id.index);
        report.outcomes[id.index].verdict = Verdict::running;
        return true;
    });
    if (begun) LogBoth("hostcheck: try  %s\n", id.promise().id);
}

void record(Id id, const Outcome& outcome) {
    if (!isChosen(id)) return;
    const bool changed = changeReport([&] {
        Outcome& present = report.outcomes[id.index];
        if (present.verdict == Verdict::fail || (present.verdict == Verdict::pass && outcome.verdict != Verdict::fail))
            return false;
        if (present.verdict == Verdict::untried) report.order[report.tried++] = static_cast<unsigned char>(id.index);
        present = outcome;
        return true;
    });
    if (!changed) return;
    const Promise& promise = id.promise();
    if (outcome.verdict == Verdict::pass) {
        LogBoth("hostcheck: pass %s\n", promise.id);
    } else if (outcome.verdict == Verdict::fail) {
        LogBoth("hostcheck: FAIL %s: %s; promised: %s\n", promise.id, outcome.seen.c_str(), promise.text);
    } else {
        LogBoth("hostcheck: not tried %s: %s\n", promise.id, outcome.seen.c_str());
    }
}

void giveUp(const char* reason, std::string_view except) {
    for (std::size_t i = 0; i < promiseCount; ++i) {
        const Id id(i);
        if (!except.empty() && std::string_view(id.promise().id).starts_with(except)) continue;
        if (verdictOf(id) == Verdict::untried) record(id, notTried("%s", reason));
    }
}

void summarize() {
    Count count;
    {
        const Held held;
        count = report.count();
    }
    LogBoth("hostcheck: %d passed, %d failed, %d not tried; level %d, seed %llu\n", count.passed, count.failed,
            count.notTried, options().level, static_cast<unsigned long long>(options().seed));
}

void run(const Check& check) {
    if (!isChosen(check.id) || verdictOf(check.id) != Verdict::untried) return;
    begin(check.id);
    try {
        record(check.id, check.run());
    } catch (...) {
        record(check.id, fail("an exception came out of a call"));
    }
}

}  // namespace hostcheck
