// What happens in the host and in a run: one type for everything that is shown, recorded or judged.
//
// Threads: any. The host gives its events to the sink one at a time, on the thread on which they happen.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <variant>

#include "host/core/Failure.h"

namespace cvhost {

/// How a serial line is set.
struct LineSettings {
    int baud;      ///< bits a second
    int dataBits;  ///< 5 to 8
    char parity;   ///< 'N', 'E' or 'O'
    int stopBits;  ///< 1 or 2
};

enum class PortState { open, closed, lost };
enum class Direction { transmit, receive };

/// Consumers of events. Each event names its own: they must handle it to compile, and the others ignore it.
struct Consumer {
    enum Kind : unsigned {
        text = 1,
        json = 2,
        page = 4,
        recording = 8,
        doctor = 16,
        run = 32,
        held = 64,
        control = 128,
        startup = 256,
        map = 512,
        journal = 1024,
    };
};

// Of the host. Texts and bytes are the emitter's: a sink that keeps an event copies what its `views` refer to.

/// A line of the log, with its end.
struct LogLine {
    static constexpr unsigned consumers =
        Consumer::text | Consumer::json | Consumer::page | Consumer::doctor | Consumer::startup | Consumer::journal;
    std::string_view text;

    auto views() { return std::tie(text); }
};

/// A port is about to be opened; PortChange to open, or PortTrouble, follows.
struct PortOpening {
    static constexpr unsigned consumers = Consumer::recording | Consumer::startup | Consumer::journal;
    std::string_view name;
    LineSettings settings;

    auto views() { return std::tie(name); }
};

struct PortChange {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::page | Consumer::recording |
                                          Consumer::doctor | Consumer::startup | Consumer::held | Consumer::control |
                                          Consumer::map | Consumer::journal;
    std::string_view name;
    PortState state;

    auto views() { return std::tie(name); }
};

/// What is wrong with a port.
struct PortTrouble {
    static constexpr unsigned consumers = Consumer::recording | Consumer::startup | Consumer::journal;
    enum class Kind {
        cannotOpen,
        busy,             ///< another program has it, so it cannot be opened
        settingsRefused,  ///< it is open, and unusable
        lost,             ///< PortChange to lost follows
        rtsMissing,       ///< it has no RTS line
        rtsUncertain,     ///< its other end does not offer to drive RTS
        notTaking,        ///< it has not taken the last `unsent` bytes in time
    };
    std::string_view name;
    Kind kind;
    int error = 0;              ///< the system's error number; 0: it has none
    std::string_view reason{};  ///< of the first four, as half a sentence: the system's own words, or the transport's
    std::size_t unsent = 0;

    auto views() { return std::tie(name, reason); }
};

/// A key press has been queued.
struct KeyQueued {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::page | Consumer::recording |
                                          Consumer::doctor | Consumer::run | Consumer::held | Consumer::control |
                                          Consumer::map;
    int code;
    bool handled;
    int flags;
};

/// Bytes handed to the system for a port, or arrived on it.
struct LineBytes {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::page | Consumer::recording |
                                          Consumer::doctor | Consumer::startup | Consumer::control;
    Direction direction;
    std::span<const unsigned char> bytes;

    auto views() { return std::tie(bytes); }
};

/// A byte has arrived, and every receive callback has returned that was called for it.
struct ByteHandled {
    static constexpr unsigned consumers = Consumer::held;
    unsigned char byte;
};

/// The driver receives `bytes` that have not come over the line: the last words of a port that is being lost.
struct AddedBytes {
    static constexpr unsigned consumers = Consumer::recording | Consumer::startup;
    std::span<const unsigned char> bytes;

    auto views() { return std::tie(bytes); }
};

struct RtsChange {
    static constexpr unsigned consumers =
        Consumer::text | Consumer::json | Consumer::page | Consumer::recording | Consumer::startup | Consumer::control;
    int level;
};

/// A thread that the plug-in began has done its work.
struct ThreadEnded {
    static constexpr unsigned consumers = Consumer::startup;
    std::string_view name;

    auto views() { return std::tie(name); }
};

// Of a run.

/// A run begins. It is the first event.
struct RunBegun {
    static constexpr unsigned consumers = Consumer::json;
};

/// One run of a console handler, with the console's values at that moment.
struct HandlerRun {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::page | Consumer::run | Consumer::map;
    int code;
    int speed;
    int jog;
    double jogExact;
    bool wheelEnabled;
};

/// A key whose press was queued is no longer held.
struct KeyReleased {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::control | Consumer::map;
    int code;           ///< as of its KeyQueued
    bool lost = false;  ///< its console has gone, and may hold it still
};

/// A console has become active.
struct ConsoleActive {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::control | Consumer::journal;
    int version;
};

/// The host calls the console.
struct ConsoleCall {
    static constexpr unsigned consumers = Consumer::recording;
    std::string_view name;
    std::span<const int> arguments;

    auto views() { return std::tie(name, arguments); }
};

/// The transport, whose speed, marks or frame have changed.
struct PlayheadChange {
    static constexpr unsigned consumers = Consumer::text | Consumer::json | Consumer::page | Consumer::control;
    std::int64_t frame;
    double place;  ///< in frames, also between two
    int speed;     ///< 1024 is play
    std::optional<std::int64_t> markIn;
    std::optional<std::int64_t> markOut;
    int framesPerSecond;  ///< of its timecode
};

/// Something that only a person wants to read, under a one-word heading.
struct Note {
    static constexpr unsigned consumers = Consumer::text | Consumer::page | Consumer::journal;
    std::string_view heading;
    std::string_view text;
    bool advice = false;  ///< it says what is wrong and what to do

    auto views() { return std::tie(heading, text); }
};

/// The embedded desk's main lamps and its wheel.
struct DeskView {
    static constexpr unsigned consumers = Consumer::text;
    char reverse;
    char stop;
    char forward;
    char jog;
    bool wheel;

    bool operator==(const DeskView&) const = default;
};

/// What holds from now on while the run goes on.
struct Circumstance {
    static constexpr unsigned consumers = Consumer::recording;
    enum class Kind { setting, preference, map };
    Kind kind;
    std::string_view name;  ///< of the setting or preference; the map's file
    std::string_view text;  ///< its value, as a settings file has it; the map's own text

    auto views() { return std::tie(name, text); }
};

/// Nothing has happened for a moment.
struct Quiet {
    static constexpr unsigned consumers = Consumer::text;
};

using Event = std::variant<LogLine, PortOpening, PortChange, PortTrouble, KeyQueued, LineBytes, ByteHandled, AddedBytes,
                           RtsChange, ThreadEnded, RunBegun, HandlerRun, KeyReleased, ConsoleActive, ConsoleCall,
                           PlayheadChange, Note, DeskView, Circumstance, Quiet>;

/// Calls `to.take(event)` if the event names `consumer`. A consumer without the overload does not compile.
template <Consumer::Kind consumer, class To>
void give(const Event& event, To& to) {
    std::visit(
        [&](const auto& each) {
            if constexpr ((std::decay_t<decltype(each)>::consumers & consumer) != 0) to.take(each);
        },
        event);
}

/// Takes events one at a time (the host serialises them), so it needs no lock of its own; it must not call back into the
/// host.
using EventSink = std::function<void(const Event&)>;

/// Sends every later event of the host to `sink`, or to nobody. Returns when no call to the earlier sink is running.
void setEventSink(EventSink sink);

/// The sink and the lock under which it is called. For publish alone.
struct SinkSeat {
    std::mutex lock;
    EventSink sink;
    std::atomic<bool> taken = false;  ///< there is a sink; changes under `lock`
};
SinkSeat& sinkSeat() noexcept;

/// Whether there is a sink. Another thread may change it at any time.
inline bool isSinkSet() noexcept { return sinkSeat().taken.load(std::memory_order_relaxed); }

/// Gives the event to the sink, if there is one. What a sink throws is kept, and the caller goes on: a host that can show
/// nothing more must still be able to switch its console off.
inline void publish(const Event& event) {
    if (!isSinkSet()) return;
    SinkSeat& seat = sinkSeat();
    const std::lock_guard held(seat.lock);
    if (seat.sink) guarded([&] { seat.sink(event); });
}

}  // namespace cvhost
