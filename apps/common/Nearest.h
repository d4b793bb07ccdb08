// The word that a mistyped one probably means.
//
// Threads: all functions are pure.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace common {

/// The candidate most like `word`: at most a third of its letters, but at least one, may be wrong, missing, added or
/// exchanged with a neighbour. Ignores case. Empty if there is none.
std::string nearest(std::string_view word, std::span<const std::string> candidates);

/// ` (did you mean "WORD"?)`, or nothing for an empty word.
std::string didYouMean(std::string_view word);

}  // namespace common
