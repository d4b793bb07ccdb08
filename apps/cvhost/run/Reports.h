// What a run prints.
//
// Threads: the application's main thread.
#pragma once

#include <cstddef>
#include <functional>
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

/// A service's log goes to the journal, in place of the text that a person would read and of the log's file.
bool logsToJournal(Options::Events events);

/// From now on the log says each thing once, as long as no console is active, unless the driver traces: a console may be
/// looked for again and again.
void quietenLog();

/// Has the log follow the run: it repeats itself once a console is active.
void followConsole(const Event& event);

/// What shows the run's events: the report, on `output`, and the page if there is one.
std::vector<EventSink> makeSinks(const Options& options, common::LineWriter& output, common::RunClock start,
                                 web::PageState* page);

/// Whether those sinks show such an event.
std::function<bool(const Event&)> wantedEvents(const Options& options);

/// The line that says how many lines are missing here, with its end.
std::string missingLine(Options::Events events, common::RunClock start, std::size_t count);

}  // namespace cvhost::run
