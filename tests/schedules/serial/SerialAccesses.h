// Which of the serial library's accesses to memory are scheduling points.
//
// Threads: those of a run.
#pragma once

#include "host/sim/Scheduler.h"

namespace schedules::accesses {

/// From here to `end`.
void begin(sim::Scheduler& scheduler);

}  // namespace schedules::accesses
