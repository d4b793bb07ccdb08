// The word that somebody who mistyped one probably meant.
//
// Threads: all functions are pure.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace common {

/// The candidate that is most like `word`: at most a third of its letters are wrong, missing, added or exchanged with their
/// neighbour, one at least being allowed; case does not count. Empty if there is none.
std::string nearest(std::string_view word, std::span<const std::string> candidates);

/// ` (did you mean "WORD"?)`, or nothing for an empty word.
std::string didYouMean(std::string_view word);

}  // namespace common
