// What happened in a world, in order, with its exact time.
//
// Threads: one at a time.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace sim {

enum class Kind {
    call,     ///< the driver called the host: the call as it would be written, without handles
    result,   ///< what a call that waits has returned
    log,      ///< LogBoth: the text, and its format as it was passed
    key,      ///< addToKeyPressQueue: "code handled flags"
    sent,     ///< bytes handed to a port in one call
    arrived,  ///< bytes that arrived on a port together
    rts,      ///< the RTS line of a port has been driven: "0" or "1"
    port,     ///< a port has been opened, closed or lost
    thread,   ///< the thread has started or ended
    note      ///< whatever a test has noted
};

struct Entry {
    std::chrono::nanoseconds at;
    std::string thread;  ///< in which it happened; "line" for what came by itself
    Kind kind;
    std::string text;
    std::string format;  ///< What::log only

    friend bool operator==(const Entry&, const Entry&) = default;
};

using Recording = std::vector<Entry>;

/// "call", "result" and so on.
const char* nameOf(Kind kind);
/// The texts of all entries of one kind.
std::vector<std::string> textsOf(const Recording& recording, Kind kind);
/// One line an entry: time in milliseconds, thread, kind, text with escapes for what does not print.
std::string describe(const Recording& recording);
/// `bytes` with \r, \n, \xNN and so on for what does not print.
std::string escaped(std::string_view bytes);

}  // namespace sim
