#include "host/sim/Line.h"

#include <algorithm>
#include <utility>

#include "host/sim/World.h"

namespace sim {

Line::Line(World& world, std::string portName, std::optional<std::string> portDescription, std::uint64_t seed)
    : name(std::move(portName)), description(std::move(portDescription)), m_world(world), m_random(seed) {
    m_world.scheduler().add(this);
}

Line::~Line() { m_world.scheduler().remove(this); }

desk::Desk& Line::attachDesk(const desk::Options& options) {
    return attach(std::make_unique<desk::Desk>(options, m_world.now()));
}

ScriptedPeer& Line::attachScript() { return attach(std::make_unique<ScriptedPeer>()); }

void Line::vanish() {
    m_present = false;
    if (m_port != nullptr) m_world.serial().lose(*m_port);
}

void Line::setNoise(Time every) {
    m_noiseEvery = every;
    m_nextNoise = m_world.now() + Time(m_random.below(static_cast<std::uint64_t>(2 * every.count())));
}

/// How often `byte`, which may change, arrives at the other end.
unsigned Line::copies(const ByteFaults& faults, unsigned char& byte) {
    if (m_random.chance(faults.lost)) return 0;
    if (m_random.chance(faults.flipped)) byte = static_cast<unsigned char>(byte ^ 1U << m_random.below(8));
    return m_random.chance(faults.doubled) ? 2 : 1;
}

bool Line::send(std::span<const unsigned char> bytes) {
    const bool fails = m_random.chance(failingWrites);
    if (fails) bytes = bytes.first(m_random.below(bytes.size() + 1));
    const Time now = m_world.now();
    if (!bytes.empty()) {
        m_world.record(Kind::sent, std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    if (m_machine != nullptr) {
        const Time perByte = m_machine->unpaced() ? Time::zero() : desk::byteTime;
        m_sendingEnds = std::max(m_sendingEnds, now) + perByte * static_cast<Time::rep>(bytes.size());
        for (unsigned char byte : bytes) {
            for (unsigned i = copies(toPeer, byte); i != 0; --i) m_machine->receive(byte, now);
        }
    }
    return !fails;
}

void Line::setRts(int level) {
    m_world.record(Kind::rts, std::to_string(level));
    if (m_machine != nullptr && !rtsStuck) m_machine->setRts(level != 0, m_world.now());
}

std::optional<Time> Line::nextEvent() const {
    std::optional<Time> next;
    const auto consider = [&](Time at) { next = std::min(at, next.value_or(at)); };
    if (m_machine != nullptr) {
        if (const auto at = m_machine->nextEvent()) consider(*at);
    }
    if (!m_held.empty()) consider(m_handOver);
    if (m_noiseEvery != Time::zero()) consider(m_nextNoise);
    return next;
}

void Line::advance(Time now) {
    while (const auto output = m_machine != nullptr ? m_machine->takeOutput(now) : std::nullopt) {
        unsigned char byte = output->byte;
        for (unsigned i = copies(toHost, byte); i != 0; --i) arrive(byte);
    }
    if (m_noiseEvery != Time::zero() && m_nextNoise <= now) {
        makeNoise();
        m_nextNoise = now + Time(1 + m_random.below(static_cast<std::uint64_t>(2 * m_noiseEvery.count())));
    }
    const bool hangsUp = m_machine != nullptr && m_machine->takeHangUp(now);
    if (!m_held.empty() && (m_handOver <= now || hangsUp)) handOver();
    if (hangsUp) {
        vanish();
        appear();
    }
}

void Line::arrive(unsigned char byte) {
    if (m_port == nullptr) return;
    if (m_held.empty()) {
        const auto most = static_cast<std::uint64_t>(holdBack.count());
        m_handOver = m_world.now() + (holdBackVaries ? Time(m_random.below(most + 1)) : holdBack);
    }
    m_held += static_cast<char>(byte);
}

/// Any bytes, a run of one byte, or text that looks like packets or like a format.
void Line::makeNoise() {
    static constexpr std::string_view likely = "%snd*.$0127 \\L~VDUEK?OFX";
    const std::uint64_t kind = m_random.below(4);
    const auto run = static_cast<unsigned char>(m_random.below(2) == 0 ? 0xFF : 0x00);
    for (std::uint64_t left = 1 + m_random.below(32); left != 0; --left) {
        if (kind == 0) {
            arrive(run);
        } else if (kind == 1) {
            arrive(static_cast<unsigned char>(m_random.below(256)));
        } else {
            arrive(static_cast<unsigned char>(likely[m_random.below(likely.size())]));
        }
    }
}

void Line::handOver() { inject(std::exchange(m_held, {})); }

void Line::inject(std::string_view bytes) {
    if (m_port != nullptr) m_world.serial().deliver(*m_port, bytes);
}

}  // namespace sim
