// A map in force with what its target was asked to do, as text.
//
// Threads: one at a time.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "apps/cvhost/map/Engine.h"
#include "apps/cvhost/map/KeyNames.h"
#include "apps/cvhost/map/MapText.h"
#include "apps/cvhost/map/Strokes.h"
#include "apps/cvhost/transport/Playhead.h"

namespace map_test {

using namespace cvhost::map;
using Texts = std::vector<std::string>;

constexpr std::int64_t oneFrame = cvhost::transport::Playhead::jogParts;  ///< as a deck takes it
constexpr int playKey = 11;

inline Chord chord(const std::string& text) { return std::get<Chord>(parseChord(text)); }

/// The map that `text` says. Without a line that names the target, it is a keyboard.
inline Map mapOf(const std::string& text) {
    auto parsed = parseMap(text.starts_with("target") ? text : "target = 'keys'\n" + text);
    if (const auto* problems = std::get_if<std::vector<Problem>>(&parsed)) {
        ADD_FAILURE() << problemText("map", problems->front());
        return {};
    }
    return std::get<Map>(parsed);
}

inline std::string textOf(const Action& action) {
    switch (action.kind) {
        case Action::Kind::press:
            return "press " + strokeText(action.stroke);
        case Action::Kind::release:
            return "release " + deskKeyName(action.hold);
        case Action::Kind::tap:
            return strokeText(action.stroke);
        case Action::Kind::turn:
            return "turn " + std::to_string(action.amount);
        case Action::Kind::speed:
            return "speed " + std::to_string(action.amount);
        case Action::Kind::releaseAll:
            return "release all";
    }
    return {};
}

class MapRig {
public:
    explicit MapRig(const std::string& text)
        : engine(mapOf(text), [this](const Action& action) { m_actions.push_back(textOf(action)); }) {}

    /// What was sent since the last call.
    Texts sent() { return std::exchange(m_actions, {}); }

private:
    Texts m_actions;

public:
    Engine engine;
};

}  // namespace map_test
