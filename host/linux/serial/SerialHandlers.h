// The callbacks for bytes that arrive.
//
// Threads: any, except where an operation says otherwise. A removed registration is not called again. Removal by callback or
// context waits for running calls, except one that the removing thread itself is in. A registration that replaces another is
// called only after the other's last call has returned.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <thread>

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

    /// Calls the port's handlers, once each. On the port's receive thread.
    void call(const SerialPort& port);

private:
    struct Registration {
        const SerialPort* port;
        Callback callback;
        void* context;
        std::uint64_t number;      ///< later ones have greater ones
        std::thread::id caller{};  ///< the thread that is in a call of it
        bool reached = false;      ///< the receive thread is at it: it stays in the list
        bool removed = false;

        bool isFor(Callback otherCallback, void* otherContext) const {
            return callback == otherCallback && context == otherContext;
        }
    };
    using Registrations = std::list<Registration>;

    // None of these needs memory: a port must close where there is none.

    /// Under m_mutex.
    template <class Matches>
    void removeWhere(const Matches& matches);
    /// Waits for the calls of other threads too. Takes m_mutex.
    template <class Matches>
    void removeAndWait(const Matches& matches);
    /// Waits until no other registration of the same pair is in a call, or until this one is removed. Under `lock`.
    void waitForEarlier(const Registration& entry, std::unique_lock<std::mutex>& lock);

    std::mutex m_mutex;
    std::condition_variable m_changed;  ///< a call has returned, or a registration has been removed
    Registrations m_registrations;      ///< in their order; removed ones too while they are reached
    std::uint64_t m_next = 0;           ///< the next one's number
};

}  // namespace cvhost
