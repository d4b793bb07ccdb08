// When the program began.
#pragma once

#include <chrono>
#include <optional>

namespace common {

/// The point in time from which a run counts its seconds.
class RunClock {
    using Clock = std::chrono::steady_clock;

public:
    /// As long as it lives, every clock of a run shows this time to its thread.
    class Moment {
    public:
        explicit Moment(Clock::time_point time) { s_shown = time; }
        Moment(const Moment&) = delete;
        Moment& operator=(const Moment&) = delete;
        ~Moment() { s_shown.reset(); }
    };

    Clock::duration elapsed() const { return (s_shown ? *s_shown : Clock::now()) - m_start; }
    double seconds() const { return std::chrono::duration<double>(elapsed()).count(); }

private:
    inline static thread_local std::optional<Clock::time_point> s_shown;

    Clock::time_point m_start = Clock::now();
};

}  // namespace common
