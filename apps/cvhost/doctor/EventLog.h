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
    std::string text{};              ///< of log and trouble; the bytes sent or received
    int level = 0;                   ///< of rts
};

class EventLog final : public EventSink {
public:
    /// `wake` is called after each event, on the event's thread; all is told to `record` too, unless it is null.
    EventLog(std::function<void()> wake, EventSink* record) : m_wake(std::move(wake)), m_record(record) {}

    /// All that was seen, in order, but of what was logged and received no more than a mebibyte, and of the rest as much.
    std::vector<LoggedEvent> seen() const;
    /// How often each key has been queued.
    std::array<unsigned, ConsoleHandlerTable::codes> keys() const;

    void log(std::string_view text) override;
    void port(std::string_view name, PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void opening(std::string_view name, const LineSettings& settings) override;
    void trouble(std::string_view name, std::string_view reason) override;

private:
    void add(LoggedEvent seen);

    const std::function<void()> m_wake;
    EventSink* const m_record;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
    std::vector<LoggedEvent> m_seen;
    std::size_t m_keptChatter = 0;  ///< bytes of what was logged and received
    std::size_t m_kept = 0;         ///< bytes of the rest
    std::array<unsigned, ConsoleHandlerTable::codes> m_keys{};
};

}  // namespace cvhost::doctor
