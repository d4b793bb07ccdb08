// What the host sees of a console while the doctor looks at it.
//
// Threads: any.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/ConsoleInput.h"
#include "host/core/Events.h"

namespace cvhost::doctor {

/// One thing seen.
struct LoggedEvent {
    enum class Kind { log, trouble, open, closed, lost, transmit, receive, rts };

    Kind kind;
    std::chrono::microseconds at{};  ///< since the witness came
    std::string text{};              ///< of log; of trouble, why; the bytes sent or received
    PortTrouble::Kind trouble{};
    int level = 0;  ///< of rts
};

class EventLog {
public:
    /// `wake` is called after each event, on the event's thread; `record` takes all of them too, if there is one.
    EventLog(std::function<void()> wake, EventSink record) : m_wake(std::move(wake)), m_record(std::move(record)) {}

    /// All that was seen, in order, but of what was logged and received no more than a mebibyte, and of the rest as much.
    std::vector<LoggedEvent> seen() const;
    /// How often each key has been queued.
    std::array<unsigned, ConsoleHandlerTable::codes> keys() const;

    void operator()(const Event& event);

    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const PortTrouble& trouble);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);
    void take(const RtsChange& rts);

private:
    void add(LoggedEvent seen);

    const std::function<void()> m_wake;
    const EventSink m_record;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
    std::vector<LoggedEvent> m_seen;
    std::size_t m_keptChatter = 0;  ///< bytes of what was logged and received
    std::size_t m_kept = 0;         ///< bytes of the rest
    std::array<unsigned, ConsoleHandlerTable::codes> m_keys{};
};

}  // namespace cvhost::doctor
