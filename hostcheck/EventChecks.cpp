#include <algorithm>
#include <atomic>

#include "hostcheck/Checks.h"
#include "hostcheck/Task.h"

namespace hostcheck {
namespace {

using Event = Cv::Ptr<iThreadEvent>;

Event newEvent() { return OS().threading().createThreadEvent(0, 0, 0); }

long inMs(std::chrono::nanoseconds time) {
    return static_cast<long>(std::chrono::duration_cast<milliseconds>(time).count());
}

Outcome made() {
    for (int i = 0; i < 20; ++i) {
        if (!newEvent()) return fail("event number %d is null", i + 1);
    }
    return pass();
}

Outcome startsClear() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    const int answer = event->wait(0);
    return answer == 1 ? pass() : fail("a new event's wait(0) answers %d, not 1", answer);
}

Outcome kept() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    event->signal();
    const int answer = event->wait(1000);
    return answer == 0 ? pass() : fail("wait(1000) after a signal answers %d, not 0", answer);
}

Outcome wakes() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    std::atomic<bool> waiting = false;
    std::atomic<int> answer = -1;
    Task task([&](BasicThread&) {
        waiting = true;
        answer = event->wait(3000);
    });
    if (!task.begin()) return notTried("no thread to be had");
    waitUntil([&] { return waiting.load(); }, atOnce);
    sleepFor(milliseconds(200));  // so that it waits already, most likely
    event->signal();
    if (!task.endsWithin(2 * atOnce)) return fail("a wait of 3 s has not ended after 6 s");
    return answer == 0 ? pass() : fail("the wait that was signalled answers %d, not 0", answer.load());
}

Outcome taken() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    event->signal();
    const int first = event->wait(1000);
    if (first != 0) return notTried("the first wait answers %d", first);
    const int second = event->wait(20);
    return second == 1 ? pass() : fail("a second wait for one signal answers %d, not 1", second);
}

Outcome timeout() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    long shortest = 1'000'000;
    for (int i = 0; i < 3; ++i) {
        const auto begun = now();
        const int answer = event->wait(100);
        const long took = inMs(now() - begun);
        if (answer != 1) return fail("wait(100) without a signal answers %d, not 1", answer);
        if (took < 99) return fail("wait(100) ended after %ld ms", took);
        shortest = std::min(shortest, took);
    }
    return shortest < 1000 ? pass() : fail("the shortest of three waits of 100 ms lasted %ld ms", shortest);
}

Outcome reset() {
    const Event event = newEvent();
    if (!event) return notTried("there is no event");
    event->signal();
    event->reset();
    const int answer = event->wait(20);
    return answer == 1 ? pass() : fail("wait after reset() answers %d, not 1", answer);
}

Outcome sleeps() {
    for (int i = 0; i < 3; ++i) {
        const auto begun = now();
        OS().threading().sleep(50);
        const long took = inMs(now() - begun);
        if (took < 49) return fail("sleep(50) ended after %ld ms", took);
    }
    return pass();
}

constexpr Check checks[] = {
    {"event-sleep", &sleeps}, {"event-made", &made},   {"event-clear", &startsClear}, {"event-kept", &kept},
    {"event-wakes", &wakes},  {"event-taken", &taken}, {"event-timeout", &timeout},   {"event-reset", &reset},
};

}  // namespace

std::span<const Check> eventChecks() { return checks; }

}  // namespace hostcheck
