#include <atomic>
#include <utility>

#include "host/api/ConsoleInput.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Port.h"
#include "hostcheck/Task.h"

namespace hostcheck {
namespace {

template <class Body>
class Handler final : public ConsoleHandler {
public:
    explicit Handler(Body body) : m_body(std::move(body)) {}
    bool execute(int code) override { return m_body(code); }

private:
    Body m_body;
};

/// A place in the host's own table where the host has no handler, while this object lives.
class Place {
public:
    Place() : m_table(handlerTable()) {
        for (int code = ConsoleHandlerTable::codes - 1; code >= 0 && m_code < 0; --code) {
            if (m_table != nullptr && (*m_table)[code] == nullptr) m_code = code;
        }
    }
    explicit Place(ConsoleHandler& handler) : Place() { put(&handler); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() { put(nullptr); }

    bool found() const { return m_code >= 0; }
    int code() const { return m_code; }
    void put(ConsoleHandler* handler) {
        if (found()) m_table->set(m_code, handler);
    }

private:
    ConsoleHandlerTable* m_table;
    int m_code = -1;
};

Outcome noPlace() { return notTried("the host's handler table has gone, or no room"); }

Outcome insideCall() {
    int code = -1;
    int runs = 0;
    std::uint64_t thread = 0;
    Handler handler([&](int given) {
        code = given;
        thread = currentThread();
        ++runs;
        return true;
    });
    const Place place(handler);
    if (!place.found()) return noPlace();
    if (!console_has_handler(place.code()))
        return fail("console_has_handler(%d) does not hold for a table with one", place.code());
    console_call_handler(place.code());
    if (runs == 0) return fail("console_call_handler(%d) returned before the handler had run", place.code());
    if (thread != currentThread()) return fail("the handler ran on another thread");
    return runs == 1 && code == place.code() ? pass()
                                             : fail("the handler of %d ran %d times, with %d", place.code(), runs, code);
}

Outcome answer() {
    bool taken = true;
    Handler handler([&](int) { return taken; });
    const Place place(handler);
    if (!place.found()) return noPlace();
    if (!console_call_handler(place.code())) return fail("false for a handler that took the key");
    taken = false;
    return console_call_handler(place.code()) ? fail("true for a handler that left the key") : pass();
}

Outcome execute() {
    int runs = 0;
    Handler handler([&](int) { return ++runs, true; });
    const Place place(handler);
    if (!place.found()) return noPlace();
    const bool taken = ConsoleHandlerManager::theManager()->executeHandler(static_cast<unsigned>(place.code()));
    return taken && runs == 1
               ? pass()
               : fail("executeHandler answers %s, and the handler ran %d times", taken ? "true" : "false", runs);
}

Outcome nested() {
    struct State {
        std::atomic<int> inner = 0;
        std::atomic<bool> done = false;
    };
    static State state;  // a call that does not return goes on using it
    Handler inner([&](int) {
        state.inner += numNonCriticalKeysQueued() >= 0 ? 1 : 0;
        return true;
    });
    const Place innerPlace(inner);
    Handler outer([&](int) { return console_call_handler(innerPlace.code()); });
    const Place outerPlace(outer);
    if (!innerPlace.found() || !outerPlace.found()) return noPlace();
    Task task([&](BasicThread&) {
        console_call_handler(outerPlace.code());
        state.done = true;
    });
    if (!task.begin()) return notTried("no thread to be had");
    const bool returned = waitUntil([&] { return state.done.load(); }, atOnce);
    task.endsWithin(3 * atOnce);
    if (!returned) return fail("a handler that calls another did not return within 3 s");
    return state.inner == 1 ? pass() : fail("the inner handler ran %d times", state.inner.load());
}

Outcome tableChanges() {
    int runs = 0;
    Place* own = nullptr;
    Handler handler([&](int) {
        own->put(nullptr);
        return ++runs, true;
    });
    Place place(handler);
    own = &place;
    if (!place.found()) return noPlace();
    console_call_handler(place.code());
    const bool again = console_call_handler(place.code());
    if (again || runs != 1) return fail("a handler that had left the table ran again");
    return console_has_handler(place.code()) ? fail("a handler that has left the table is still there") : pass();
}

/// On the receive thread, inside a handler, does all that exit() does.
Outcome exitInHandler() {
    struct State {
        std::atomic<bool> begun = false;
        std::atomic<bool> done = false;
        int code = -1;
    };
    static State state;
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    Handler handler([&](int) {
        port.deregister();
        comms_port_close(port.handle());
        return true;
    });
    const Place place(handler);
    if (!place.found()) return noPlace();
    state.code = place.code();
    port.settle();
    port.setOnCall(
        [](Port&, void*) {
            if (state.begun.exchange(true)) return;
            console_call_handler(state.code);
            state.done = true;
        },
        nullptr);
    port.request(3);
    if (!waitUntil([&] { return state.begun.load(); }, atOnce)) return notTried("no callback has come");
    const bool returned = waitUntil([&] { return state.done.load(); }, atOnce);
    waitUntil([&] { return state.done.load(); }, 3 * atOnce);
    return returned ? pass() : fail("the handler did not return within 3 s");
}

constexpr Check checks[] = {
    {"keys-handler", &insideCall},
    {"keys-answer", &answer},
    {"keys-execute", &execute},
    {"keys-nested", &nested},
    {"keys-table-changes", &tableChanges},
    {"keys-exit", &exitInHandler},
};

}  // namespace

std::span<const Check> handlerChecks() { return checks; }

}  // namespace hostcheck
