// The receive callback, and what happens to a port while it is in use.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "hostcheck/Checks.h"
#include "hostcheck/Port.h"

namespace hostcheck {
namespace {

constexpr milliseconds settled{60};

Outcome callEachByte() {
    constexpr unsigned count = 512;
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.settle();
    const unsigned before = port.calls();
    unsigned taken = 0;
    port.request(count);
    waitUntil(
        [&] {
            while (port.take() >= 0) ++taken;
            return taken >= count && port.calls() - before >= count;
        },
        atOnce);
    sleepFor(settled);
    const unsigned calls = port.calls() - before;
    if (taken != count) return notTried("%u of %u bytes have come", taken, count);
    return calls == count ? pass() : fail("%u calls for %u bytes", calls, count);
}

/// What the callbacks of one check have seen.
struct Seen {
    std::atomic<unsigned> calls = 0;
    std::atomic<unsigned> without = 0;
    std::atomic<std::uint64_t> thread = 0;
    std::atomic<bool> otherThread = false;
    std::atomic<bool> inside = false;
    std::atomic<bool> twice = false;
    std::atomic<bool> stay = false;
    std::atomic<bool> returned = false;
};

Outcome callAfterByte() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.settle();
    Seen seen;
    port.setOnCall(
        [](Port& self, void* context) {
            Seen& counted = *static_cast<Seen*>(context);
            if (self.take() < 0) ++counted.without;
            ++counted.calls;
        },
        &seen);
    port.request(256);
    waitUntil([&] { return seen.calls >= 256; }, atOnce);
    port.close();
    if (seen.calls == 0) return notTried("no callback has come");
    return seen.without == 0 ? pass() : fail("%u of %u calls found no byte", seen.without.load(), seen.calls.load());
}

void watchThreads(Port&, void* context) {
    Seen& seen = *static_cast<Seen*>(context);
    if (seen.inside.exchange(true)) seen.twice = true;
    const std::uint64_t thread = currentThread();
    std::uint64_t first = 0;
    if (!seen.thread.compare_exchange_strong(first, thread) && first != thread) seen.otherThread = true;
    sleepFor(milliseconds(1));
    ++seen.calls;
    seen.inside = false;
}

/// Has 128 bytes come in while callbacks are watched. False when none came.
bool watchCalls(Port& port, Seen& seen) {
    port.settle();
    port.setOnCall(&watchThreads, &seen);
    port.request(128);
    waitUntil([&] { return seen.calls >= 128; }, atOnce);
    port.close();
    return seen.calls != 0;
}

Outcome oneThread() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    Seen seen;
    if (!watchCalls(port, seen)) return notTried("no callback has come");
    return seen.otherThread ? fail("callbacks came on more than one thread") : pass();
}

Outcome neverTwice() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    Seen seen;
    if (!watchCalls(port, seen)) return notTried("no callback has come");
    return seen.twice ? fail("a call came before the one before had returned") : pass();
}

Outcome registerReplaces() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.registerAgain();
    port.registerAgain();
    port.settle();
    const unsigned before = port.calls();
    port.request(64);
    waitUntil([&] { return port.calls() - before >= 64; }, atOnce);
    sleepFor(settled);
    const unsigned calls = port.calls() - before;
    return calls <= 64 ? pass() : fail("%u calls for 64 bytes after registering three times", calls);
}

Outcome writers() {
    constexpr std::size_t size = 16;
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk(), port);
    std::atomic<int> begun = 0;
    const auto writer = [&](char letter) {
        return [&, letter](BasicThread&) {
            unsigned char record[size];
            std::memset(record, letter, size);
            record[size - 1] = '\n';
            ++begun;
            waitUntil([&] { return begun == 3; }, atOnce);
            for (int i = 0; i < 50; ++i) comms_putchs(port.handle(), record, size);
        };
    };
    port.send("records 150\n");
    Task first(writer('a'));
    Task second(writer('b'));
    Task third(writer('c'));
    if (!first.begin() || !second.begin() || !third.begin()) return notTried("no thread to be had");
    Text answer;
    const bool answered = port.readLine(answer);
    int count = 0;
    int mixed = 0;
    if (!answered || std::sscanf(answer.c_str(), "records %d mixed %d", &count, &mixed) != 2)
        return fail("150 writes of 16 bytes were made, and fewer have arrived");
    return mixed == 0 ? pass() : fail("%d of %d writes are mixed with others", mixed, count);
}

Outcome reopen() {
    Port first;
    HOSTCHECK_NEEDS(first.answers(), first);
    Port second;
    if (!second.handle()) return fail("a port that is open cannot be opened again");
    if (!second.answers()) return fail("the second opening hears nothing");
    if (comms_geterr(first.handle()) == 0) return fail("the first opening's handle reports no error");
    if (first.take() >= 0) return fail("the first opening's handle gives a byte");
    return comms_geterr(second.handle()) == 0 ? pass()
                                              : fail("the second opening reports error %d", comms_geterr(second.handle()));
}

void stayInside(Port&, void* context) {
    Seen& seen = *static_cast<Seen*>(context);
    ++seen.calls;
    seen.inside = true;
    waitUntil([&] { return !seen.stay; }, atOnce);
    seen.inside = false;
}

Outcome deregisterWaits() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    Seen seen;
    seen.stay = true;
    port.settle();
    port.setOnCall(&stayInside, &seen);
    port.request(1);
    if (!waitUntil([&] { return seen.inside.load(); }, atOnce)) return notTried("no callback has come");
    std::atomic<bool> asked = false;
    Task task([&](BasicThread&) {
        asked = true;
        port.deregister();
        seen.returned = true;
    });
    const bool begun = task.begin() && waitUntil([&] { return asked.load(); }, atOnce);
    const bool early = waitUntil([&] { return seen.returned.load(); }, milliseconds(500));
    seen.stay = false;
    task.endThread();
    waitUntil([&] { return !seen.inside; }, atOnce);
    if (!begun) return notTried("no thread to be had");
    return early ? fail("it returned while a call was running") : pass();
}

Outcome deregisterLast() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.settle();
    const unsigned before = port.calls();
    if (port.hasDesk())
        port.send("ticks 40 5\n");
    else
        port.request(40);
    if (!waitUntil([&] { return port.calls() > before; }, atOnce)) return notTried("no callback has come");
    port.deregister();
    const unsigned atReturn = port.calls();
    sleepFor(4 * settled);
    const unsigned later = port.calls();
    return later == atReturn ? pass() : fail("%u calls came afterwards", later - atReturn);
}

Outcome deregisterItself() {
    // Not on this stack: a call that does not return goes on using it.
    static Seen seen;
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.settle();
    port.setOnCall(
        [](Port& self, void*) {
            if (seen.inside.exchange(true)) return;
            self.deregister();
            seen.returned = true;
        },
        nullptr);
    port.request(1);
    if (!waitUntil([&] { return seen.inside.load(); }, atOnce)) return notTried("no callback has come");
    if (waitUntil([&] { return seen.returned.load(); }, atOnce)) return pass();
    waitUntil([&] { return seen.returned.load(); }, 3 * atOnce);
    return fail("it did not return to the callback that called it within 3 s");
}

Outcome closed() {
    Port port;
    if (!port.handle()) return notTried("the port cannot be opened");
    const Cv::Ptr<CommsPort> handle = port.handle();
    port.close();
    unsigned char byte = 'x';
    if (comms_geterr(handle) == 0) return fail("comms_geterr answers 0");
    if (comms_getc(handle, &byte) != -1 || comms_peekc(handle, &byte) != -1) return fail("it still gives bytes");
    if (comms_putchs(handle, &byte, 1) == 0) return fail("comms_putchs answers 0");
    comms_set_rts(handle, 1);
    return pass();
}

/// The object is looked at through a plain pointer, as by a thread that is about to count its handle.
Outcome closedLives() {
    const CommsPort* object = nullptr;
    {
        const Port port;
        if (!port.handle()) return notTried("the port cannot be opened");
        object = port.handle().get();
    }
    sleepFor(4 * settled);
    return object->references() >= 1 ? pass() : fail("nothing holds the closed port's object");
}

/// So many packets come at one go, 25,000 bytes: what lies between may keep them all while the host is held up.
constexpr unsigned burst = 5000;
constexpr unsigned bursts = 20;
constexpr unsigned packetSize = 5;

/// Packets with rising numbers, checked as they come.
struct Flood {
    std::atomic<unsigned> bytes = 0;
    std::atomic<unsigned> wrongAt = 0;

    void take(unsigned char byte) {
        static constexpr char digits[] = "0123456789abcdef";
        const unsigned place = bytes % packetSize;
        const unsigned number = bytes / packetSize % burst;
        const char wanted = place == packetSize - 1 ? ' ' : digits[number >> (12 - 4 * place) & 15];
        ++bytes;
        if (byte != static_cast<unsigned char>(wanted) && wrongAt == 0) wrongAt = bytes.load();
    }
};

Outcome flood() {
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk() && !port.isAdapter(), port);
    Flood seen;
    port.settle();
    port.setOnCall(
        [](Port& self, void* context) {
            for (int byte = self.take(); byte >= 0; byte = self.take()) {
                static_cast<Flood*>(context)->take(static_cast<unsigned char>(byte));
            }
        },
        &seen);
    unsigned wanted = 0;
    for (unsigned i = 0; i < bursts && seen.bytes == wanted; ++i) {
        Text command;
        command.add("packets %u\n", burst);
        port.send(command.c_str());
        wanted += burst * packetSize;
        for (unsigned before = wanted; seen.bytes < wanted && seen.bytes != before;) {
            before = seen.bytes;  // a slow machine may take longer, while bytes keep coming
            waitUntil([&] { return seen.bytes >= wanted; }, atOnce);
        }
    }
    port.close();
    if (seen.wrongAt != 0) return fail("byte %u of %u is not the one that was sent", seen.wrongAt.load(), wanted);
    return seen.bytes == wanted ? pass() : fail("%u of %u bytes have come", seen.bytes.load(), wanted);
}

Outcome lost() {
    {
        Port port;
        HOSTCHECK_NEEDS(port.hasDesk() && !port.isAdapter(), port);
        port.send("hang-up\n");
        if (!waitUntil([&] { return comms_geterr(port.handle()) != 0; }, 2 * atOnce))
            return fail("6 s after the line was cut comms_geterr answers 0");
        unsigned char byte = 'x';
        if (comms_getc(port.handle(), &byte) != -1 || comms_peekc(port.handle(), &byte) != -1)
            return fail("a lost port gives bytes");
        if (comms_putchs(port.handle(), &byte, 1) == 0) return fail("a lost port takes bytes");
    }
    const auto works = [] { return Port().answers(); };
    return waitUntil(works, 2 * atOnce) ? pass() : fail("the port does not work when it has come back");
}

constexpr Check checks[] = {
    {"serial-call-each-byte", &callEachByte},
    {"serial-call-after-byte", &callAfterByte},
    {"serial-call-one-thread", &oneThread},
    {"serial-call-alone", &neverTwice},
    {"serial-register-replaces", &registerReplaces},
    {"serial-writers", &writers},
    {"serial-reopen", &reopen},
    {"serial-closed", &closed},
    {"serial-closed-lives", &closedLives},
    {"serial-deregister-waits", &deregisterWaits},
    {"serial-deregister-last", &deregisterLast},
    {"serial-deregister-itself", &deregisterItself},
    {"serial-flood", &flood},
    {"serial-lost", &lost},
};

}  // namespace

std::span<const Check> serialThreadChecks() { return checks; }

}  // namespace hostcheck
