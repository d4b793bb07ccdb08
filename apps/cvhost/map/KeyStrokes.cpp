#include "apps/cvhost/map/KeyStrokes.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cstdlib>
#include <ranges>
#include <utility>
#include <variant>

#include "apps/cvhost/map/KeyNames.h"

namespace cvhost::map {
namespace {

constexpr int mostAmount = 1000;  ///< in one turn

std::span<const KeyCode> keysOf(const Chord& chord) { return std::span(chord.keys).first(chord.count); }

/// No chord: no keys.
Chord chordOf(const Stroke& stroke) {
    const auto* chord = std::get_if<Chord>(&stroke);
    return chord != nullptr ? *chord : Chord{};
}

bool isShortcut(const Chord& chord) { return chord.count > 1 && !isModifier(keysOf(chord).back()); }

}  // namespace

void KeyStrokes::take(const Action& action) {
    switch (action.kind) {
        case Action::Kind::press:
            return press(action.hold, chordOf(action.stroke));
        case Action::Kind::release:
            return release(action.hold);
        case Action::Kind::tap:
            return tap(chordOf(action.stroke));
        case Action::Kind::turn:
            return turn(action.wheel, action.amount);
        case Action::Kind::speed:
            return;
        case Action::Kind::releaseAll:
            for (std::size_t hold = 0; hold < m_held.size(); ++hold) release(hold);
            m_rest = {};
            return;
    }
}

void KeyStrokes::press(std::size_t hold, const Chord& chord) {
    release(hold);
    endShortcuts();
    m_chords.at(hold) = chord;
    m_held.set(hold);
    allDown(chord);
}

void KeyStrokes::release(std::size_t hold) {
    if (!m_held.test(hold)) return;
    m_held.reset(hold);
    allUp(m_chords.at(hold));
}

void KeyStrokes::tap(const Chord& chord) {
    endShortcuts();
    allDown(chord);
    allUp(chord);
}

void KeyStrokes::turn(const WheelAction& wheel, int amount) {
    amount = std::clamp(amount, -mostAmount * Action::scrollUnits, mostAmount * Action::scrollUnits);
    if (wheel.scroll != Scroll::none) return scroll(wheel.scroll, amount);
    for (int taps = std::min(std::abs(amount), mostAmount); taps > 0; --taps)
        tap(chordOf(amount < 0 ? wheel.backward : wheel.forward));
}

void KeyStrokes::scroll(Scroll direction, int units) {
    endShortcuts();
    const bool vertical = direction == Scroll::up || direction == Scroll::down;
    if (direction == Scroll::down || direction == Scroll::left) units = -units;
    int& rest = m_rest.at(vertical ? 0 : 1);
    rest += units;
    const int counts = std::exchange(rest, rest % Action::scrollUnits) / Action::scrollUnits;
    const auto coarse = static_cast<std::uint16_t>(vertical ? REL_WHEEL : REL_HWHEEL);
    const auto fine = static_cast<std::uint16_t>(vertical ? REL_WHEEL_HI_RES : REL_HWHEEL_HI_RES);
    const std::array events{InputEvent{EV_REL, fine, units}, InputEvent{EV_REL, coarse, counts}};
    m_send(std::span(events).first(counts == 0 ? 1 : 2));
}

void KeyStrokes::endShortcuts() {
    for (std::size_t hold = 0; hold < m_held.size(); ++hold) {
        if (m_held.test(hold) && isShortcut(m_chords.at(hold))) release(hold);
    }
}

void KeyStrokes::allDown(const Chord& chord) {
    for (const KeyCode key : keysOf(chord)) {
        const bool wasDown = m_downs.at(key)++ > 0;
        if (wasDown && isModifier(key)) continue;
        if (wasDown) send(key, false);  // pressed once more, so the application sees it
        send(key, true);
    }
}

void KeyStrokes::allUp(const Chord& chord) {
    for (const KeyCode key : keysOf(chord) | std::views::reverse) {
        if (--m_downs.at(key) == 0) send(key, false);
    }
}

void KeyStrokes::send(KeyCode key, bool down) {
    const InputEvent event{EV_KEY, key, down ? 1 : 0};
    m_send({&event, 1});
}

}  // namespace cvhost::map
