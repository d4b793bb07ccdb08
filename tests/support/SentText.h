// What the driver may write to the console.
//
// Threads: any.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace support {

/// 'O', 'F', 'H' or 'B', a number from 1 to 46, a blank.
inline bool isLampCommand(std::string_view text) {
    if (text.size() < 3 || text.size() > 4 || std::string_view("OFHB").find(text[0]) == std::string_view::npos) return false;
    int number = 0;
    for (const char digit : text.substr(1, text.size() - 2)) {
        if (digit < '0' || digit > '9') return false;
        number = number * 10 + (digit - '0');
    }
    return text.back() == ' ' && number >= 1 && number <= 46 && text[1] != '0';
}

inline bool isWheelCommand(std::string_view text) { return text == "W " || text == "X "; }

inline bool isStartUpText(std::string_view text) {
    constexpr std::array<std::string_view, 7> words = {"H ", "\r", "J 0100 0", "F2 ", "     ", "? ", "K "};
    return std::ranges::find(words, text) != words.end() || isWheelCommand(text) || isLampCommand(text);
}

}  // namespace support
