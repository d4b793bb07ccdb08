#include "apps/cvhost/run/RunMonitor.h"

#include <algorithm>
#include <charconv>

#include "host/api/ConsoleInput.h"

namespace cvhost::run {
namespace {

/// What the console's boot monitor sends when the console has been switched on.
constexpr std::string_view prompt = "\r\nEPROM>";

/// What stands between `head` and the final newline of a log line that begins so.
std::optional<std::string_view> rest(std::string_view line, std::string_view head) {
    if (!line.starts_with(head) || !line.ends_with('\n')) return std::nullopt;
    return line.substr(head.size(), line.size() - head.size() - 1);
}

std::optional<int> wholeNumber(std::string_view text) {
    int value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

void RunMonitor::recordTo(recording::Recorder& recorder) {
    const std::lock_guard lock(m_mutex);
    m_recorder = &recorder;
}

RunState RunMonitor::state() const {
    const std::lock_guard lock(m_mutex);
    return m_state;
}

void RunMonitor::log(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    if (const auto name = rest(text, "Looking for console on port ")) m_state.triedPort = *name;
    if (const auto why = rest(text, "cannot open ")) m_state.openFailure = *why;
    m_report.log(text);
    if (const auto version = rest(text, "CON:   console_init: console version ")) {
        if (const auto number = wholeNumber(*version)) {
            m_state.version = number;
            m_state.active = true;
            m_tail.clear();
            m_report.active(*number);
        }
    }
    m_wake();
}

void RunMonitor::port(std::string_view name, PortState state) {
    const std::lock_guard lock(m_mutex);
    m_state.portOpen = state == PortState::open;
    m_state.portLost = state == PortState::lost;
    if (state == PortState::open) m_state.portStuck = m_state.rtsMissing = false;
    if (state == PortState::lost) ++m_state.losses;
    m_state.active = false;
    m_state.powerCycled = false;
    m_state.portChanged = std::chrono::steady_clock::now();
    if (state == PortState::open) m_state.openFailure.clear();
    if (m_recorder != nullptr) m_recorder->port(name, state);
    m_report.port(name, state);
    m_wake();
}

void RunMonitor::key(int code, bool handled, int flags) {
    const std::lock_guard lock(m_mutex);
    if (is_valid_keycode(code)) ++m_state.keys[static_cast<std::size_t>(code)];
    if (m_recorder != nullptr) m_recorder->key(code, handled, flags);
    m_report.key(code, handled, flags);
    m_wake();
}

void RunMonitor::wire(Direction direction, std::span<const unsigned char> bytes) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder != nullptr) m_recorder->wire(direction, bytes);
    m_report.wire(direction, bytes);
    if (direction == Direction::transmit) m_state.portStuck = false;
    if (direction == Direction::transmit || !m_state.active) return;
    m_tail.append(bytes.begin(), bytes.end());
    if (m_tail.find(prompt) != m_tail.npos) {
        m_state.powerCycled = true;
        m_wake();
    }
    m_tail.erase(0, m_tail.size() - std::min(m_tail.size(), prompt.size() - 1));
}

void RunMonitor::threadEnded(std::string_view) {
    const std::lock_guard lock(m_mutex);
    if (!m_state.active) return;
    ++m_state.starts;
    m_wake();
}

void RunMonitor::rts(int level) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder != nullptr) m_recorder->rts(level);
    m_report.rts(level);
}

void RunMonitor::opening(std::string_view name, const LineSettings& settings) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder != nullptr) m_recorder->opening(name, settings);
}

void RunMonitor::added(std::span<const unsigned char> bytes) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder != nullptr) m_recorder->added(bytes);
}

void RunMonitor::trouble(std::string_view name, std::string_view reason) {
    const std::lock_guard lock(m_mutex);
    if (reason == "has no RTS line") m_state.rtsMissing = true;
    if (reason.ends_with("to be sent")) m_state.portStuck = true;
    if (m_recorder != nullptr) m_recorder->trouble(name, reason);
}

void RunMonitor::handler(const report::HandlerRun& run) {
    const std::lock_guard lock(m_mutex);
    if (is_valid_keycode(run.code)) ++m_state.handlers[static_cast<std::size_t>(run.code)];
    m_report.handler(run);
    m_wake();
}

void RunMonitor::released(int code) {
    const std::lock_guard lock(m_mutex);
    m_report.released(code);
}

void RunMonitor::call(std::string_view name, std::initializer_list<int> arguments) {
    const std::lock_guard lock(m_mutex);
    if (m_recorder != nullptr) m_recorder->call(name, arguments);
}

}  // namespace cvhost::run
