// How a console's start-up went, judged from what the host saw on the line.
//
// Threads: all functions are pure.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "apps/cvhost/doctor/Checks.h"
#include "apps/cvhost/doctor/EventLog.h"

namespace cvhost::doctor {

/// How far start-up has come.
enum class Startup {
    underWay,
    notOpen,  ///< the port cannot be opened
    lost,     ///< the port was lost on the way
    silent,   ///< the driver has made one whole attempt and found no console, or the port takes no bytes
    active,
};
Startup startupState(std::span<const LoggedEvent> seen);

/// The checks that start-up on `port` comes to. When a console became active, what went wrong on the way is a warning.
std::vector<Check> checkStartup(std::string_view port, std::span<const LoggedEvent> seen);

}  // namespace cvhost::doctor
