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

void Replay::Steps::addBytes(Time at, Kind kind, std::string_view bytes, Bytes& all) {
    if (bytes.empty()) return;
    if (!m_runs.empty() && m_runs.back().kind == kind && m_runs.back().at == at) {
        m_runs.back().value += bytes.size();
    } else {
        m_runs.push_back({at, bytes.size(), kind});
    }
    all.insert(all.end(), bytes.begin(), bytes.end());
}

void Replay::Steps::hostSends(Time at, std::string_view bytes) {
    m_hostSteps += bytes.size();
    addBytes(at, Kind::hostBytes, bytes, m_hostBytes);
}

void Replay::Steps::hostDrivesRts(Time at, bool high) {
    ++m_hostSteps;
    m_runs.push_back({at, high ? 1U : 0U, Kind::hostRts});
}

void Replay::Steps::consoleSends(Time at, std::string_view bytes) { addBytes(at, Kind::bytes, bytes, m_consoleBytes); }

void Replay::Steps::consoleDoes(Time at, std::size_t mark) { m_runs.push_back({at, mark, Kind::mark}); }

Replay::Replay(Steps steps, Time now) : m_steps(std::move(steps)), m_now(now) { release(now, Time::zero()); }

Time Replay::present(Time now) { return m_now = std::max(m_now, now); }

void Replay::release(Time from, Time recordedFrom) {
    const auto& runs = m_steps.m_runs;
    const std::size_t first = m_next;
    while (m_next < runs.size() && !runs[m_next].ofHost()) ++m_next;
    if (m_next == first) return;
    Due due{.run = first, .end = m_next, .shift = from - recordedFrom, .earliest = from};
    if (!m_due.empty()) {
        const Due& before = m_due.back();
        due.earliest = std::max(from, std::max(before.earliest, before.shift + runs[before.end - 1].at));
    }
    m_due.push_back(due);
}

void Replay::heard(Time now) {
    const Run& run = m_steps.m_runs[m_next];
    ++m_heard;
    m_hungUp = false;
    if (run.kind == Kind::hostBytes) {
        m_steps.m_hostBytes.pop_front();
        if (++m_nextBytes < run.value) return;
        m_nextBytes = 0;
    }
    ++m_next;
    release(now, run.at);
}

void Replay::differs(std::string what) {
    ++m_differenceCount;
    if (m_differences.size() >= mostDifferences) return;
    std::array<char, 32> time{};
    const auto& runs = m_steps.m_runs;
    const Time at = m_next < runs.size() ? runs[m_next].at : runs.empty() ? Time::zero() : runs.back().at;
    std::snprintf(time.data(), time.size(), "at %.6f s ", std::chrono::duration<double>(at).count());
    m_differences.push_back(time.data() + std::move(what));
}

void Replay::receive(unsigned char byte, Time now) {
    now = present(now);
    if (ended()) return;
    if (m_next == m_steps.m_runs.size()) return differs("the host sends " + shown(byte) + ", and nothing more is recorded");
    if (m_steps.m_runs[m_next].kind == Kind::hostRts)
        return differs("the host sends " + shown(byte) + " in place of an RTS level");
    const unsigned char expected = m_steps.m_hostBytes.front();
    if (expected != byte) differs("the host sends " + shown(byte) + " in place of " + shown(expected));
    heard(now);
}

void Replay::setRts(bool high, Time now) {
    now = present(now);
    if (high == std::exchange(m_rts, high) || ended()) return;
    const std::size_t level = high ? 1 : 0;
    const auto& runs = m_steps.m_runs;
    const auto found = std::find_if(runs.begin() + static_cast<std::ptrdiff_t>(m_next), runs.end(),
                                    [&](const Run& run) { return run.kind == Kind::hostRts && run.value == level; });
    if (found == runs.end()) return differs("the host drives RTS " + std::string(high ? "high" : "low") + " once more");
    const auto wanted = static_cast<std::size_t>(found - runs.begin());
    std::size_t skipped = 0;
    for (; m_next != wanted; heard(now)) ++skipped;
    if (skipped != 0) differs("the host has left out " + std::to_string(skipped) + " steps before it drives RTS");
    heard(now);
}

void Replay::finishDueRun() {
    m_dueBytes = 0;
    if (++m_due.front().run == m_due.front().end) m_due.pop_front();
}

std::optional<TimedByte> Replay::takeOutput(Time now) {
    now = present(now);
    if (m_due.empty() || dueTime() > now || dueRun().kind != Kind::bytes) return std::nullopt;
    const TimedByte taken{dueTime(), m_steps.m_consoleBytes.front()};
    m_steps.m_consoleBytes.pop_front();
    if (++m_dueBytes == dueRun().value) finishDueRun();
    return taken;
}

bool Replay::markDue(Time now) const {
    return !m_due.empty() && dueTime() <= std::max(m_now, now) && dueRun().kind == Kind::mark;
}

std::optional<std::size_t> Replay::takeMark(Time now) {
    if (!markDue(present(now))) return std::nullopt;
    const std::size_t mark = dueRun().value;
    finishDueRun();
    return mark;
}

bool Replay::takeHangUp(Time now) {
    const bool hangsUp = takeMark(now).has_value();
    m_hungUp = m_hungUp || hangsUp;
    return hangsUp;
}

std::optional<Time> Replay::nextEvent() const {
    if (m_due.empty()) return std::nullopt;
    return dueTime();
}

}  // namespace desk
