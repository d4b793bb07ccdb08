#include "apps/cvhost/doctor/EventLog.h"

namespace cvhost::doctor {
namespace {

constexpr std::size_t limit = 1 << 20;

template <class Bytes>
void append(std::string& text, const Bytes& bytes) {
    if (text.size() + bytes.size() <= limit) text.append(bytes.begin(), bytes.end());
}

}  // namespace

SeenEvents EventLog::seen() const {
    const std::lock_guard lock(m_mutex);
    return m_seen;
}

void EventLog::operator()(const Event& event) {
    if (m_record) m_record(event);
    {
        const std::lock_guard lock(m_mutex);
        if (m_seen.startup.stage() == wire::StartupFacts::Stage::underWay) {
            m_startup.follow(event, std::chrono::steady_clock::now() - m_start);
            m_seen.startup = m_startup.facts();
        }
        give<Consumer::doctor>(event, *this);
    }
    m_wake();
}

void EventLog::take(const LogLine& line) { append(m_seen.log, line.text); }

void EventLog::take(const PortChange& port) { m_seen.portLost |= port.state == PortState::lost; }

void EventLog::take(const KeyQueued& key) {
    if (is_valid_keycode(key.code)) ++m_seen.keys[static_cast<std::size_t>(key.code)];
}

void EventLog::take(const LineBytes& line) {
    if (line.direction == Direction::transmit) append(m_seen.sent, line.bytes);
}

}  // namespace cvhost::doctor
