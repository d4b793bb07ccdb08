// The TOML library with bounds on what a hostile file can make it do: how deep values are nested, and how many parts a key
// has. Include it in place of the library's own header.
//
// Threads: all functions are pure.
#pragma once

#define TOML_EXCEPTIONS 0
#define TOML_MAX_NESTED_VALUES 8
#include <toml++/toml.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace cvhost {

/// A key becomes a table in a table for each of its dots, and the library destroys these by recursion.
inline constexpr std::ptrdiff_t mostDots = 64;

/// The number of the first line with more dots than this, comments aside; 0: there is none. Ask before parsing.
inline std::size_t lineWithManyDots(std::string_view text) {
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::size_t first = line.find_first_not_of(" \t");
        const bool isComment = first != line.npos && line[first] == '#';
        if (!isComment && std::ranges::count(line, '.') > mostDots) return number;
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return 0;
}

}  // namespace cvhost
