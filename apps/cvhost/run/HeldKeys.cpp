#include "apps/cvhost/run/HeldKeys.h"

#include <cstddef>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace cvhost::run {
namespace {

constexpr int jogKey = common::keys::jog;
constexpr unsigned char jogKeyByte = common::keyLetter(jogKey);

}  // namespace

void HeldKeys::beforePress(int code) {
    if (is_valid_keycode(code)) release(code, false);
}

void HeldKeys::take(const KeyQueued& key) {
    if (!is_valid_keycode(key.code)) return;
    m_held.set(static_cast<std::size_t>(key.code));
    if (key.code == jogKey) m_jogKey = true;
    // A stop that the host has forced is no key's.
    if (!m_console.key_is_down(common::keyOf(key.code))) release(key.code, false);
}

void HeldKeys::take(const ByteHandled& handled) {
    // A packet of the jog key ends in its letter; the wheel's report, which may switch the wheel on, in a digit.
    const bool tap = std::exchange(m_jogKey, false) && m_last != jogKeyByte;
    m_last = handled.byte;
    if (tap) release(jogKey, false);
    if (m_held.none()) return;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        const bool known = m_held.test(static_cast<std::size_t>(code));
        if (known && !m_console.key_is_down(common::keyOf(code))) release(code, false);
    }
}

void HeldKeys::take(const PortChange& port) {
    if (port.state == PortState::open) return;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) release(code, true);
}

void HeldKeys::release(int code, bool lost) {
    const auto index = static_cast<std::size_t>(code);
    if (!m_held.test(index)) return;
    m_held.reset(index);
    m_released({.code = code, .lost = lost});
}

}  // namespace cvhost::run
