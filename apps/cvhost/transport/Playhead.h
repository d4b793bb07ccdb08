// Where a clip is played: exact, also between two frames, at any time.
//
// The place is a whole number of units. A nanosecond at any speed and a hundred-millionth of a frame by the jog wheel are
// both whole numbers of units, so nothing is rounded. The playhead shows the last frame that it has reached: at play speed,
// in either direction, the next frame shows after its full time.
//
// Threads: one at a time.
#pragma once

#include <chrono>
#include <cstdint>

#include "apps/cvhost/transport/Clip.h"

namespace cvhost::transport {

using Time = std::chrono::nanoseconds;

constexpr int playSpeed = 1024;
constexpr int fastSpeed = 30000;  ///< the fastest that the console can show
constexpr int fastestSpeed = 32768;

class Playhead {
public:
    /// Jog movements count parts of a frame. A frame has this many parts.
    static constexpr std::int64_t jogParts = 100'000'000;

    /// Begins at `frame`, or at the clip's end if `frame` is beyond it.
    Playhead(const Clip& clip, std::int64_t frame);

    /// Runs for `time` (0 or more) at `speed` (up to fastestSpeed either way), or as far as the clip's end.
    void run(Time time, int speed);
    /// Moves by `parts` (see jogParts), or as far as the clip's end.
    void jog(std::int64_t parts);

    std::int64_t frame() const { return m_frame; }
    /// In frames, for drawing.
    double place() const;
    /// Whether the clip ends here in this direction.
    bool atEnd(int direction) const { return direction < 0 ? m_place == 0 : m_place == m_end; }

private:
    __extension__ using Units = __int128;

    void move(Units by);

    Units m_unitsPerFrame;
    std::int64_t m_unitsPerTick;  ///< in a nanosecond at speed 1
    Units m_end;                  ///< of the last frame
    Units m_place;                ///< 0 to m_end
    std::int64_t m_frame;         ///< less than a frame from m_place
};

}  // namespace cvhost::transport
