// `cvhost timeline`: prints a recording, one line for each thing at the serial boundary.
//
// Threads: the application's main thread.
#pragma once

#include <string>

#include "apps/cvhost/Options.h"
#include "apps/recording/Recording.h"

namespace cvhost {

/// The recording as lines for a person. What the file says is made safe for a terminal.
std::string timelineText(const recording::Recording& recording, bool colour);

/// The program's exit status: 0; 1 when the lines cannot be written, 2 when the file is no recording.
int showTimeline(const TimelineOptions& options);

}  // namespace cvhost
