#include "apps/cvhost/transport/Playhead.h"

#include <algorithm>

namespace cvhost::transport {
namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

}  // namespace

// A nanosecond at speed s moves s / 1024 * numerator / denominator / 10^9 frames. The largest number here, the longest time
// at the highest speed, has 9.2e18 * 32768 * 240000 = 7.3e28 units; Units holds 1.7e38.
Playhead::Playhead(const Clip& clip, std::int64_t frame)
    : m_unitsPerFrame(Units(playSpeed) * nanosecondsPerSecond * clip.rate.denominator),
      m_unitsPerTick(clip.rate.numerator),
      m_end(clip.lastFrame() * m_unitsPerFrame),
      m_frame(std::clamp<std::int64_t>(frame, 0, clip.lastFrame())) {
    static_assert(playSpeed * nanosecondsPerSecond % jogParts == 0);
    m_place = m_frame * m_unitsPerFrame;
}

void Playhead::run(Time time, int speed) { move(Units(time.count()) * speed * m_unitsPerTick); }

void Playhead::jog(std::int64_t parts) { move(parts * (m_unitsPerFrame / jogParts)); }

void Playhead::move(Units by) {
    const Units from = m_place;
    m_place = std::clamp<Units>(from + by, 0, m_end);
    const Units floor = m_place / m_unitsPerFrame;
    const Units ceiling = (m_place + m_unitsPerFrame - 1) / m_unitsPerFrame;
    if (floor * m_unitsPerFrame > from) m_frame = static_cast<std::int64_t>(floor);
    if (ceiling * m_unitsPerFrame < from) m_frame = static_cast<std::int64_t>(ceiling);
}

double Playhead::place() const {
    const Units whole = m_place / m_unitsPerFrame;
    const Units part = m_place % m_unitsPerFrame;
    return static_cast<double>(whole) + static_cast<double>(part) / static_cast<double>(m_unitsPerFrame);
}

}  // namespace cvhost::transport
