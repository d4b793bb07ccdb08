// All schedules of a script, one after another: depth-first over the choices of who goes on, with a bound on how often a
// thread is interrupted. At a wait every order is tried.
//
//   for (unsigned bound = 0; bound <= 2; ++bound) {
//       sim::ScheduleSearch search(bound);
//       while (search.next()) runScript(search);     // a world whose Schedule::chooser is the search
//   }
//
// The script must be repeatable: with the same choices it comes to the same choices.
//
// Threads: those of a world.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/sim/Scheduler.h"

namespace sim {

/// One choice other than the first candidate: at which step of the run, and its place among the candidates.
struct Turn {
    std::uint64_t step;
    std::size_t place;
    bool operator==(const Turn&) const = default;
};
/// A schedule: at every other step the first candidate goes on.
using Turns = std::vector<Turn>;

/// "417:1 1033:2"; "-" when there is none.
std::string textOf(const Turns& turns);
std::optional<Turns> turnsFromText(std::string_view text);

class ScheduleSearch final : public Chooser {
public:
    /// All schedules in which threads are interrupted `interruptions` times at most.
    explicit ScheduleSearch(unsigned interruptions) : m_interruptions(interruptions) {}
    /// This one alone.
    explicit ScheduleSearch(Turns schedule) : m_only(std::move(schedule)) {}

    /// Begins the next run; false when none is left.
    bool next();
    /// From here to the end of the run, or to `close`, choices are tried; elsewhere the first candidate goes on.
    void open() { m_open = true; }
    void close() { m_open = false; }
    bool isOpen() const { return m_open; }

    /// Counts a step at which there could be a scheduling point and is none, so that the numbers of later steps do not
    /// depend on that.
    void pass() {
        if (m_open) ++m_step;
    }
    std::size_t choose(std::span<Thread* const> candidates, bool interrupts) override;

    /// Runs that have begun.
    std::uint64_t count() const { return m_count; }
    /// The schedule of the run that began last, up to here, and who was chosen, a line for each turn.
    const Turns& turns() const { return m_turns; }
    const std::string& story() const { return m_story; }

private:
    struct Decision {
        std::uint64_t step;
        std::size_t place;
        std::size_t candidates;
        unsigned before;  ///< interruptions before it
        bool interrupts;
    };

    std::size_t decide(std::size_t candidates, bool interrupts);
    std::size_t follow();

    unsigned m_interruptions = 0;
    std::optional<Turns> m_only;
    std::vector<Decision> m_decisions;
    std::size_t m_depth = 0;  ///< decisions made in this run
    unsigned m_used = 0;      ///< interruptions in this run
    std::uint64_t m_step = 0;
    std::uint64_t m_count = 0;
    bool m_open = false;
    Turns m_turns;
    std::string m_story;
};

}  // namespace sim
