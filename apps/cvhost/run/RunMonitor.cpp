#include "apps/cvhost/run/RunMonitor.h"

#include <algorithm>
#include <utility>

#include "apps/cvhost/driver/DriverLog.h"
#include "host/api/ConsoleInput.h"

namespace cvhost::run {
namespace {

/// What the console's boot monitor sends when the console has been switched on.
constexpr std::string_view prompt = "\r\nEPROM>";

}  // namespace

void RunMonitor::addFirst(EventSink sink) {
    const std::lock_guard lock(m_mutex);
    m_sinks.insert(m_sinks.begin(), std::move(sink));
}

void RunMonitor::watchKeys(iConsoleResource* console) {
    const std::lock_guard lock(m_mutex);
    m_heldKeys.reset();
    if (console != nullptr) m_heldKeys.emplace(*console, [this](const KeyReleased& key) { giveToAll(key); });
}

RunState RunMonitor::state() const {
    const std::lock_guard lock(m_mutex);
    return m_state;
}

void RunMonitor::operator()(const Event& event) {
    const std::lock_guard lock(m_mutex);
    m_changed = false;
    m_nowActive.reset();
    give<Consumer::run>(event, *this);
    giveToAll(event);
    if (m_nowActive) giveToAll(ConsoleActive{*m_nowActive});
    if (m_heldKeys) (*m_heldKeys)(event);
    if (m_changed) m_wake();
}

void RunMonitor::giveToAll(const Event& event) const {
    for (const EventSink& sink : m_sinks) sink(event);
}

void RunMonitor::take(const LogLine& line) {
    m_changed = true;
    if (const auto name = driver::log::lookedForPort(line.text)) m_state.triedPort = *name;
    m_nowActive = driver::log::activeVersion(line.text);
    if (!m_nowActive) return;
    m_state.version = m_nowActive;
    m_state.active = true;
    m_tail.clear();
}

void RunMonitor::take(const PortChange& port) {
    m_changed = true;
    m_state.portOpen = port.state == PortState::open;
    m_state.portLost = port.state == PortState::lost;
    if (m_state.portLost) ++m_state.losses;
    m_state.active = false;
    m_state.powerCycled = false;
    m_state.portChanged = std::chrono::steady_clock::now();
    if (!m_state.portOpen) return;
    m_state.portStuck = m_state.rtsMissing = false;
    m_state.openFailure.clear();
}

void RunMonitor::take(const PortTrouble& trouble) {
    using enum PortTrouble::Kind;
    if (trouble.kind == rtsMissing) m_state.rtsMissing = true;
    if (trouble.kind == notTaking) m_state.portStuck = true;
    if (trouble.kind == cannotOpen || trouble.kind == busy)
        m_state.openFailure = std::string(trouble.name) + ": " + std::string(trouble.reason);
}

void RunMonitor::take(const KeyQueued& key) {
    m_changed = true;
    if (is_valid_keycode(key.code)) ++m_state.keys[static_cast<std::size_t>(key.code)];
}

void RunMonitor::take(const LineBytes& line) {
    if (line.direction == Direction::transmit) m_state.portStuck = false;
    if (line.direction == Direction::transmit || !m_state.active) return;
    m_tail.append(line.bytes.begin(), line.bytes.end());
    if (m_tail.find(prompt) != m_tail.npos) m_state.powerCycled = m_changed = true;
    m_tail.erase(0, m_tail.size() - std::min(m_tail.size(), prompt.size() - 1));
}

void RunMonitor::take(const ThreadEnded&) {
    if (!m_state.active) return;
    ++m_state.starts;
    m_changed = true;
}

void RunMonitor::take(const HandlerRun& run) {
    m_changed = true;
    if (is_valid_keycode(run.code)) ++m_state.handlers[static_cast<std::size_t>(run.code)];
}

}  // namespace cvhost::run
