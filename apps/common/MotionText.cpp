#include "apps/common/MotionText.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "apps/common/Formatted.h"

namespace common {
namespace {

/// The speed on a scale from full reverse to full forward (12 times play), with normal play half-way to either end.
std::string speedScale(int speed) {
    constexpr int half = 12;
    const double share = std::pow(std::abs(speed / 1024.0) / 12, 0.279);
    const int steps = static_cast<int>(std::lround(half * std::min(share, 1.0)));
    const int mark = speed < 0 ? half - steps : half + steps;
    std::string scale;
    for (int i = 0; i <= 2 * half; ++i) scale += i == mark ? "●" : i == half ? "┼" : "─";
    return scale;
}

}  // namespace

std::string speedWords(int speed) {
    if (speed == 0) return "stopped";
    return formatted("×%.2f %s", std::abs(speed / 1024.0), speed < 0 ? "reverse" : "forward");
}

std::string speedText(int speed) { return speedScale(speed) + "  " + speedWords(speed); }

std::string jogText(double counts) {
    std::string text = formatted("%+.4f", counts);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

}  // namespace common
