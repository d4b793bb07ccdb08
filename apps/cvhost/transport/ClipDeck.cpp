#include "apps/cvhost/transport/ClipDeck.h"

namespace cvhost::transport {

void ClipDeck::key(int code) {
    const std::lock_guard lock(m_mutex);
    m_transport.key(code, m_clock());
}

void ClipDeck::shuttle(int speed) {
    const std::lock_guard lock(m_mutex);
    m_transport.shuttle(speed, m_clock());
}

void ClipDeck::releaseRing() {
    const std::lock_guard lock(m_mutex);
    m_transport.releaseRing(m_clock());
}

void ClipDeck::jog(std::int64_t parts) {
    const std::lock_guard lock(m_mutex);
    m_transport.jog(parts, m_clock());
}

void ClipDeck::wheel(bool on) {
    const std::lock_guard lock(m_mutex);
    m_transport.wheel(on, m_clock());
}

View ClipDeck::view() {
    const std::lock_guard lock(m_mutex);
    m_transport.advance(m_clock());
    return {.clip = m_transport.clip(), .state = m_transport.state(), .place = m_transport.place()};
}

}  // namespace cvhost::transport
