// The subcommand `cvhost map`: which maps there are, what they say, and whether a file is one.
//
// Threads: the application's main thread.
#pragma once

#include "apps/cvhost/map/Options.h"

namespace cvhost::map {

/// The program's exit status.
int runMapCommand(const MapOptions& options);

}  // namespace cvhost::map
