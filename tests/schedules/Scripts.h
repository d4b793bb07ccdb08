// The scripts whose schedules are tried, each a few calls on two or three threads.
//
// Threads: those of a stage.
#pragma once

#include <span>
#include <string>

#include "host/sim/ScheduleSearch.h"

namespace schedules {

struct Script {
    const char* name;
    void (*run)(sim::ScheduleSearch& search);
    unsigned interruptions;  ///< at most, unless the command says otherwise
    /// Some schedule of it fails: a limit that docs/decisions names. Runs only when asked for.
    bool limit = false;
};

std::span<const Script> scripts();
/// Makes what is made once in a process and stays.
void prepare();
/// What of ./dev runs this program.
extern const char* const command;

/// What is called when something is not as it must be; does not return.
extern void (*failed)(const std::string& what);

}  // namespace schedules
