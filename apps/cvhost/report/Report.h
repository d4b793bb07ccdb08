// How a run is told to whoever started it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/core/Events.h"

namespace cvhost::report {

/// The driver lights the lamps of a console with an older version, and ignores its keys and wheel.
inline constexpr int oldestVersionWithInput = 7;
constexpr bool ignoresInput(int version) { return version < oldestVersionWithInput; }

/// One run of a console handler, with the console's values at that moment.
struct HandlerRun {
    int code;
    int speed;
    int jog;
    double jogExact;
    bool wheelEnabled;
};

/// The transport, whose speed, marks or frame have changed.
struct PlayheadChange {
    std::int64_t frame;
    double place;  ///< in frames, also between two
    int speed;     ///< 1024 is play
    std::optional<std::int64_t> markIn;
    std::optional<std::int64_t> markOut;
    int framesPerSecond;  ///< of its timecode
};

/// The console's main lamps and wheel, as the embedded desk has them.
struct DeskView {
    char reverse;
    char stop;
    char forward;
    char jog;
    bool wheel;

    bool operator==(const DeskView&) const = default;
};

/// Tells what happens. One call at a time; no call waits for the reader.
class Report : public EventSink {
public:
    virtual ~Report() = default;

    virtual void handler(const HandlerRun& run) = 0;
    /// A key that was held counts as released, since its console has gone.
    virtual void released(int code) = 0;
    /// A console has become active.
    virtual void active(int version) = 0;
    /// Something that only a person wants to read, under a one-word heading.
    virtual void say(std::string_view heading, std::string_view text) = 0;
    virtual void desk(const DeskView& view) = 0;
    virtual void playhead(const PlayheadChange& change) = 0;
    /// Nothing has happened for a moment.
    virtual void idle() = 0;
};

}  // namespace cvhost::report
