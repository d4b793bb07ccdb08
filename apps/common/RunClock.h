// When the program began.
#pragma once

#include <chrono>

namespace common {

/// The point in time from which a run counts its seconds.
class RunClock {
public:
    std::chrono::steady_clock::duration elapsed() const { return std::chrono::steady_clock::now() - m_start; }
    double seconds() const { return std::chrono::duration<double>(elapsed()).count(); }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace common
