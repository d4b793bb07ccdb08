// The callbacks for bytes that arrive.
//
// Threads: any, except where an operation says otherwise. A removed registration is not called again. Removal by callback or
// context waits for running calls, except one that the removing thread itself is in. A registration that replaces another is
// called only after the other's last call has returned.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

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
        std::thread::id caller{};  ///< the thread that is in a call of it
        bool removed = false;
    };
    using Handle = std::shared_ptr<Registration>;
    using Handles = std::vector<Handle>;

    /// Takes them off the list, and returns those that are in a call of another thread. Under m_mutex.
    Handles takeWhere(const std::function<bool(const Registration&)>& matches);
    void removeAndWait(const std::function<bool(const Registration&)>& matches);
    /// Waits until no other registration of the same pair is in a call, or until this one is removed. Under `lock`.
    void waitForEarlier(const Registration& entry, std::unique_lock<std::mutex>& lock);

    std::mutex m_mutex;
    std::condition_variable m_changed;  ///< a call has returned, or a registration has been removed
    /// Never changed but replaced, so that a round of calls can go through it without a copy and without the lock.
    std::shared_ptr<const Handles> m_registrations = std::make_shared<const Handles>();
    Handles m_calls;  ///< those that are in a call, removed ones too
};

}  // namespace cvhost
