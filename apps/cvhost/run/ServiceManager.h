// Notifies the service manager that started this program: that it is ready, what it is doing, that its main loop turns.
// Does nothing without a service manager.
//
// Threads: the application's main thread.
#pragma once

#include <chrono>
#include <string>

namespace cvhost::run {

class ServiceManager {
public:
    using Clock = std::chrono::steady_clock;

    /// Finds the service manager by the environment (NOTIFY_SOCKET, WATCHDOG_USEC).
    ServiceManager();

    bool isPresent() const { return m_present; }

    /// Reports readiness: the manager may start what is ordered after this program.
    void ready();
    /// One sentence without a full stop. The same one again is not sent.
    void tellStatus(const std::string& sentence);
    /// Call it each time the main loop turns. Feeds the watchdog at most four times within its timeout.
    void loopTurned(Clock::time_point now);
    /// The longest time, up to `wanted`, that the main loop may wait.
    Clock::duration longestWait(Clock::duration wanted) const;
    void stopping();

private:
    bool m_present;
    bool m_ready = false;
    std::string m_status;
    Clock::duration m_feedInterval{};  ///< zero: there is no watchdog
    Clock::time_point m_nextFeed{};
};

}  // namespace cvhost::run
