#include "host/sim/ScheduleSearch.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace sim {

std::string textOf(const Turns& turns) {
    std::string text;
    for (const Turn& turn : turns) {
        text += (text.empty() ? "" : ",") + std::to_string(turn.step) + ":" + std::to_string(turn.place);
    }
    return text.empty() ? "-" : text;
}

std::optional<Turns> turnsFromText(std::string_view text) {
    Turns turns;
    if (text == "-") return turns;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (true) {
        Turn turn{};
        const auto step = std::from_chars(at, end, turn.step);
        if (step.ec != std::errc{} || step.ptr == end || *step.ptr != ':') return std::nullopt;
        const auto place = std::from_chars(step.ptr + 1, end, turn.place);
        if (place.ec != std::errc{} || turn.place == 0) return std::nullopt;
        if (!turns.empty() && turns.back().step >= turn.step) return std::nullopt;
        turns.push_back(turn);
        if (place.ptr == end) return turns;
        if (*place.ptr != ',') return std::nullopt;
        at = place.ptr + 1;
    }
}

bool ScheduleSearch::next() {
    if (m_count != 0) {
        if (m_only) return false;
        while (!m_decisions.empty() && m_decisions.back().place + 1 == m_decisions.back().candidates) m_decisions.pop_back();
        if (m_decisions.empty()) return false;
        ++m_decisions.back().place;
    }
    ++m_count;
    m_depth = 0;
    m_used = 0;
    m_step = 0;
    m_open = false;
    m_turns.clear();
    m_story.clear();
    return true;
}

std::size_t ScheduleSearch::choose(std::span<Thread* const> candidates, bool interrupts) {
    if (!m_open) return 0;
    ++m_step;
    const std::size_t place = m_only ? follow() : decide(candidates.size(), interrupts);
    if (place >= candidates.size()) {
        std::fprintf(stderr, "schedule: step %llu has no candidate %zu\n", static_cast<unsigned long long>(m_step), place);
        std::abort();
    }
    if (place == 0) return 0;
    m_turns.push_back({m_step, place});
    const Thread* first = candidates.front();
    m_story += "  step " + std::to_string(m_step) + ": " + Scheduler::nameOf(*candidates[place]) + " goes on at " +
               Scheduler::placeOf(*candidates[place]) + ", ";
    if (first == nullptr) {
        m_story += "before time does\n";
    } else {
        m_story += (interrupts ? "interrupting " : "before ") + Scheduler::nameOf(*first) + " at " +
                   Scheduler::placeOf(*first) + "\n";
    }
    return place;
}

std::size_t ScheduleSearch::decide(std::size_t candidates, bool interrupts) {
    if (candidates < 2 || (interrupts && m_used == m_interruptions)) return 0;
    if (m_depth == m_decisions.size()) m_decisions.push_back({m_step, 0, candidates, m_used, interrupts});
    const Decision& decision = m_decisions[m_depth++];
    if (decision.step != m_step || decision.candidates != candidates || decision.before != m_used ||
        decision.interrupts != interrupts) {
        std::fprintf(stderr, "schedule: the script does not repeat itself at step %llu\n",
                     static_cast<unsigned long long>(m_step));
        std::abort();
    }
    if (interrupts && decision.place != 0) ++m_used;
    return decision.place;
}

std::size_t ScheduleSearch::follow() {
    const std::size_t made = m_turns.size();
    return made < m_only->size() && (*m_only)[made].step == m_step ? (*m_only)[made].place : 0;
}

}  // namespace sim
