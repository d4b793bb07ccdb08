// Everyone who can wait for bytes on a line, by turns.
#pragma once

#include <nlohmann/json.hpp>

#include "bench/Contenders.h"

namespace bench {

/// For each contender: "name", of each round "p50" and "p99", and "percentiles" 0 to 99
/// of all; in nanoseconds.
nlohmann::json measureByTurns(const Contenders& contenders, Unit unit, int rounds, int samples);
/// The same for all that contendersFor() has: the floor first, this host second.
nlohmann::json measureByTurns(LineKind line, Unit unit, int rounds, int samples);

}  // namespace bench
