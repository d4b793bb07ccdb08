// What a video-editing host does with the console's keys, ring and wheel: a clip, a playhead, a speed, in and out marks.
//
// Pure: each call takes what happened and when, on any monotonic clock. A time before an earlier one counts as the earlier
// one. Nothing runs by itself: `advance` lets time pass.
//
//   7 fast forward   8 rewind   11 play   12 stop   13 reverse   9 (I) mark in   15 (O) mark out   28 jog
//
// Threads: one at a time.
#pragma once

#include <cstdint>
#include <optional>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/transport/Clip.h"
#include "apps/cvhost/transport/Playhead.h"

namespace cvhost::transport {

namespace keys = common::keys;

/// A transport's visible state.
struct State {
    std::int64_t frame = 0;
    int speed = 0;  ///< 1024 is play; negative is reverse; 0 at the clip's ends
    std::optional<std::int64_t> markIn{};
    std::optional<std::int64_t> markOut{};  ///< not before markIn

    bool operator==(const State&) const = default;
};

struct Marks {
    std::optional<std::int64_t> in{};
    std::optional<std::int64_t> out{};

    /// Sets a mark. A mark on the wrong side of the other one removes the other.
    void set(bool isIn, std::int64_t frame);
};

class Transport {
public:
    /// Begins stopped, at `frame`.
    Transport(const Clip& clip, std::int64_t frame);

    /// Takes a key press. Keys other than those above do nothing.
    void key(int code, Time now);
    /// Takes the ring's speed. The same speed again does nothing.
    void shuttle(int speed, Time now);
    /// The ring counts as back at its centre: what it has started ends.
    void releaseRing(Time now);
    /// Moves by `parts` of a frame (see Playhead::jogParts). Stops what a key has started, but not the ring's speed. 0,
    /// which each report of the ring brings, does nothing.
    void jog(std::int64_t parts, Time now);
    /// Takes the jog wheel's state. Switching it on stops what a key has started.
    void wheel(bool on, Time now);
    void advance(Time now);

    const Clip& clip() const { return m_clip; }
    State state() const { return {m_playhead.frame(), m_speed, m_marks.in, m_marks.out}; }
    /// The playhead's place in frames, for drawing.
    double place() const { return m_playhead.place(); }

private:
    void setSpeed(int speed);
    void runByKey(int speed);
    void stopKeys();

    const Clip m_clip;
    Playhead m_playhead;
    Time m_now = Time::min();  ///< the time of the last `advance`
    int m_speed = 0;
    int m_ring = 0;         ///< the speed that the ring last asked for
    bool m_byRing = false;  ///< the speed is the ring's, not a key's
    Marks m_marks;
};

}  // namespace cvhost::transport
