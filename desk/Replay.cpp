#include "desk/Replay.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace desk {
namespace {

constexpr std::size_t mostDifferences = 16;

std::string shown(std::size_t byte) {
    std::array<char, 16> text{};
    const bool printable = byte > 0x20 && byte < 0x7F;
    std::snprintf(text.data(), text.size(), printable ? "'%c'" : "\\x%02x", static_cast<unsigned>(byte & 0xFF));
    return text.data();
}

}  // namespace

Replay::Replay(std::vector<Step> steps, Time now) : m_steps(std::move(steps)), m_now(now) { release(now, Time::zero()); }

Time Replay::present(Time now) { return m_now = std::max(m_now, now); }

void Replay::release(Time from, Time recordedFrom) {
    for (; m_next < m_steps.size() && !ofHost(m_steps[m_next]); ++m_next) {
        Time at = from + (m_steps[m_next].at - recordedFrom);
        if (!m_due.empty()) at = std::max(at, m_due.back().at);
        m_due.push_back({at, &m_steps[m_next]});
    }
}

void Replay::heard(Time now) {
    const Time recorded = m_steps[m_next++].at;
    release(now, recorded);
}

void Replay::differs(std::string what) {
    ++m_differenceCount;
    if (m_differences.size() >= mostDifferences) return;
    std::array<char, 32> time{};
    const Time at = m_next < m_steps.size() ? m_steps[m_next].at : m_steps.empty() ? Time::zero() : m_steps.back().at;
    std::snprintf(time.data(), time.size(), "at %.6f s ", std::chrono::duration<double>(at).count());
    m_differences.push_back(time.data() + std::move(what));
}

void Replay::receive(unsigned char byte, Time now) {
    now = present(now);
    if (m_next == m_steps.size()) return differs("the host sends " + shown(byte) + ", and nothing more is recorded");
    const Step& expected = m_steps[m_next];
    if (expected.what == Step::What::hostRts) return differs("the host sends " + shown(byte) + " in place of an RTS level");
    if (expected.value != byte) differs("the host sends " + shown(byte) + " in place of " + shown(expected.value));
    heard(now);
}

void Replay::setRts(bool high, Time now) {
    now = present(now);
    if (high == std::exchange(m_rts, high)) return;
    const std::size_t level = high ? 1 : 0;
    const auto found =
        std::find_if(m_steps.begin() + static_cast<std::ptrdiff_t>(m_next), m_steps.end(),
                     [&](const Step& step) { return step.what == Step::What::hostRts && step.value == level; });
    if (found == m_steps.end()) return differs("the host drives RTS " + std::string(high ? "high" : "low") + " once more");
    std::size_t skipped = 0;
    for (; &m_steps[m_next] != &*found; heard(now)) ++skipped;
    if (skipped != 0) differs("the host has left out " + std::to_string(skipped) + " steps before it drives RTS");
    heard(now);
}

std::optional<TimedByte> Replay::takeOutput(Time now) {
    now = present(now);
    if (m_due.empty() || m_due.front().at > now || m_due.front().step->what != Step::What::byte) return std::nullopt;
    const Due due = m_due.front();
    m_due.pop_front();
    return TimedByte{due.at, static_cast<unsigned char>(due.step->value)};
}

bool Replay::markDue(Time now) const {
    return !m_due.empty() && m_due.front().at <= std::max(m_now, now) && m_due.front().step->what == Step::What::mark;
}

std::optional<std::size_t> Replay::takeMark(Time now) {
    if (!markDue(present(now))) return std::nullopt;
    const std::size_t mark = m_due.front().step->value;
    m_due.pop_front();
    return mark;
}

std::optional<Time> Replay::nextEvent() const {
    if (m_due.empty()) return std::nullopt;
    return m_due.front().at;
}

std::size_t Replay::missing() const {
    return static_cast<std::size_t>(
        std::count_if(m_steps.begin() + static_cast<std::ptrdiff_t>(m_next), m_steps.end(), ofHost));
}

}  // namespace desk
