// What a map says: what keys, ring and wheel of the desk do in an application.
//
// Threads: plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/ConsoleFacts.h"

namespace cvhost::map {

/// A key of a keyboard: a code of linux/input-event-codes.h.
using KeyCode = std::uint16_t;

/// Keys that are pressed together, in this order: modifiers, then at most one other key.
struct Chord {
    static constexpr std::size_t mostKeys = 5;

    std::array<KeyCode, mostKeys> keys{};
    std::uint8_t count = 0;

    bool operator==(const Chord&) const = default;
};

/// Chords that are tapped one after the other.
struct Taps {
    static constexpr std::size_t most = 8;

    std::array<Chord, most> chords{};
    std::uint8_t count = 0;

    bool operator==(const Taps&) const = default;
};

/// What a key of the desk does.
struct KeyAction {
    bool held = false;  ///< the first chord is held as long as the key; otherwise all are tapped when it is pressed
    Taps taps{};
};

enum class Scroll : std::uint8_t { none, up, down, left, right };

/// What each count of the wheel does.
struct WheelAction {
    Scroll scroll = Scroll::none;  ///< where a turn forward scrolls
    Chord forward{};               ///< tapped, unless it scrolls
    Chord backward{};

    bool operator==(const WheelAction&) const = default;
};

struct Wheel {
    WheelAction normal;
    WheelAction slow;
    WheelAction fast;
    int slowBelow = 0;              ///< counts a second; 0: never
    std::optional<int> fastFrom{};  ///< counts a second
};

/// What the ring does. Zones are numbered from 1, the innermost; zone 0 is the centre.
struct Ring {
    struct Zone {
        int from;  ///< the speed at which it begins; 1024 is play
        Taps taps;
    };

    bool stepping = false;       ///< each zone further out taps once, each zone back taps the other direction's
    int hysteresis = 10;         ///< percent of `from` that the speed must fall below it before the zone is left
    std::vector<Zone> forward;   ///< outwards
    std::vector<Zone> backward;  ///< the same number if it is stepping
    Taps centre;
};

/// What is not here is as in the map's own section.
struct Section {
    std::array<std::optional<KeyAction>, common::keyCount> keys{};  ///< by the code on the desk
    std::optional<Ring> ring{};
    std::optional<Wheel> wheel{};
};

/// What the desk does while a key is held, or until it is pressed again.
struct Layer {
    std::string name;
    int key = 0;  ///< the code on the desk
    bool latched = false;
    Section section{};
};

struct Map {
    std::string title;
    Section base;
    std::vector<Layer> layers;
};

}  // namespace cvhost::map
