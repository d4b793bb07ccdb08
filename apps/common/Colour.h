// Colours of text for a person.
//
// Threads: pure.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace common {

enum class Colour { plain, dim, red, green, yellow, blue, magenta, cyan };

/// `text` in `colour`, or unchanged without colours.
inline std::string painted(Colour colour, std::string_view text, bool shown) {
    constexpr std::array codes{"0", "2", "31", "32", "33", "34", "35", "36"};
    if (!shown || colour == Colour::plain) return std::string(text);
    return std::string("\x1b[") + codes[static_cast<std::size_t>(colour)] + "m" + std::string(text) + "\x1b[0m";
}

}  // namespace common
