// One session of a map: random hands, a target that hangs, fails or answers late, and a map that changes.
//
// Threads: any; a session has one, and the target's.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tests/explore/maps/MapPlan.h"

namespace explore_maps {

struct Order {
    Canary canary = Canary::none;
    /// How long a target that is well may need.
    std::chrono::seconds patience{120};
};

/// What was wrong; empty if all was well. `file`: for the map.
std::string runSession(std::uint64_t seed, const Order& order, const std::string& file);

}  // namespace explore_maps
