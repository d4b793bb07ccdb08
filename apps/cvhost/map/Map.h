// What a map says: what keys, ring and wheel of the desk do in an application.
//
// Threads: plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
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

/// What a player does by itself, by the desk's key for it (common::keys): play, stop, a mark.
struct PlayerKey {
    int code;

    bool operator==(const PlayerKey&) const = default;
};

/// A key of mpv by its name there, such as "s" or "Ctrl+PGDWN".
struct MpvKey {
    std::shared_ptr<const std::string> name;

    bool operator==(const MpvKey&) const = default;
};

struct OscMessage {
    using Argument = std::variant<std::int32_t, float, std::string>;

    std::string address;
    std::vector<Argument> arguments{};

    bool operator==(const OscMessage&) const = default;
};

/// What a target does at one stroke. Copies need no memory.
using Stroke = std::variant<Chord, PlayerKey, MpvKey, std::shared_ptr<const OscMessage>>;

/// Strokes that are tapped one after the other.
struct Taps {
    static constexpr std::size_t most = 8;

    std::array<Stroke, most> strokes{};
    std::uint8_t count = 0;

    bool operator==(const Taps&) const = default;
};

/// What a key of the desk does.
struct KeyAction {
    bool held = false;  ///< the first stroke is held as long as the key; otherwise all are tapped when it is pressed
    Taps taps{};
};

enum class Scroll : std::uint8_t { none, up, down, left, right };

/// What each count of the wheel does.
struct WheelAction {
    Scroll scroll = Scroll::none;  ///< where a turn forward scrolls
    int frames = 0;                ///< a player's playhead moves by these; 0: not
    bool send = false;             ///< `forward` is sent with the number of counts
    Stroke forward{};              ///< otherwise tapped
    Stroke backward{};

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

    double times = 0;            ///< the speed itself is sent, times this; 0: there are zones
    Stroke send{};               ///< what the speed is sent with, to a target that needs it
    bool stepping = false;       ///< each zone further out taps once, each zone back taps the other direction's
    int hysteresis = 10;         ///< percent of `from` that the speed must fall below it before the zone is left
    std::vector<Zone> forward;   ///< outwards
    std::vector<Zone> backward;  ///< the same number if it is stepping
    Taps centre;                 ///< instead of a speed of 0, if it is not empty
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

enum class TargetKind : std::uint8_t { keys, mpv, osc };

/// The program that the map is for.
struct Application {
    TargetKind kind = TargetKind::keys;
    std::string socket{};                              ///< mpv's
    std::string host{};                                ///< OSC: a name or an address
    int port = 0;                                      ///< OSC: UDP
    int listen = 0;                                    ///< OSC: the UDP port for what it reports; 0: any
    std::optional<OscMessage> hello{};                 ///< OSC: asks it to report
    std::vector<std::pair<int, std::string>> lamps{};  ///< OSC: lamps by the address that reports their state

    bool operator==(const Application&) const = default;
};

struct Map {
    std::string title;
    Application application;
    Section base;
    std::vector<Layer> layers;
    std::string text{};  ///< that it was read from
};

}  // namespace cvhost::map
