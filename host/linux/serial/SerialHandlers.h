// The callbacks for bytes that arrive.
//
// Threads: any, except where an operation says otherwise. A removed registration is not called again. Removal by callback or
// context waits for running calls, except one that the removing thread itself is in. A registration that replaces another is
// called only after the other's last call has returned.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace cvhost {

class SerialPort;

class SerialHandlers {
public:
    using Callback = bool (*)(void*);

    static SerialHandlers& instance();

    /// Calls `callback(context)` for bytes of `port` from now on, in place of an earlier registration of the pair. Does not
    /// wait.
    void add(const SerialPort& port, Callback callback, void* context);
    void remove(Callback callback, void* context);
    // These two do not wait.
    void forget(Callback callback, void* context);
    void removeAllOf(const SerialPort& port);
    void removeAllWith(void* context);

    /// Calls the port's handlers, once each, in the order of their registration. On the port's receive thread. Takes a lock
    /// only after a handler has been removed or replaced while it ran.
    void call(const SerialPort& port);

private:
    /// docs/threads.md has the table of what follows what. Seats are given and taken back under m_mutex.
    enum class Phase : std::uint64_t {
        free,
        ready,
        behind,   ///< the registration that it replaces is still in a call
        running,  ///< the receive thread is in a call of it
        leaving,  ///< the same, and it has been removed
    };
    class State {
    public:
        State() = default;
        /// `number` is the registration's; later ones have greater ones.
        State(std::uint64_t number, Phase phase) : m_value(number << phaseBits | static_cast<std::uint64_t>(phase)) {}

        std::uint64_t number() const { return m_value >> phaseBits; }
        Phase phase() const { return static_cast<Phase>(m_value & ((1U << phaseBits) - 1)); }
        bool operator==(const State&) const = default;

    private:
        static constexpr int phaseBits = 3;
        std::uint64_t m_value = 0;
    };
    /// Room for a registration. It stays for the next one, so that looking at it needs no lock.
    struct Seat {
        std::atomic<State> state = State{};
        std::atomic<const SerialPort*> port = nullptr;
        // Written while it is free, under m_mutex; read under m_mutex, and by the thread that runs it.
        Callback callback = nullptr;
        void* context = nullptr;
        Seat* const next = nullptr;

        bool isFor(Callback otherCallback, void* otherContext) const {
            return callback == otherCallback && context == otherContext;
        }
    };

    /// The first for which `matches(seat, state)`, or null; `state` is the seat's at the time.
    template <class Matches>
    Seat* find(const Matches& matches) const;
    /// Under m_mutex.
    Seat& freeSeat();
    /// Under m_mutex. Needs no memory: a port must close where there is none.
    template <class Matches>
    void removeWhere(const Matches& matches);
    /// Waits for the calls of other threads too. Takes m_mutex.
    template <class Matches>
    void removeAndWait(const Matches& matches);
    /// Waits until the call of the registration that this one replaces has returned, or until this one is removed.
    void waitForEarlier(Seat& seat, State state);
    /// Makes a call, unless the registration has been removed. [rx]
    void run(Seat& seat, State state);

    std::mutex m_mutex;
    std::condition_variable m_changed;            ///< a seat has become free
    std::atomic<Seat*> m_seats = nullptr;         ///< as many as there once were registrations at a time
    std::atomic<std::uint64_t> m_nextNumber = 0;  ///< changes under m_mutex
};

}  // namespace cvhost
