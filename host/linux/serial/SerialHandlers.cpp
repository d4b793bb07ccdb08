#include "host/linux/serial/SerialHandlers.h"

#include "host/core/Everlasting.h"
#include "host/core/Failure.h"
#include "host/linux/serial/SerialPort.h"

namespace cvhost {

SerialHandlers& SerialHandlers::instance() {
    static Everlasting<SerialHandlers> handlers;
    return *handlers;
}

template <class Matches>
SerialHandlers::Seat* SerialHandlers::find(const Matches& matches) const {
    Seat* seat = m_seats.load(std::memory_order_acquire);
    while (seat != nullptr && !matches(*seat, seat->state.load(std::memory_order_acquire))) seat = seat->next;
    return seat;
}

SerialHandlers::Seat& SerialHandlers::freeSeat() {
    Seat* seat = find([](const Seat&, State state) { return state.phase() == Phase::free; });
    if (seat == nullptr) {
        seat = new Seat{.next = m_seats};
        m_seats.store(seat, std::memory_order_release);
    }
    return *seat;
}

void SerialHandlers::add(const SerialPort& port, Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    const auto isTaken = [&](const Seat& seat, State state) {
        return state.phase() != Phase::free && seat.isFor(callback, context);
    };
    const auto isRegistered = [&](const Seat& seat, State state) {
        return isTaken(seat, state) && state.phase() != Phase::leaving && seat.port == &port;
    };
    if (find(isRegistered) != nullptr) return;  // it stays: no byte passes without a call
    Seat& seat = freeSeat();
    removeWhere([&](const Seat& each) { return each.isFor(callback, context); });
    const bool earlierRuns = find(isTaken) != nullptr;
    seat.callback = callback;
    seat.context = context;
    seat.port.store(&port, std::memory_order_release);
    const std::uint64_t number = m_nextNumber;
    seat.state.store(State(number, earlierRuns ? Phase::behind : Phase::ready), std::memory_order_release);
    m_nextNumber.store(number + 1, std::memory_order_release);
}

void SerialHandlers::remove(Callback callback, void* context) {
    removeAndWait([=](const Seat& seat) { return seat.isFor(callback, context); });
}

void SerialHandlers::forget(Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    removeWhere([=](const Seat& seat) { return seat.isFor(callback, context); });
}

void SerialHandlers::removeAllOf(const SerialPort& port) {
    const std::lock_guard lock(m_mutex);
    removeWhere([&](const Seat& seat) { return seat.port == &port; });
}

void SerialHandlers::removeAllWith(void* context) {
    removeAndWait([=](const Seat& seat) { return seat.context == context; });
}

template <class Matches>
void SerialHandlers::removeWhere(const Matches& matches) {
    find([&](Seat& seat, State state) {
        const auto isRegistered = [&] { return state.phase() != Phase::free && state.phase() != Phase::leaving; };
        const auto after = [&] {
            return State(state.number(), state.phase() == Phase::running ? Phase::leaving : Phase::free);
        };
        while (isRegistered() && matches(seat) && !seat.state.compare_exchange_weak(state, after())) {
        }
        return false;
    });
    m_changed.notify_all();
}

template <class Matches>
void SerialHandlers::removeAndWait(const Matches& matches) {
    std::unique_lock lock(m_mutex);
    removeWhere(matches);
    const auto isInCall = [&, end = m_nextNumber.load()](const Seat& seat, State state) {
        return state.phase() == Phase::leaving && state.number() < end && matches(seat) &&
               !seat.port.load()->isReceiveThread();
    };
    m_changed.wait(lock, [&] { return find(isInCall) == nullptr; });
}

void SerialHandlers::waitForEarlier(Seat& seat, State state) {
    std::unique_lock lock(m_mutex);
    const auto isEarlier = [&](const Seat& each, State its) {
        return its.phase() == Phase::leaving && each.isFor(seat.callback, seat.context);
    };
    m_changed.wait(lock, [&] { return seat.state.load() != state || find(isEarlier) == nullptr; });
    seat.state.compare_exchange_strong(state, State(state.number(), Phase::ready));
}

void SerialHandlers::run(Seat& seat, State state) {
    if (state.phase() == Phase::behind) waitForEarlier(seat, state);
    const State ready(state.number(), Phase::ready);
    State expected = ready;
    State running(state.number(), Phase::running);
    if (!seat.state.compare_exchange_strong(expected, running)) return;
    guarded([&] { seat.callback(seat.context); });
    if (seat.state.compare_exchange_strong(running, ready)) return;
    const std::lock_guard lock(m_mutex);
    seat.state = State{};
    m_changed.notify_all();
}

void SerialHandlers::call(const SerialPort& port) {
    const std::uint64_t end = m_nextNumber.load(std::memory_order_acquire);  // one that a call adds comes with the next byte
    for (std::uint64_t from = 0; from < end; ++from) {
        Seat* next = nullptr;
        State first(end, Phase::free);
        find([&](Seat& seat, State state) {
            const bool waits = state.phase() == Phase::ready || state.phase() == Phase::behind;
            if (waits && seat.port.load(std::memory_order_acquire) == &port && state.number() >= from &&
                state.number() < first.number()) {
                next = &seat;
                first = state;
            }
            return false;
        });
        if (next == nullptr) return;
        run(*next, first);
        from = first.number();
    }
}

}  // namespace cvhost
