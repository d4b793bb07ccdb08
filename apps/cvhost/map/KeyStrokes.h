// Actions as what a keyboard with a scroll wheel sends: which key goes down or up, and in which order.
//
// The keys of a chord go down in its order and up in the opposite one. Two chords may share a key. A shortcut with modifiers
// ends when the next key goes down, so that its modifiers do not change what follows; a modifier that is held alone stays.
//
// Threads: one at a time. No I/O.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <span>

#include "apps/cvhost/map/Action.h"

namespace cvhost::map {

/// As in linux/input.h, without a time.
struct InputEvent {
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;

    bool operator==(const InputEvent&) const = default;
};

class KeyStrokes {
public:
    /// `send` is called with the events that belong together.
    using Send = std::function<void(std::span<const InputEvent> together)>;

    explicit KeyStrokes(Send send) : m_send(std::move(send)) {}

    void take(const Action& action);

private:
    static constexpr std::size_t keyCodes = 256;  ///< more than any that a map can name

    void press(std::size_t hold, const Chord& chord);
    void release(std::size_t hold);
    void tap(const Chord& chord);
    void turn(const WheelAction& wheel, int amount);
    void scroll(Scroll direction, int units);
    void endShortcuts();
    void allDown(const Chord& chord);
    void allUp(const Chord& chord);
    void send(KeyCode key, bool down);

    const Send m_send;
    std::array<std::uint8_t, keyCodes> m_downs{};    ///< by how many chords each key is down
    std::array<Chord, common::keyCount> m_chords{};  ///< by the key of the desk that holds it
    std::bitset<common::keyCount> m_held;
    std::array<int, 2> m_rest{};  ///< of a count, vertical and horizontal
};

}  // namespace cvhost::map
