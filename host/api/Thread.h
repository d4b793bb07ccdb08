// The host's thread base class.
#pragma once

#include <atomic>

/// The host's thread priorities.
struct iThread {
    enum ePriority : int { priorityLow = 0, priorityNormal = 1, priorityHigh = 2 };
};

/// A thread with its body in a derived class. beginThread and endThread are for one owner, not for two threads at once.
class BasicThread {
public:
    BasicThread() noexcept;
    BasicThread(const BasicThread&) = delete;
    BasicThread& operator=(const BasicThread&) = delete;
    /// A derived class calls endThread first: by now its body is gone.
    virtual ~BasicThread();

    /// The thread's body.
    virtual void threadFn() = 0;

    /// Sets the keep-running flag and starts a thread that runs threadFn; `name` shows in the system's tools (15 characters
    /// at most). False, and nothing happens, while the thread runs already or when the system has no thread to give.
    bool beginThread(const char* name, iThread::ePriority priority);

    /// Clears the keep-running flag and waits until threadFn has returned. Harmless when no thread runs; called by the
    /// thread itself it does not wait.
    void endThread();

protected:
    /// True while the thread is wanted; its body polls this. [thread]
    bool keepRunning() const noexcept { return m_keepRunning.load(std::memory_order_relaxed); }
    /// Says that the thread's work is done. [thread]
    void stopRunning() noexcept { m_keepRunning.store(false, std::memory_order_relaxed); }

private:
    struct Running;

    std::atomic<bool> m_keepRunning{false};
    Running* m_running = nullptr;
};
