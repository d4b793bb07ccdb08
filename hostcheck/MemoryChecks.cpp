#include <atomic>
#include <cstdint>
#include <cstring>

#include "host/api/OS.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Life.h"
#include "hostcheck/Options.h"
#include "hostcheck/Task.h"

namespace hostcheck {
namespace {

Outcome same() {
    const iAllocator* const first = life().allocator;
    if (&OS().allocator() != first) return fail("OS().allocator() is another than while the library was loaded");
    if (&hostAllocator() != first) return fail("hostAllocator() and OS().allocator() are two");
    return pass();
}

Outcome alignment() {
    constexpr int blocks = 16;
    for (std::size_t wanted = 1; wanted <= 4096; wanted *= 2) {
        void* block[blocks] = {};
        std::size_t wrong = 0;
        for (void*& memory : block) {
            memory = OS().allocator().allocate(wanted + 24, wanted);
            if (memory == nullptr || reinterpret_cast<std::uintptr_t>(memory) % wanted != 0) ++wrong;
        }
        for (void* memory : block) OS().allocator().release(memory);
        if (wrong != 0) return fail("%zu of %d blocks are not aligned to %zu", wrong, blocks, wanted);
    }
    return pass();
}

Outcome zeroBytes() {
    void* const first = OS().allocator().allocate(0, 1);
    void* const second = OS().allocator().allocate(0, 1);
    const bool apart = first != nullptr && second != nullptr && first != second;
    OS().allocator().release(first);
    if (second != first) OS().allocator().release(second);
    return apart ? pass() : fail("two requests for 0 bytes gave %p and %p", first, second);
}

Outcome none() {
    void* const memory = OS().allocator().allocate(std::size_t{1} << 62, 16);
    if (memory == nullptr) return pass();
    OS().allocator().release(memory);
    return fail("a request for 2^62 bytes was answered with an address");
}

constexpr std::size_t sharedBlock = 200;
constexpr int threadCount = 3;
constexpr int rounds = 200;

/// Three threads allocate, fill, look, and hand each block on to the next thread, which releases it.
struct Exchange {
    std::atomic<unsigned char*> place[threadCount]{};
    std::atomic<int> begun = 0;
    std::atomic<int> broken = 0;

    static void release(unsigned char* memory) {
        if (memory != nullptr) OS().allocator().release(memory);
    }
    void work(std::size_t number) {
        ++begun;
        waitUntil([this] { return begun == threadCount; }, atOnce);
        const auto own = static_cast<unsigned char>(0x11 * (number + 1));
        for (int round = 0; round < rounds && broken == 0; ++round) {
            auto* const memory = static_cast<unsigned char*>(OS().allocator().allocate(sharedBlock, 16));
            if (memory == nullptr) {
                ++broken;
                return;
            }
            std::memset(memory, own, sharedBlock);
            if (round % 64 == 0) sleepFor(milliseconds(1));  // so that they overlap
            for (std::size_t i = 0; i < sharedBlock; ++i) {
                if (memory[i] != own) ++broken;
            }
            release(place[(number + 1) % threadCount].exchange(nullptr));
            release(place[number].exchange(memory));
        }
    }
};

Outcome threads() {
    Exchange exchange;
    const auto worker = [&exchange](std::size_t number) {
        return [&exchange, number](BasicThread&) { exchange.work(number); };
    };
    Task first(worker(0));
    Task second(worker(1));
    Task third(worker(2));
    if (!first.begin() || !second.begin() || !third.begin()) return notTried("no thread to be had");
    if (!first.endsWithin(4 * atOnce) || !second.endsWithin(4 * atOnce) || !third.endsWithin(4 * atOnce))
        return fail("200 blocks on each of 3 threads took more than 12 s");
    for (auto& place : exchange.place) Exchange::release(place.exchange(nullptr));
    return exchange.broken == 0 ? pass() : fail("a block did not keep what its thread had written");
}

Outcome nullRelease() {
    OS().allocator().release(nullptr);
    return pass();
}

Outcome handleCount() {
    const Cv::Ptr<iThreadEvent> event = OS().threading().createThreadEvent(0, 0, 0);
    if (!event) return notTried("there is no event");
    if (event->references() != 1) return fail("a new event's only handle counts as %d", event->references());
    Cv::Ptr<iThreadEvent> copy = event;
    copy->signal();
    static_cast<void>(copy->wait(0));
    copy = {};
    if (event->references() != 1) return fail("after its calls the event has %d references, not 1", event->references());
    return pass();
}

constexpr Check checks[] = {
    {"memory-same", &same},        {"memory-alignment", &alignment}, {"memory-zero", &zeroBytes},
    {"memory-threads", &threads},  {"handles-count", &handleCount},  {"memory-none", &none},
    {"memory-null", &nullRelease},
};

}  // namespace

std::span<const Check> memoryChecks() { return checks; }

}  // namespace hostcheck
