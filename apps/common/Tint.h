// Colours of text for a person.
//
// Threads: pure.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace cvhost {

enum class Tint { plain, dim, red, green, yellow, blue, magenta, cyan };

/// `text` in a colour, for a terminal that shows it.
inline std::string painted(Tint tint, std::string_view text, bool colour) {
    constexpr std::array codes{"0", "2", "31", "32", "33", "34", "35", "36"};
    if (!colour || tint == Tint::plain) return std::string(text);
    return std::string("\x1b[") + codes[static_cast<std::size_t>(tint)] + "m" + std::string(text) + "\x1b[0m";
}

}  // namespace cvhost
