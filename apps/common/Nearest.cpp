#include "apps/common/Nearest.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace common {
namespace {

/// Longer words match nothing: comparing takes time in proportion to the product of both lengths.
constexpr std::size_t longestWord = 64;

char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

/// How many letters to change, leave out, add or exchange with a neighbour to turn one word into the other (the restricted
/// edit distance). Both words have at most longestWord letters.
std::size_t distance(std::string_view one, std::string_view other) {
    std::array<std::array<std::size_t, longestWord + 1>, longestWord + 1> steps{};
    for (std::size_t i = 0; i <= one.size(); ++i) steps[i][0] = i;
    for (std::size_t j = 0; j <= other.size(); ++j) steps[0][j] = j;
    const auto same = [&](std::size_t i, std::size_t j) { return lower(one[i - 1]) == lower(other[j - 1]); };
    for (std::size_t i = 1; i <= one.size(); ++i) {
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t changed = steps[i - 1][j - 1] + (same(i, j) ? 0 : 1);
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, changed});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j)) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[one.size()][other.size()];
}

}  // namespace

std::string nearest(std::string_view word, std::span<const std::string> candidates) {
    std::string found;
    if (word.empty() || word.size() > longestWord) return found;
    std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        if (candidate.size() > longestWord) continue;
        const std::size_t steps = distance(word, candidate);
        if (steps >= least || steps >= candidate.size()) continue;
        least = steps;
        found = candidate;
    }
    return found;
}

std::string didYouMean(std::string_view word) {
    return word.empty() ? "" : " (did you mean \"" + std::string(word) + "\"?)";
}

}  // namespace common
