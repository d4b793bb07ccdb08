// Every atomic access of the serial library is a scheduling point, as its locks and the system's functions are. What it
// reads and writes plainly belongs to one thread, or is under a lock: the thread sanitizer looks for what is not.
#include "tests/schedules/serial/SerialAccesses.h"

#include <cstdlib>

#include "tests/schedules/Accesses.h"
#include "tests/schedules/Memory.h"

namespace schedules::accesses {

void (*broken)(const std::string&) = [](const std::string&) { std::abort(); };

namespace {

constinit sim::Scheduler* s_scheduler = nullptr;

void requireLive(const volatile void* address) {
    if (memory::stateOf(const_cast<const void*>(address)) != memory::State::ended) return;
    const sim::Thread& self = s_scheduler->current();
    broken(sim::Scheduler::nameOf(self) + " uses memory after its end, last seen at " + sim::Scheduler::placeOf(self));
}

}  // namespace

void begin(sim::Scheduler& scheduler) { s_scheduler = &scheduler; }
void end() { s_scheduler = nullptr; }

void touch(const volatile void* address, std::size_t, Use, Manner manner) {
    if (s_scheduler == nullptr) return;
    requireLive(address);
    if (manner == Manner::plain) return;
    s_scheduler->point("a shared value");
    requireLive(address);
}

void enterFunction() {}
bool learnt() { return false; }
void takeLearnt() {}
void takeAll() {}
void forget() {}

}  // namespace schedules::accesses
