// Numbers in short texts.
//
// Threads: pure.
#pragma once

#include <array>
#include <cstdio>
#include <string>

namespace common {

/// As printf writes it, up to 127 bytes.
template <class... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

}  // namespace common
