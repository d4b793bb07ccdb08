// How a console's start-up went, judged from what the driver asked and read.
//
// Threads: all functions are pure.
#pragma once

#include <string_view>
#include <vector>

#include "apps/cvhost/doctor/Checks.h"
#include "apps/cvhost/wire/Startup.h"

namespace cvhost::doctor {

/// The checks that start-up on `port` comes to. When a console became active, what went wrong on the way is a warning.
std::vector<Check> checkStartup(std::string_view port, const wire::StartupFacts& startup);

}  // namespace cvhost::doctor
