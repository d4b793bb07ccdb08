// What happens in the host while the doctor looks at a console.
//
// Threads: any.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "apps/cvhost/wire/Startup.h"
#include "host/api/ConsoleInput.h"
#include "host/core/Events.h"

namespace cvhost::doctor {

/// What has happened so far.
struct SeenEvents {
    wire::StartupFacts startup{};  ///< until start-up came to an end, and nothing after that
    std::string log{};             ///< what was logged, and what was sent; of each no more than a mebibyte
    std::string sent{};
    bool portLost = false;                                    ///< at any time
    std::array<unsigned, ConsoleHandlerTable::codes> keys{};  ///< how often each has been queued
};

class EventLog {
public:
    /// `wake` is called after each event, on the event's thread; `record` takes all of them too, if there is one.
    EventLog(std::function<void()> wake, EventSink record) : m_wake(std::move(wake)), m_record(std::move(record)) {}

    SeenEvents seen() const;

    void operator()(const Event& event);

    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);

private:
    const std::function<void()> m_wake;
    const EventSink m_record;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
    wire::Startup m_startup;
    SeenEvents m_seen;
};

}  // namespace cvhost::doctor
