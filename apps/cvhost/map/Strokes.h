// Strokes as text, in the words of each kind of target.
//
// Threads: all functions are pure.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

/// The stroke, or a sentence about what is wrong with the text.
///
/// A keyboard's: "ctrl+z". mpv's: a key by mpv's own name, or what the player does, such as "play". OSC's: an address.
std::variant<Stroke, std::string> parseStroke(TargetKind kind, std::string_view text);

std::string strokeText(const Stroke& stroke);
std::string tapsText(const Taps& taps);

}  // namespace cvhost::map
