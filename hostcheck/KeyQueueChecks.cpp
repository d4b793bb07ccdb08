#include <atomic>
#include <bit>
#include <cstdint>

#include "host/api/ConsoleInput.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Task.h"

/// The driver does not need it, so a host that lacks it can be loaded: the checks that put handlers in place are not tried.
extern "C" ConsoleHandlerTable* hostcheckCurrentTable(ConsoleHandlerManager* manager) __asm__(
    "_ZN21ConsoleHandlerManager22getCurrentHandlerTableEv") __attribute__((weak));

namespace hostcheck {

ConsoleHandlerTable* handlerTable() {
    ConsoleHandlerManager* const manager = ConsoleHandlerManager::theManager();
    return &hostcheckCurrentTable == nullptr || manager == nullptr ? nullptr : hostcheckCurrentTable(manager);
}

namespace {

// A code that no key of a console has, so that a host does little with it.
constexpr int spareCode = 47;
constexpr int consoleFlags = 1536;

void queue(int presses, int handled) {
    for (int i = 0; i < presses; ++i) addToKeyPressQueue(spareCode, handled, consoleFlags);
}

Outcome codes() {
    for (int code = -100; code < 300; ++code) {
        const bool valid = code >= 0 && code < 48;
        if (is_valid_keycode(code) != valid) return fail("is_valid_keycode(%d) is %s", code, valid ? "false" : "true");
    }
    return pass();
}

Outcome atOnceAlways() {
    const auto begun = now();
    for (int i = 0; i < 20; ++i) {
        addToKeyPressQueue(spareCode, 0, consoleFlags);
        if (numNonCriticalKeysQueued() < 0) return fail("%d keys are queued", numNonCriticalKeysQueued());
    }
    return now() - begun < atOnce ? pass() : fail("20 keys took more than 3 s");
}

Outcome handledOnes() {
    const int before = numNonCriticalKeysQueued();
    queue(20, 1);
    const int after = numNonCriticalKeysQueued();
    return after <= before ? pass() : fail("20 presses that were handled raised the count from %d to %d", before, after);
}

Outcome threads() {
    std::atomic<int> begun = 0;
    const auto body = [&](BasicThread&) {
        ++begun;
        waitUntil([&] { return begun == 2; }, atOnce);
        queue(50, 1);
    };
    Task first(body);
    Task second(body);
    if (!first.begin() || !second.begin()) return notTried("no thread to be had");
    return first.endsWithin(4 * atOnce) && second.endsWithin(4 * atOnce) ? pass() : fail("100 keys took more than 12 s");
}

Outcome noTable() {
    ConsoleHandlerManager* const manager = ConsoleHandlerManager::theManager();
    if (manager == nullptr) return fail("theManager() is null");
    if (handlerTable() != nullptr) return notTried("the host has a handler table from the start");
    if (console_has_handler(5)) return fail("console_has_handler(5) holds");
    if (console_call_handler(5)) return fail("console_call_handler(5) holds");
    if (manager->executeHandler(5)) return fail("executeHandler(5) holds");
    return pass();
}

Outcome lastButton() {
    const volatile auto address = reinterpret_cast<std::uintptr_t>(&last_button_index);  // the compiler takes it for aligned
    if (address % alignof(int) != 0) return fail("it lies at %p", static_cast<void*>(&last_button_index));
    const std::atomic_ref<int> shared(last_button_index);
    const int before = shared.exchange(0x12345678);
    const int after = shared.exchange(before);
    return after == 0x12345678 ? pass() : fail("it holds 0x%08X after 0x12345678 was written", static_cast<unsigned>(after));
}

Outcome full() {
    constexpr int many = 3000;
    const auto begun = now();
    queue(many, 0);
    return now() - begun < atOnce ? pass() : fail("%d keys took more than 3 s", many);
}

constexpr Check checks[] = {
    {"keys-codes", &codes},
    {"keys-null-table", &noTable},
    {"keys-last-button", &lastButton},
    {"keys-at-once", &atOnceAlways},
    {"keys-count", &handledOnes},
    {"keys-threads", &threads},
    {"keys-full", &full},
};

}  // namespace

std::span<const Check> keyQueueChecks() { return checks; }

}  // namespace hostcheck
