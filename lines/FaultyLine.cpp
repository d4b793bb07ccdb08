#include "lines/FaultyLine.h"

#include <stdexcept>
#include <utility>

namespace lines {
namespace {

using namespace std::chrono_literals;

constexpr desk::Time pauseBetweenTries = 200ms;

}  // namespace

FaultyLine::FaultyLine(Plug plug) : m_plug(std::move(plug)), m_line(m_plug()), m_name(m_line->name()) {}

void FaultyLine::watchFor(std::vector<pollfd>& waits) const {
    if (m_line) m_line->watchFor(waits);
}

void FaultyLine::service(desk::Machine& desk, desk::Time now) {
    if (!m_wantPlugged && m_line) {
        m_line.reset();
        desk.dropInput(now);
        desk.setRts(true, now);
    }
    if (!m_wantPlugged) m_nextTry.reset();
    if (m_wantPlugged && !m_line && (!m_nextTry || now >= *m_nextTry)) plugIn(now);
    if (m_line) m_line->service(desk, now);
}

void FaultyLine::plugIn(desk::Time now) {
    try {
        m_line = m_plug();
        m_nextTry.reset();
    } catch (const std::runtime_error&) {
        m_nextTry = now + pauseBetweenTries;  // another program still has the name
    }
}

std::optional<desk::Time> FaultyLine::nextEvent() const {
    if (m_line) return m_line->nextEvent();
    return m_wantPlugged ? m_nextTry : std::nullopt;
}

void FaultyLine::send(std::span<const unsigned char> bytes, desk::Time now) {
    if (!m_line || m_silent) return;
    if (!m_noisy) return m_line->send(bytes, now);
    std::vector<unsigned char> disturbed(bytes.begin(), bytes.end());
    for (unsigned char& byte : disturbed) {
        if (m_random() % 8 == 0) byte = static_cast<unsigned char>(byte ^ (1U << (m_random() % 8)));
    }
    m_line->send(disturbed, now);
}

}  // namespace lines
