// Which of the driver's accesses to memory are scheduling points. An access is one when
//
// - it counts a handle's object, or
// - it touches a byte that two threads use and one of them writes, in the console object or in one of the driver's eight
//   module-wide values. The search learns which bytes these are: when it finds new ones, it begins again. Between two such
//   points a thread does nothing that another could see.
//
// Lamps that no script uses are alike: what a loop over all lamps does to one of these it does to each, and no other thread
// has to do with them. The loop is interrupted at the others alone (`isRepetition`).
//
// Every access is held against what the run has given back, and no other memory may be used by two threads.
//
// Threads: those of a world.
#pragma once

#include "console/Console.h"
#include "host/sim/ScheduleSearch.h"
#include "tests/schedules/Accesses.h"

namespace schedules::accesses {

/// From here to `end`: the run that has just begun.
void begin(sim::ScheduleSearch& search, Cv::Console& console);

/// From here on no receive thread may be in the driver.
void exited();
/// From here on no thread may.
void driverUnloaded();

/// The running thread holds one of the host's locks. Memory outside the known fields that other threads have written
/// belongs to this thread from now on.
void takeOver();

/// True while the running thread is busy with a lamp that is like the one before.
bool isRepetition();

}  // namespace schedules::accesses
