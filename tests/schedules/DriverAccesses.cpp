#include "tests/schedules/DriverAccesses.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/api/ConsoleInput.h"
#include "host/sim/World.h"
#include "monitor/RamImage.h"
#include "tests/schedules/Memory.h"
#include "tests/support/ConsoleTestAccess.h"

// The program's own values lie between these.
extern "C" char __data_start;  // NOLINT(bugprone-reserved-identifier): the linker's name
extern "C" char _end;          // NOLINT(bugprone-reserved-identifier): the linker's name

namespace schedules::accesses {

void (*broken)(const std::string&) = [](const std::string&) { std::abort(); };

namespace {

struct Byte {
    bool shared = false;  ///< by two threads, one of them writing, in any run of an earlier search
    bool found = false;   ///< the same, in this search
    std::uint64_t readers = 0;
    std::uint64_t writers = 0;
    const char* name = nullptr;
};

constexpr std::uintptr_t globalGrain = 8;

constinit bool s_on = false;
constinit bool s_exited = false;
constinit bool s_unloaded = false;
constinit bool s_learnt = false;
constinit bool s_all = false;
constinit sim::ScheduleSearch* s_search = nullptr;
constinit sim::Scheduler* s_scheduler = nullptr;
constinit std::uintptr_t s_console = 0;
constinit std::uintptr_t s_lamps = 0;
std::array<Byte, sizeof(Cv::Console)> s_bytes;
std::unordered_map<std::uintptr_t, Byte> s_globals;
std::unordered_map<std::uintptr_t, std::pair<std::uint64_t, std::uint64_t>> s_others;  // readers, writers
std::vector<Byte*> s_used;
std::vector<const sim::Thread*> s_threads;
std::array<bool, 64> s_repeats;  // by the place in s_threads
constinit const sim::Thread* s_lastThread = nullptr;
constinit std::size_t s_lastNumber = 0;

/// Lamps 1 to 4 show speed and wheel; 30, 31 and 46, the last, are the scripts'. The others are alike.
constexpr bool isLikeOthers(std::size_t lamp) { return lamp > 4 && lamp != 30 && lamp != 31 && lamp != 46; }

std::uintptr_t numberOf(const volatile void* address) { return reinterpret_cast<std::uintptr_t>(address); }

std::size_t currentThread() {
    const sim::Thread* current = &s_scheduler->current();
    if (current == s_lastThread) return s_lastNumber;
    const auto found = std::ranges::find(s_threads, current);
    const auto number = static_cast<std::size_t>(found - s_threads.begin());
    if (number == s_repeats.size()) broken("a run has too many threads");
    if (found == s_threads.end()) {
        s_threads.push_back(current);
        s_repeats[number] = false;
    }
    s_lastThread = current;
    s_lastNumber = number;
    return number;
}

/// Whether others use the byte too, as far as is known.
bool note(Byte& byte, Use use) {
    const std::uint64_t self = std::uint64_t{1} << currentThread();
    if ((byte.readers | byte.writers) == 0) s_used.push_back(&byte);
    (use == Use::reads ? byte.readers : byte.writers) |= self;
    const std::uint64_t all = byte.readers | byte.writers;
    if (!byte.found && byte.writers != 0 && (all & (all - 1)) != 0) byte.found = s_learnt = true;
    return byte.shared || s_all;
}

bool isGlobal(std::uintptr_t address) { return address >= numberOf(&__data_start) && address < numberOf(&_end); }

/// Other memory of a run must not be shared: its places have no names that are the same in every run.
void requireOwn(std::uintptr_t address, std::size_t bytes, Use use) {
    const std::uint64_t self = std::uint64_t{1} << currentThread();
    for (std::uintptr_t at = address / globalGrain; at <= (address + bytes - 1) / globalGrain; ++at) {
        auto& [readers, writers] = s_others[at];
        (use == Use::reads ? readers : writers) |= self;
        const std::uint64_t all = readers | writers;
        if (writers != 0 && (all & (all - 1)) != 0) {
            broken(sim::Scheduler::nameOf(s_scheduler->current()) + " shares memory outside the known fields, after " +
                   sim::Scheduler::placeOf(s_scheduler->current()));
        }
    }
}

/// The name of a shared place; null when this access is no scheduling point.
const char* placeOf(std::uintptr_t address, std::size_t bytes, Use use) {
    const char* place = nullptr;
    if (address - s_console < sizeof(Cv::Console)) {
        const std::uintptr_t lamp = (address - s_lamps) / sizeof(std::int32_t);
        if (lamp < ConsoleTestAccess::lampEntries) s_repeats[currentThread()] = isLikeOthers(lamp);
        for (std::uintptr_t at = address - s_console; bytes != 0 && at < sizeof(Cv::Console); ++at, --bytes) {
            if (note(s_bytes[at], use)) place = s_bytes[at].name != nullptr ? s_bytes[at].name : "the console object";
        }
        return place;
    }
    if (isGlobal(address)) {
        for (std::uintptr_t at = address / globalGrain; at <= (address + bytes - 1) / globalGrain; ++at) {
            Byte& byte = s_globals[at];
            if (note(byte, use)) place = byte.name != nullptr ? byte.name : "a value of the module";
        }
        return place;
    }
    if (use == Use::counts) return "the count of a handle";
    requireOwn(address, bytes, use);
    return nullptr;
}

void requireNoReceiver() {
    if (!s_exited) return;
    const std::string& self = sim::Scheduler::nameOf(s_scheduler->current());
    if (self.starts_with("rx ")) broken(self + " is in the driver after exit()");
}

void requireLive(const void* address) {
    requireNoReceiver();
    if (memory::stateOf(address) != memory::State::ended) return;
    const sim::Thread& self = s_scheduler->current();
    broken(sim::Scheduler::nameOf(self) + " uses memory after its end, last seen at " + sim::Scheduler::placeOf(self));
}

/// What is done before another thread may go on: the name of the place if it is a scheduling point, or null.
const char* beforeAccess(const void* address, std::size_t bytes, Use use) {
    requireLive(address);
    if (!s_search->isOpen()) return nullptr;
    const memory::Outside notTheRuns;
    const char* place = placeOf(numberOf(address), bytes, use);
    if (place != nullptr && !isRepetition()) return place;
    s_search->pass();
    return nullptr;
}

template <class Field>
void name(Field& field, const char* text) {
    const std::uintptr_t begin = numberOf(&field);
    for (std::uintptr_t at = begin; at < begin + sizeof(Field); ++at) {
        if (at - s_console < sizeof(Cv::Console)) {
            s_bytes[at - s_console].name = text;
        } else {
            s_globals[at / globalGrain].name = text;
        }
    }
}

void nameFields(Cv::Console& console) {
    using Access = ConsoleTestAccess;
    name(Access::wheelEnabled(console), "m_wheelEnabled");
    name(Access::enabled(console), "m_enabled");
    name(Access::shuttleOffset(console), "m_shuttleOffset");
    name(Access::jogDelta(console), "m_jogDelta");
    name(Access::state(console), "m_state");
    name(Access::version(console), "m_version");
    name(Access::monitorMode(console), "m_monitorMode");
    name(Access::blinkPending(console), "m_blinkPending");
    for (int lamp = 0; lamp < Access::lampEntries; ++lamp) name(Access::lampState(console, lamp), "m_lampState");
    for (int code = 0; code < Access::keyEntries; ++code) name(Access::keyDown(console, code), "m_keyDown");
    name(Access::port(console), "m_port");
    name(Access::rxEvent(console), "m_rxEvent");
    name(Access::rxCount(), "s_rxCount");
    name(Access::rxExpected(), "s_rxExpected");
    name(Access::statusLead(), "s_statusLead");
    name(ShuttlePacketSize, "ShuttlePacketSize");
    name(m_pgmName, "m_pgmName");
    name(last_button_index, "last_button_index");
}

}  // namespace

void begin(sim::ScheduleSearch& search, Cv::Console& console) {
    const memory::Outside notTheRuns;
    s_search = &search;
    s_scheduler = &sim::World::current()->scheduler();
    s_console = numberOf(&console);
    s_lamps = numberOf(&ConsoleTestAccess::lampState(console, 0));
    for (Byte* byte : s_used) byte->readers = byte->writers = 0;
    s_used.clear();
    s_others.clear();
    s_threads.clear();
    s_lastThread = nullptr;
    nameFields(console);
    s_exited = s_unloaded = false;
    s_on = true;
}

void end() { s_on = false; }

void takeOver() { s_others.clear(); }

bool isRepetition() { return s_repeats[currentThread()]; }

void exited() { s_exited = true; }
void driverUnloaded() { s_unloaded = true; }
bool learnt() { return s_learnt; }

void takeLearnt() {
    for (Byte& byte : s_bytes) byte.shared = byte.found;
    for (auto& [place, byte] : s_globals) byte.shared = byte.found;
    s_learnt = false;
}

void takeAll() { s_all = true; }

void forget() {
    s_bytes.fill({});
    s_globals.clear();
    s_used.clear();
    s_learnt = false;
}

void enterFunction() {
    if (!s_on) return;
    requireNoReceiver();
    if (s_unloaded) broken(sim::Scheduler::nameOf(s_scheduler->current()) + " is in the driver after its unloading");
}

void touch(const volatile void* pointer, std::size_t bytes, Use use, Manner) {
    if (!s_on) return;
    const void* address = const_cast<const void*>(pointer);
    if (memory::stateOf(address) == memory::State::unknown && !isGlobal(numberOf(address))) return;  // a stack, a constant
    s_on = false;  // templates that this file shares with the driver
    const char* place = beforeAccess(address, bytes, use);
    s_on = true;
    if (place == nullptr) return;
    s_scheduler->point(place);
    requireLive(address);
}

}  // namespace schedules::accesses
