#include "apps/cvhost/run/RunMonitor.h"

#include <chrono>
#include <memory>
#include <utility>
#include <variant>

namespace cvhost::run {
namespace {

void count(std::array<unsigned, ConsoleHandlerTable::codes>& counts, int code) {
    if (is_valid_keycode(code)) ++counts[static_cast<std::size_t>(code)];
}

}  // namespace

void RunMonitor::addFirst(EventSink sink) {
    const std::lock_guard lock(m_mutex);
    m_sinks.insert(m_sinks.begin(), std::move(sink));
}

void RunMonitor::watchKeys(iConsoleResource* console) {
    const std::lock_guard lock(m_mutex);
    m_heldKeys.reset();
    if (console == nullptr) return;
    m_heldKeys = std::make_unique<HeldKeys>(*console, [this](const KeyReleased& key) { giveToAll(key); });
}

RunState RunMonitor::state() const {
    const std::lock_guard lock(m_mutex);
    return {.startup = m_startup.facts(), .keys = m_keys, .handlers = m_handlers};
}

void RunMonitor::operator()(const Event& event) {
    const std::lock_guard lock(m_mutex);
    const bool news = m_startup.follow(event, std::chrono::steady_clock::now().time_since_epoch());
    give<Consumer::run>(event, *this);
    if (const auto* key = std::get_if<KeyQueued>(&event); key != nullptr && m_heldKeys) m_heldKeys->beforePress(key->code);
    giveToAll(event);
    if (const auto version = m_startup.newlyActive()) giveToAll(ConsoleActive{*version});
    if (m_heldKeys) (*m_heldKeys)(event);
    if (news || std::holds_alternative<KeyQueued>(event) || std::holds_alternative<HandlerRun>(event)) m_wake();
}

void RunMonitor::giveToAll(const Event& event) const {
    for (const EventSink& sink : m_sinks) sink(event);
}

void RunMonitor::take(const KeyQueued& key) { count(m_keys, key.code); }

void RunMonitor::take(const HandlerRun& run) { count(m_handlers, run.code); }

}  // namespace cvhost::run
