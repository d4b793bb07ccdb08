// Where the host's log goes.
//
// Threads: setLogDestinations on the application's main thread; the other functions on any.
#pragma once

#include <string_view>

namespace cvhost {

/// Where the log goes besides the event sink: to standard error, and to cvhost/cvhost.log in XDG_STATE_HOME
/// (~/.local/state by default), which is renamed to cvhost.log.1 when it has grown to 1 MiB. At first: standard error alone.
struct LogDestinations {
    bool standardError = true;
    bool file = true;
};
void setLogDestinations(LogDestinations destinations);

/// Whether a text is written each time, as at first, or only once from now on: a search that goes on for hours must not
/// fill the log.
void setLogRepeats(bool written);

/// Writes `text` to standard error. A reader that has stopped delays the caller by one second at most, and then not at all
/// until it reads again.
void writeStandardError(std::string_view text);

}  // namespace cvhost
