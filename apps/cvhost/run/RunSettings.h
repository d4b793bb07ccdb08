// What a run takes from the settings.
//
// Threads: any.
#pragma once

#include <string>

#include "apps/cvhost/run/Options.h"

namespace cvhost::run {

/// What the shuttle does beyond play, as the driver will read it.
double beyondPlay();

/// The map of the command line or, unless a film is worked, of the settings; empty: none.
std::string mapOf(const Options& options);

}  // namespace cvhost::run
