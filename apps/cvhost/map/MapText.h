// A map as text: TOML, read strictly. Anything unknown is a problem, and all problems are reported.
//
// Threads: all functions are pure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

struct Problem {
    std::size_t line;    ///< from 1
    std::size_t column;  ///< from 1; 0: the whole line
    std::string text;    ///< without a full stop

    bool operator==(const Problem&) const = default;
};

/// A longer text is no map.
inline constexpr std::size_t longestText = 64UL * 1024;

/// The map, or what is wrong with it in the order of the lines.
std::variant<Map, std::vector<Problem>> parseMap(std::string_view text);

/// "FILE:LINE:COLUMN: text".
std::string problemText(std::string_view file, const Problem& problem);

}  // namespace cvhost::map
