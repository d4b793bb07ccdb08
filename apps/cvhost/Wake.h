// What the main thread waits for: events on other threads, signals to end, and time.
#pragma once

#include <chrono>

namespace cvhost {

/// Construct it before any other thread starts: it blocks the signals that it takes, in this thread and all later ones.
/// SIGINT, SIGTERM, and SIGHUP unless the program was started with it ignored.
class Wake {
public:
    Wake();
    Wake(const Wake&) = delete;
    Wake& operator=(const Wake&) = delete;
    ~Wake();

    /// Ends the present or the next wait. Any thread; never waits.
    void signal() noexcept;

    enum class Cause { event, time, end };
    /// Waits for `signal`, a signal to end, or the end of `timeout`.
    Cause wait(std::chrono::milliseconds timeout);

private:
    int m_event;
    int m_signals = -1;
};

}  // namespace cvhost
