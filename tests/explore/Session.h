// One whole session of host, console and operator, as its plan says.
//
// Threads: one at a time in a process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/sim/Recording.h"
#include "tests/explore/Plan.h"
#include "tests/explore/Situations.h"

namespace explore {

struct Outcome {
    std::vector<std::string> failures;
    std::uint64_t digest = 0;  ///< of everything that was recorded
    bool becameActive = false;
    unsigned packets = 0;
    unsigned keys = 0;
    double seconds = 0;  ///< of virtual time
    SituationSet situations = 0;
};

struct Result {
    Outcome outcome;
    sim::Recording recording;
};

/// What must never end (a deadlock, undefined behaviour) ends the process.
Result runSession(const Plan& plan, Canary canary);

}  // namespace explore
