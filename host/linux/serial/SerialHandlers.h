// Who is called for bytes that arrive.
//
// Threads: any thread. A removed registration is not called again. Removing one by its callback or context waits until no
// call of it is running, but for the call that the removing thread itself is in; one that has replaced another is not called
// before the other's last call has returned.
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

    /// Has `callback(context)` called for bytes of `port`, in place of an earlier registration of the pair. Does not wait.
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

    /// Takes them off the list. Those of them that are in a call of another thread. Under m_mutex.
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
