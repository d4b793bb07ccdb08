// The names of keys in a map: those of the keyboard that an application sees, and those of the desk.
//
// Threads: all functions are pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

/// All names of the keyboard's keys. A letter names the key at its place on a keyboard with the US layout.
const std::vector<std::string>& keyboardNames();
/// The codes behind these names.
std::vector<KeyCode> keyboardCodes();
bool isModifier(KeyCode key);

/// "ctrl+shift+z", or a sentence about what is wrong with it.
std::variant<Chord, std::string> parseChord(std::string_view text);
std::string chordText(const Chord& chord);

/// "play", or the character on the key; empty if the desk has no such key.
std::optional<int> deskKey(std::string_view name);
std::string deskKeyName(int code);
/// The desk keys that have a name besides their character.
const std::vector<std::string>& deskKeyNames();

}  // namespace cvhost::map
