// `cvhost timeline`: prints a recording, one line for each thing at the serial boundary.
//
// Threads: the application's main thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "apps/cvhost/timeline/Options.h"
#include "apps/recording/Recording.h"

namespace cvhost::timeline {

/// Takes one line, with its end.
using TimelineSink = std::function<void(std::string_view)>;

/// Gives the recording to `put` as lines for a person. What the file says is made safe for a terminal. The numbers of the
/// damaged lines: "3, 7 to 9".
std::string writeTimeline(recording::Reader reader, bool colour, const TimelineSink& put);

/// The program's exit status: 0; 1 when the lines cannot be written or some are damaged, 2 when the file is no recording.
int showTimeline(const TimelineOptions& options);

}  // namespace cvhost::timeline
