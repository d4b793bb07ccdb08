#include "hostcheck/Life.h"

#include <climits>
#include <cstring>
#include <string_view>

#include "host/api/Log.h"
#include "host/api/OS.h"
#include "host/api/Settings.h"
#include "hostcheck/Options.h"
#include "hostcheck/Platform.h"
#include "hostcheck/Results.h"

namespace hostcheck {
namespace {

constinit Life s_life;
constexpr std::size_t lastingSize = 1234;

unsigned char lastingByte(std::size_t i) { return static_cast<unsigned char>(i * 31 + 5); }

Outcome logWorks() {
    LogBoth("hostcheck: level %d, seed %llu\n", options().level, static_cast<unsigned long long>(options().seed));
    return pass();
}

Outcome layerWorks() {
    s_life.lasting = static_cast<unsigned char*>(OS().allocator().allocate(lastingSize, 16));
    if (s_life.lasting == nullptr) return fail("there is no memory");
    for (std::size_t i = 0; i < lastingSize; ++i) s_life.lasting[i] = lastingByte(i);
    return OS().threading().createThreadEvent(0, 0, 0) ? pass() : fail("createThreadEvent answers null");
}

Outcome settingsWork() {
    const int whole = config_int("hostcheck_no_such_setting", 41, INT_MIN, INT_MAX);
    if (whole != 41) return fail("config_int answers %d for a default of 41", whole);
    const double exact = config_double("hostcheck_no_such_setting", 0.25);
    return exact == 0.25 ? pass() : fail("config_double answers %g for a default of 0.25", exact);
}

constexpr Check loadingChecks[] = {
    {"life-log-in-statics", &logWorks},
    {"life-os-in-statics", &layerWorks},
    {"life-settings-in-statics", &settingsWork},
};

void listPromises() {
    for (std::size_t i = 0; i < promiseCount; ++i) {
        if (isChosen(Id(i))) LogBoth("hostcheck: list %d %s: %s\n", promises[i].level, promises[i].id, promises[i].text);
    }
}

void noteThread() {
    if (currentThread() != s_life.mainThread) s_life.otherThread = true;
    if (s_life.preUnloads != 0) ++s_life.afterPreUnload;
}

void recordManyLoads() {
    const Id id("life-many-loads");
    if (s_life.stayed) return record(id, fail("the library was loaded again and had not left the process"));
    if (options().loads < 100)
        return record(id,
                      notTried("set CORVANE_HOSTCHECK_LOADS=100 and load and unload the library as often in one process"));
    record(id, loadNumber() >= options().loads ? pass() : notTried("it was loaded %d times", loadNumber()));
}

void recordLasting() {
    const Id id("memory-lasting");
    if (s_life.lasting == nullptr) return record(id, notTried("there was no memory while the library was loaded"));
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < lastingSize; ++i) wrong += s_life.lasting[i] != lastingByte(i) ? 1U : 0U;
    OS().allocator().release(s_life.lasting);
    record(id, wrong == 0 ? pass() : fail("%zu of %zu bytes have changed", wrong, lastingSize));
}

/// Lives as long as the library is in the process.
class Residence {
public:
    Residence() {
        loadNumber(true);
        s_life.allocator = &OS().allocator();
        s_life.mainThread = currentThread();
        if (options().list) listPromises();
        if (options().list || isPassingThrough()) return;
        beginRun();
        for (const Check& check : loadingChecks) run(check);
    }
    Residence(const Residence&) = delete;
    Residence& operator=(const Residence&) = delete;
    ~Residence() {
        if (options().list || isPassingThrough()) return;
        if (s_life.postLoads == 0) record("life-first-answer", fail("the post-load hook was not called"));
        if (s_life.postLoads != 0 && s_life.inits == 0) record("life-console-found", fail("init() was not called"));
        record("life-preunload", s_life.preUnloads != 0 ? pass() : fail("the library leaves without the hook"));
        record("life-nothing-after", s_life.afterPreUnload == 0 ? pass() : fail("%d calls came", s_life.afterPreUnload));
        if (currentThread() != s_life.mainThread) s_life.otherThread = true;
        record("life-one-thread", s_life.otherThread ? fail("some of it was on another thread") : pass());
        recordLasting();
        recordManyLoads();
        giveUp("the host did not get so far");
        summarize();
    }
};

const Residence residence;

}  // namespace

Life& life() { return s_life; }

bool isPassingThrough() { return loadNumber() < options().loads; }

void noteFactory() {
    if (s_life.preUnloads != 0) {  // this is the next loading, by its number
        s_life.stayed = true;
        loadNumber(true);
        iAllocator* const allocator = s_life.allocator;
        unsigned char* const lasting = s_life.lasting;
        const std::uint64_t mainThread = s_life.mainThread;
        s_life.~Life();
        new (&s_life) Life{.allocator = allocator, .lasting = lasting, .mainThread = mainThread, .stayed = true};
        if (!isPassingThrough()) {
            beginRun();
            recordManyLoads();
            for (const Check& check : loadingChecks) run(check);
        }
    }
    noteThread();
    ++s_life.factoryCalls;
}

void notePostLoad() {
    noteThread();
    if (s_life.factoryCalls == 0) s_life.inOrder = false;
    ++s_life.postLoads;
    if (!isPassingThrough() && !options().list) record("life-first-answer", pass());
}

void notePostEnumeration() {
    noteThread();
    if (s_life.postLoads == 0) s_life.inOrder = false;
    ++s_life.postEnumerations;
}

void noteInit() {
    if (s_life.inits++ != 0 || isPassingThrough() || options().list) return;
    record("life-console-found", pass());
    if (s_life.postEnumerations == 0) s_life.inOrder = false;
    record("life-order", s_life.inOrder ? pass() : fail("factory, hooks and init() came in another order"));
}

void notePreUnload(bool componentsLeft) {
    if (isPassingThrough() || options().list) return;
    const bool once = s_life.postLoads == 1 && s_life.postEnumerations == 1;
    record("life-hooks-once", once ? pass()
                                   : fail("the post-load hook came %d times, the post-enumeration hook %d times",
                                          s_life.postLoads, s_life.postEnumerations));
    record("life-exit-first", s_life.exits != 0 ? pass() : fail("exit() has not been called"));
    if (componentsLeft)
        record("life-deletes-console", fail("the list is not empty after closedown()"));
    else
        record("life-deletes-console",
               s_life.consolesDeleted != 0 ? pass() : fail("closedown() did not delete the console"));
}

}  // namespace hostcheck
