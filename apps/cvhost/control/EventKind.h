// The kinds of events that a client can ask for, by the names that they have in JSON.
//
// Threads: pure.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>
#include <variant>

#include "host/core/Events.h"

namespace cvhost::control {

enum class EventKind { log, port, active, key, released, handler, playhead, wire, rts };

inline constexpr std::array<std::string_view, 9> eventNames{"log",     "port",     "active", "key", "released",
                                                            "handler", "playhead", "wire",   "rts"};
using EventKinds = std::bitset<eventNames.size()>;

constexpr std::size_t indexOf(EventKind kind) { return static_cast<std::size_t>(kind); }

/// What a client gets unless it asks for something else: all but the bytes on the line and the levels of RTS.
inline EventKinds usualKinds() { return EventKinds().set().reset(indexOf(EventKind::wire)).reset(indexOf(EventKind::rts)); }

constexpr EventKind kindOf(const LogLine&) { return EventKind::log; }
constexpr EventKind kindOf(const PortChange&) { return EventKind::port; }
constexpr EventKind kindOf(const ConsoleActive&) { return EventKind::active; }
constexpr EventKind kindOf(const KeyQueued&) { return EventKind::key; }
constexpr EventKind kindOf(const KeyReleased&) { return EventKind::released; }
constexpr EventKind kindOf(const HandlerRun&) { return EventKind::handler; }
constexpr EventKind kindOf(const PlayheadChange&) { return EventKind::playhead; }
constexpr EventKind kindOf(const LineBytes&) { return EventKind::wire; }
constexpr EventKind kindOf(const RtsChange&) { return EventKind::rts; }
/// A client gets the hello instead.
constexpr std::nullopt_t kindOf(const RunBegun&) { return std::nullopt; }

/// Nothing for an event that JSON does not have.
inline std::optional<EventKind> kindOfEvent(const Event& event) {
    return std::visit(
        [](const auto& each) -> std::optional<EventKind> {
            if constexpr ((std::decay_t<decltype(each)>::consumers & Consumer::json) != 0) return kindOf(each);
            return std::nullopt;
        },
        event);
}

}  // namespace cvhost::control
