#include "apps/common/Timecode.h"

#include <array>
#include <cstdio>

namespace common {

std::string timecode(std::int64_t frame, int framesPerSecond) {
    const long long second = frame / framesPerSecond;
    const long long rest = frame % framesPerSecond;
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld:%02lld", second / 3600, second / 60 % 60, second % 60,
                  rest);
    return text.data();
}

}  // namespace common
