#include "apps/cvhost/doctor/EventLog.h"

#include <utility>

namespace cvhost::doctor {
namespace {

constexpr std::size_t limit = 1 << 20;

/// What a console that is being worked on brings about without end.
bool isChatter(LoggedEvent::Kind kind) { return kind == LoggedEvent::Kind::log || kind == LoggedEvent::Kind::receive; }

}  // namespace

std::vector<LoggedEvent> EventLog::seen() const {
    const std::lock_guard lock(m_mutex);
    return m_seen;
}

std::array<unsigned, ConsoleHandlerTable::codes> EventLog::keys() const {
    const std::lock_guard lock(m_mutex);
    return m_keys;
}

void EventLog::log(std::string_view text) { add({.kind = LoggedEvent::Kind::log, .text = std::string(text)}); }

void EventLog::port(std::string_view name, PortState state) {
    if (m_record != nullptr) m_record->port(name, state);
    switch (state) {
        case PortState::open:
            return add({.kind = LoggedEvent::Kind::open});
        case PortState::closed:
            return add({.kind = LoggedEvent::Kind::closed});
        case PortState::lost:
            return add({.kind = LoggedEvent::Kind::lost});
    }
}

void EventLog::key(int code, bool handled, int flags) {
    if (m_record != nullptr) m_record->key(code, handled, flags);
    {
        const std::lock_guard lock(m_mutex);
        if (is_valid_keycode(code)) ++m_keys[static_cast<std::size_t>(code)];
    }
    m_wake();
}

void EventLog::wire(Direction direction, std::span<const unsigned char> bytes) {
    if (m_record != nullptr) m_record->wire(direction, bytes);
    add({.kind = direction == Direction::transmit ? LoggedEvent::Kind::transmit : LoggedEvent::Kind::receive,
         .text = std::string(bytes.begin(), bytes.end())});
}

void EventLog::rts(int level) {
    if (m_record != nullptr) m_record->rts(level);
    add({.kind = LoggedEvent::Kind::rts, .level = level});
}

void EventLog::opening(std::string_view name, const LineSettings& settings) {
    if (m_record != nullptr) m_record->opening(name, settings);
}

void EventLog::trouble(std::string_view name, std::string_view reason) {
    if (m_record != nullptr) m_record->trouble(name, reason);
    add({.kind = LoggedEvent::Kind::trouble, .text = std::string(reason)});
}

void EventLog::add(LoggedEvent seen) {
    seen.at = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_start);
    {
        const std::lock_guard lock(m_mutex);
        std::size_t& kept = isChatter(seen.kind) ? m_keptChatter : m_kept;
        kept += sizeof seen + seen.text.size();
        if (kept <= limit) m_seen.push_back(std::move(seen));
    }
    m_wake();
}

}  // namespace cvhost::doctor
