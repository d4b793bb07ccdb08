// Numbers from a seed, the same on every machine.
//
// Threads: one at a time.
#pragma once

#include <cstdint>

namespace sim {

class Random {
public:
    explicit constexpr Random(std::uint64_t seed) noexcept : m_state(seed) {}

    constexpr std::uint64_t next() noexcept {
        m_state += 0x9E37'79B9'7F4A'7C15;
        std::uint64_t mixed = (m_state ^ m_state >> 30) * 0xBF58'476D'1CE4'E5B9;
        mixed = (mixed ^ mixed >> 27) * 0x94D0'49BB'1331'11EB;
        return mixed ^ mixed >> 31;
    }
    /// 0 to `bound` - 1; 0 for a bound of 0.
    constexpr std::uint64_t below(std::uint64_t bound) noexcept { return bound == 0 ? 0 : next() % bound; }
    /// `least` to `most`, both included; `least` is not above `most`.
    constexpr int between(int least, int most) noexcept {
        return least + static_cast<int>(below(static_cast<std::uint64_t>(most - least) + 1));
    }
    /// True in `perMillion` of a million cases. Takes no number for a chance of 0.
    constexpr bool chance(unsigned perMillion) noexcept { return perMillion != 0 && below(1'000'000) < perMillion; }

private:
    std::uint64_t m_state;
};

}  // namespace sim
