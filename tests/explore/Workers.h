// Many sessions, in processes of their own, so that one that dies is one failure.
//
// Threads: one.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "tests/explore/Plan.h"
#include "tests/explore/Situations.h"

namespace explore {

struct Order {
    std::uint64_t first = 1;
    std::uint64_t count = 1;
    Faults mix = fault::all;
    Canary canary = Canary::none;
    unsigned processes = 1;
};

struct Sum {
    std::uint64_t passed = 0;
    std::uint64_t failed = 0;
    std::uint64_t active = 0;
    std::uint64_t packets = 0;
    std::uint64_t keys = 0;
    double seconds = 0;                                             ///< of virtual time
    std::array<std::uint64_t, situationNames.size()> situations{};  ///< sessions that reached each
    std::uint64_t digest = 0;                                       ///< of all sessions, in whatever order they ran
};

/// Runs the seeds, fewer when `failureLimit` have failed; tells each failure.
Sum runSeeds(const Order& order, const std::function<void(std::uint64_t seed, const std::string& what)>& tellFailure);
inline constexpr std::uint64_t failureLimit = 10;

}  // namespace explore
