#include "apps/cvhost/transport/Transport.h"

#include <algorithm>
#include <utility>

namespace cvhost::transport {

Transport::Transport(const Clip& clip, std::int64_t frame) : m_clip(clip), m_playhead(clip, frame) {}

void Transport::key(int code, Time now) {
    advance(now);
    switch (code) {
        case keys::fastForward:
            return runByKey(fastSpeed);
        case keys::fastReverse:
            return runByKey(-fastSpeed);
        case keys::play:
            return runByKey(playSpeed);
        case keys::stop:
            return runByKey(0);
        case keys::reverse:
            return runByKey(-playSpeed);
        case keys::markIn:
            return m_marks.set(true, m_playhead.frame());
        case keys::markOut:
            return m_marks.set(false, m_playhead.frame());
        default:
            return;
    }
}

void Transport::shuttle(int speed, Time now) {
    advance(now);
    if (speed == m_ring) return;
    m_ring = speed;
    m_byRing = true;
    setSpeed(speed);
}

void Transport::releaseRing(Time now) {
    advance(now);
    m_ring = 0;
    if (std::exchange(m_byRing, false)) setSpeed(0);
}

void Transport::jog(std::int64_t parts, Time now) {
    advance(now);
    if (parts == 0) return;
    stopKeys();
    m_playhead.jog(parts);
}

void Transport::wheel(bool on, Time now) {
    advance(now);
    if (on) stopKeys();
}

void Transport::runByKey(int speed) {
    m_byRing = false;
    setSpeed(speed);
}

void Transport::stopKeys() {
    if (!m_byRing) m_speed = 0;
}

void Transport::advance(Time now) {
    if (now <= m_now) return;
    if (m_speed != 0) {
        m_playhead.run(now - m_now, m_speed);
        setSpeed(m_speed);
    }
    m_now = now;
}

/// At the clip's end the speed is 0.
void Transport::setSpeed(int speed) {
    m_speed = m_playhead.atEnd(speed) ? 0 : std::clamp(speed, -fastestSpeed, fastestSpeed);
}

void Marks::set(bool isIn, std::int64_t frame) {
    (isIn ? in : out) = frame;
    if (in && out && *in > *out) (isIn ? out : in).reset();
}

}  // namespace cvhost::transport
