// The driver's accesses to memory, each a place where another thread may go on.
//
// The driver's sources are compiled for this program with the compiler's thread instrumentation (-fsanitize=thread), which
// calls a function before each access that may be seen by another thread. Here these functions are ours: no source is
// changed, and no access is forgotten. An access is a scheduling point when
//
// - it counts a handle's object, or
// - it touches a byte of the console object, or eight of the driver's module-wide values, that two threads use, one of them
//   writing. Which bytes these are is learnt: while the search finds new ones, it begins again. Between two such points a
//   thread does nothing that another could see.
//
// Every access is held against what the run has given back.
//
// Threads: those of a world.
#pragma once

#include <string>

#include "console/Console.h"
#include "host/sim/ScheduleSearch.h"

namespace schedules::accesses {

/// From here to `end`: the run that has just begun.
void begin(sim::ScheduleSearch& search, Cv::Console& console);
void end();

/// From here on no code of the driver may run.
void driverUnloaded();

/// True when bytes were found that two threads use and that were not scheduling points from the beginning.
bool learnt();
void forgetLearnt();
void forgetAll();

/// Called for an access to memory that has been given back, or a step into an unloaded driver.
extern void (*broken)(const std::string& what);

}  // namespace schedules::accesses
