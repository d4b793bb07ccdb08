#include "apps/cvhost/doctor/Witness.h"

#include <utility>

namespace cvhost {
namespace {

constexpr std::size_t limit = 1 << 20;

/// What a console that is being worked on brings about without end.
bool isChatter(Seen::What what) { return what == Seen::What::log || what == Seen::What::receive; }

}  // namespace

std::vector<Seen> Witness::seen() const {
    const std::lock_guard lock(m_mutex);
    return m_seen;
}

std::array<unsigned, ConsoleHandlerTable::codes> Witness::keys() const {
    const std::lock_guard lock(m_mutex);
    return m_keys;
}

void Witness::log(std::string_view text) { add({.what = Seen::What::log, .text = std::string(text)}); }

void Witness::port(std::string_view name, PortState state) {
    if (m_record != nullptr) m_record->port(name, state);
    switch (state) {
        case PortState::open:
            return add({.what = Seen::What::open});
        case PortState::closed:
            return add({.what = Seen::What::closed});
        case PortState::lost:
            return add({.what = Seen::What::lost});
    }
}

void Witness::key(int code, bool handled, int flags) {
    if (m_record != nullptr) m_record->key(code, handled, flags);
    {
        const std::lock_guard lock(m_mutex);
        if (is_valid_keycode(code)) ++m_keys[static_cast<std::size_t>(code)];
    }
    m_wake();
}

void Witness::wire(Direction direction, std::span<const unsigned char> bytes) {
    if (m_record != nullptr) m_record->wire(direction, bytes);
    add({.what = direction == Direction::transmit ? Seen::What::transmit : Seen::What::receive,
         .text = std::string(bytes.begin(), bytes.end())});
}

void Witness::rts(int level) {
    if (m_record != nullptr) m_record->rts(level);
    add({.what = Seen::What::rts, .level = level});
}

void Witness::opening(std::string_view name, const LineSettings& settings) {
    if (m_record != nullptr) m_record->opening(name, settings);
}

void Witness::trouble(std::string_view name, std::string_view reason) {
    if (m_record != nullptr) m_record->trouble(name, reason);
    add({.what = Seen::What::trouble, .text = std::string(reason)});
}

void Witness::add(Seen seen) {
    seen.at = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_start);
    {
        const std::lock_guard lock(m_mutex);
        std::size_t& kept = isChatter(seen.what) ? m_keptChatter : m_kept;
        kept += sizeof seen + seen.text.size();
        if (kept <= limit) m_seen.push_back(std::move(seen));
    }
    m_wake();
}

}  // namespace cvhost
