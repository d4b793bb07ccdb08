// What the main thread waits for: events on other threads, signals to end, and time.
#pragma once

#include <atomic>
#include <chrono>

namespace common {

/// Construct it before any other thread starts: it blocks the signals that it takes, in this thread and all later ones.
/// SIGINT and SIGTERM, and every other signal that ends a process unless it is caught (SIGHUP, SIGQUIT, SIGUSR1, real-time
/// signals and so on), unless the program was started with it ignored. Not among them: SIGPIPE and SIGXFSZ, which are errors
/// of a write (letWritesFail), and faults of the program itself (SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP),
/// after which it cannot be trusted.
class MainLoop {
public:
    MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;
    ~MainLoop();

    /// Ends the present or the next wait. Any thread; never waits.
    void signal() noexcept;
    /// Ends every wait from now on with Cause::end. Any thread; never waits.
    void end() noexcept;

    enum class Cause { event, time, end };
    /// Waits for `signal`, a signal to end, or the end of `timeout`.
    Cause wait(std::chrono::milliseconds timeout);

private:
    int m_event;
    int m_signals = -1;
    std::atomic<bool> m_ended = false;
};

}  // namespace common
