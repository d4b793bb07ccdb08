// What a recording of a serial port holds: one event a line, as docs/recording.md describes it.
//
// Threads: plain values.
#pragma once

#include <chrono>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/core/Events.h"

namespace recording {

inline constexpr int formatVersion = 1;

struct Event {
    enum class What {
        opening,  ///< `port` is about to be opened with `line`
        open,     ///< `port` is open
        trouble,  ///< `text`: what is wrong with `port`
        closed,   ///< `port` is closed
        lost,     ///< `port` is lost
        tx,       ///< `text`: bytes handed to the system
        rx,       ///< `text`: bytes that have arrived
        added,    ///< `text`: bytes that the host had the driver receive, though they have not arrived
        rts,      ///< `number`: the level that RTS is driven to, 0 or 1
        call,     ///< `text` and `arguments`: the host has called the console
        key,      ///< `number`: the code of the key press that the driver has queued
    };

    std::chrono::microseconds at{};  ///< since the recording began
    What what{};
    std::string port{};
    std::string text{};
    int number = 0;
    cvhost::LineSettings line{};
    std::vector<int> arguments{};
};

struct Recording {
    std::string program;  ///< what made it
    std::string started;  ///< when, in UTC: "2026-01-31T12:34:56Z"
    std::vector<Event> events;
    /// The file ends within a line, which is left out.
    bool cutShort = false;
};

/// What is wrong with a recording, with its line: no full stop.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a recording; throws Error when it is none. Lines of kinds that a later program has added are skipped.
Recording read(std::istream& text);
/// The same of a file.
Recording readFile(const std::string& path);

/// The line of an event, with its end.
std::string lineFor(const Event& event);
/// The first line of a file.
std::string headerLine(const std::string& program, std::chrono::system_clock::time_point started);

}  // namespace recording
