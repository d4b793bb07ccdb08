// Who is called for bytes that arrive.
//
// Threads: any thread. A removed registration is not called again; removing one waits until no call of it is running, but
// for the call that the removing thread itself is in.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace cvhost {

class SerialPort;

class SerialHandlers {
public:
    using Callback = bool (*)(void*);

    static SerialHandlers& instance();

    /// Has `callback(context)` called for bytes of `port`; the same pair is removed first.
    void add(const SerialPort& port, Callback callback, void* context);
    void remove(Callback callback, void* context);
    void removeAllOf(const SerialPort& port);
    void removeAllWith(void* context);

    /// Calls the port's handlers, once each. On the port's receive thread.
    void call(const SerialPort& port);

private:
    struct Registration {
        const SerialPort* port;
        Callback callback;
        void* context;
        std::thread::id caller{};  ///< the thread that is in a call of it
        bool removed = false;      ///< while a call runs; the caller then takes it off the list
    };

    void removeWhere(const std::function<bool(const Registration&)>& matches);

    std::mutex m_mutex;
    std::condition_variable m_returned;
    std::list<std::shared_ptr<Registration>> m_registrations;
};

}  // namespace cvhost
