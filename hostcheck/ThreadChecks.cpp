#include <atomic>

#include "hostcheck/Checks.h"
#include "hostcheck/Task.h"

namespace hostcheck {

Text taskName() {
    static constinit std::atomic<unsigned> number{0};
    Text name;
    name.add("HostCheck %u", ++number);
    return name;
}

namespace {

Outcome newThread() {
    std::atomic<std::uint64_t> thread = 0;
    std::atomic<bool> stay = true;
    Task task([&](BasicThread&) {
        thread = currentThread();
        waitUntil([&] { return !stay; }, atOnce);
    });
    const bool begun = task.begin();
    const bool returnedFirst = !task.ended();
    stay = false;
    if (!begun) return fail("beginThread answers false");
    if (!returnedFirst) return fail("beginThread returned only when the body had");
    if (!task.endsWithin(atOnce)) return fail("the body has not run within 3 s");
    return thread != currentThread() ? pass() : fail("the body ran on the caller's thread");
}

Outcome keepRunningFlag() {
    std::atomic<bool> seenSet = false;
    std::atomic<bool> seenCleared = false;
    Task task([&](auto& self) {
        seenSet = self.wanted();
        seenCleared = waitUntil([&] { return !self.wanted(); }, atOnce);
    });
    if (!task.begin()) return notTried("no thread to be had");
    waitUntil([&] { return seenSet.load(); }, atOnce);
    task.endThread();
    const bool ended = task.endsWithin(2 * atOnce);
    if (!seenSet) return fail("the flag was not set when the body began");
    return ended && seenCleared ? pass() : fail("the flag was not cleared within 3 s of endThread");
}

Outcome endWaits() {
    std::atomic<bool> running = false;
    Task task([&](auto& self) {
        running = true;
        waitUntil([&] { return !self.wanted(); }, atOnce);
        sleepFor(milliseconds(300));
    });
    if (!task.begin()) return notTried("no thread to be had");
    waitUntil([&] { return running.load(); }, atOnce);
    task.endThread();
    const bool waited = task.ended();
    task.endsWithin(2 * atOnce);
    return waited ? pass() : fail("endThread returned 300 ms before the body did");
}

Outcome twice() {
    std::atomic<int> bodies = 0;
    Task task([&](auto& self) {
        ++bodies;
        waitUntil([&] { return !self.wanted(); }, atOnce);
    });
    if (!task.begin()) return notTried("no thread to be had");
    waitUntil([&] { return bodies != 0; }, atOnce);
    const bool second = task.begin();
    task.endThread();
    task.endsWithin(atOnce);
    if (second) return fail("beginThread answers true while the body runs");
    return bodies == 1 ? pass() : fail("%d bodies ran", bodies.load());
}

Outcome again() {
    std::atomic<int> bodies = 0;
    Task task([&](BasicThread&) { ++bodies; });
    if (!task.begin() || !task.endsWithin(atOnce)) return notTried("the thread does not run once");
    // The flag of ended() is set in the body: the thread itself may need a moment more.
    if (!waitUntil([&] { return task.begin(); }, atOnce))
        return fail("beginThread answers false for 3 s after the body's end");
    const bool ran = waitUntil([&] { return bodies == 2; }, atOnce);
    return ran ? pass() : fail("the body did not run a second time");
}

Outcome endsItself() {
    struct State {
        std::atomic<bool> returned = false;
    };
    auto* const state = new State;
    auto body = [state](auto& self) {
        self.endThread();
        state->returned = true;
    };
    auto* const task = new Task<decltype(body)>(body);
    if (!task->begin()) {
        delete task;
        delete state;
        return notTried("no thread to be had");
    }
    if (!waitUntil([&] { return state->returned.load(); }, atOnce)) {
        waitUntil([&] { return task->ended(); }, 3 * atOnce);  // it uses this library: let it go first if it does
        return fail("endThread did not return to the body that called it within 3 s");
    }
    task->endsWithin(atOnce);
    delete task;
    delete state;
    return pass();
}

constexpr Check checks[] = {
    {"thread-new", &newThread}, {"thread-flag", &keepRunningFlag}, {"thread-end-waits", &endWaits},
    {"thread-twice", &twice},   {"thread-again", &again},          {"thread-ends-itself", &endsItself},
};

}  // namespace

std::span<const Check> threadChecks() { return checks; }

}  // namespace hostcheck
