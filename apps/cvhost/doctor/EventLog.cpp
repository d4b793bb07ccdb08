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

void EventLog::operator()(const Event& event) {
    if (m_record) m_record(event);
    give<Consumer::doctor>(event, *this);
}

void EventLog::take(const LogLine& line) { add({.kind = LoggedEvent::Kind::log, .text = std::string(line.text)}); }

void EventLog::take(const PortChange& port) {
    switch (port.state) {
        case PortState::open:
            return add({.kind = LoggedEvent::Kind::open});
        case PortState::closed:
            return add({.kind = LoggedEvent::Kind::closed});
        case PortState::lost:
            return add({.kind = LoggedEvent::Kind::lost});
    }
}

void EventLog::take(const PortTrouble& trouble) {
    add({.kind = LoggedEvent::Kind::trouble, .text = std::string(trouble.reason), .trouble = trouble.kind});
}

void EventLog::take(const KeyQueued& key) {
    {
        const std::lock_guard lock(m_mutex);
        if (is_valid_keycode(key.code)) ++m_keys[static_cast<std::size_t>(key.code)];
    }
    m_wake();
}

void EventLog::take(const LineBytes& line) {
    const bool sent = line.direction == Direction::transmit;
    add({.kind = sent ? LoggedEvent::Kind::transmit : LoggedEvent::Kind::receive,
         .text = std::string(line.bytes.begin(), line.bytes.end())});
}

void EventLog::take(const RtsChange& rts) { add({.kind = LoggedEvent::Kind::rts, .level = rts.level}); }

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
