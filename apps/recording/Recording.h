// What a recording of a serial port holds: one event a line, as docs/recording.md describes it.
//
// Threads: plain values.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/core/Events.h"

namespace recording {

inline constexpr int formatVersion = 1;

struct Event {
    enum class Kind {
        opening,     ///< `port` is about to be opened with `line`
        open,        ///< `port` is open
        trouble,     ///< `text`: what is wrong with `port`
        closed,      ///< `port` is closed
        lost,        ///< `port` is lost
        tx,          ///< `text`: bytes handed to the system
        rx,          ///< `text`: bytes that have arrived
        added,       ///< `text`: bytes that the host gave the driver, though the line did not bring them
        rts,         ///< `number`: the level that RTS is driven to, 0 or 1
        call,        ///< `text` and `arguments`: the host has called the console
        key,         ///< `number`: the code of the key press that the driver has queued
        setting,     ///< the setting `name` has the value `text` from now on, as a settings file has it
        preference,  ///< the preference `name` is `text`, true or false
        map,         ///< the map in force is the file `name`, and reads `text`
    };

    std::chrono::microseconds at{};  ///< since the recording began
    Kind kind{};
    std::string port{};
    std::string name{};
    std::string text{};
    int number = 0;
    cvhost::LineSettings line{};
    std::vector<int> arguments{};
};

/// Why a file is not a recording, or what is wrong with a line of it: a clause.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Consecutive lines that are damaged in the same way.
struct Damage {
    std::size_t first;  ///< the first line of a file is 1
    std::size_t last;
    std::string reason;

    /// "line 3: ..." or "lines 3 to 5: ...".
    std::string text() const;
};

/// Reads a recording line by line. Holds one line in memory.
class Reader {
public:
    using Item = std::variant<Event, Damage>;

    /// `text` must outlive the reader. Throws Error if it is not a recording, comes from a later version, or has no line
    /// that can be read.
    explicit Reader(std::string_view text);

    /// What made the recording, and when in UTC: "2026-01-31T12:34:56Z". Empty when the first line is damaged.
    const std::string& program() const { return m_program; }
    const std::string& started() const { return m_started; }

    /// The next event, or damage before it; nothing at the end. A damaged line gives no event, but a line whose time runs
    /// backwards gives damage and then its event. Skips lines of unknown kinds, which a later program has added.
    std::optional<Item> next();
    /// At the end: the text ends in the middle of a line, which is left out.
    bool cutShort() const { return m_cutShort; }

private:
    /// The next whole line; nothing at the end.
    std::optional<std::string_view> nextLine();
    void readHeader();
    /// Adds to the damage being gathered, or returns that and begins another.
    std::optional<Damage> gather(std::string reason);

    std::string_view m_text;
    std::size_t m_line = 0;  ///< the number of the line read last
    bool m_cutShort = false;
    std::string m_program;
    std::string m_started;
    std::chrono::microseconds m_at{};  ///< of the last event
    std::optional<Damage> m_damage;    ///< being gathered
    std::optional<Event> m_event;      ///< comes after the damage
};

/// The next event; nothing at the end. Throws Error if a line is damaged.
std::optional<Event> nextGood(Reader& reader);

/// The text of a file, whole. Throws std::system_error if it cannot be read, Error if it is larger than any recording.
std::string textOf(const std::string& path);

struct Recording {
    std::string program;
    std::string started;
    std::vector<Event> events;
    bool cutShort = false;
};

/// Reads all of a recording; throws Error if a line of it is damaged.
Recording read(std::string_view text);
/// The same of a file.
Recording readFile(const std::string& path);

/// The line of an event, with its end.
std::string lineFor(const Event& event);
/// Appends it. Bytes, keys, RTS levels and calls need no memory beyond that of `text`.
void appendLine(std::string& text, const Event& event);
/// The first line of a file.
std::string headerLine(const std::string& program, std::chrono::system_clock::time_point started);

}  // namespace recording
