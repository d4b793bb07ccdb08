// What a run prints.
//
// Threads: the application's main thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "apps/common/LineWriter.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/run/Options.h"
#include "apps/cvhost/web/PageState.h"
#include "host/core/Events.h"

namespace cvhost::run {

/// The log is part of what is printed. Standard error gets it as well, unless a reader would then see it twice.
bool logsToStandardError(Options::Events events);

/// From now on the log says each thing once, as long as no console is active, unless the driver traces: a console may be
/// looked for again and again.
void quietenLog();

/// What shows the run's events: the report, on `output`, and the page if there is one. The log follows them.
std::vector<EventSink> makeSinks(const Options& options, common::LineWriter& output, common::RunClock start,
                                 web::PageState* page);

/// The line that says how many lines are missing here, with its end.
std::string missingLine(Options::Events events, common::RunClock start, std::size_t count);

}  // namespace cvhost::run
