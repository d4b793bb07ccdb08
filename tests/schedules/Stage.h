// One run of a script: the driver in a world, threads that act, and what must be true in the end.
//
// Threads: those of its world; a stage is made and used on the first.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "host/sim/ScheduleSearch.h"
#include "tests/support/Rig.h"

namespace schedules {

using namespace std::chrono_literals;
using sim::Time;

class Stage final : sim::Chooser {
public:
    explicit Stage(sim::ScheduleSearch& search, const desk::Options& options = {.running = true, .unpaced = true});
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    ~Stage();

    struct Actor {
        const char* name;
        std::function<void()> act;
    };

    /// A port is open and a console has answered, without a start-up, in one schedule.
    void activate();
    /// Lets these act in every schedule, each on a thread of its own, until all have ended.
    void play(std::initializer_list<Actor> actors);
    /// For an actor: waits for any moment of the next `limit`.
    void atAnyMoment(Time limit = 10s) { rig.world.scheduler().waitForTurn(limit); }
    /// For actors that must not be in one of these at a time, as a host's own lock does it.
    void alone(const std::function<void()>& act);
    /// exit(), after which no callback runs.
    void exit();
    /// Unloads the driver, as the host does.
    void unload();

    /// Ends everything, unless `holds`.
    void require(bool holds, const std::string& what);
    /// exit() has been called last: nothing is left of the run.
    void requireEnded();
    /// Every lamp of the desk is dark, and its wheel off.
    void requireDark();
    /// Console and desk have the same idea of these lamps.
    void requireLamps(std::initializer_list<int> lamps);
    bool hasSent(std::string_view text) const;

    Cv::Console& console() { return *m_console; }

    /// The console may be started again, so that a command meant for the old port may reach an inactive console.
    void restarts() { m_restarts = true; }

private:
    std::size_t choose(std::span<sim::Thread* const> candidates, bool interrupts) override;
    void watch(const sim::Entry& entry);

    sim::ScheduleSearch& m_search;
    bool m_restarts = false;
    bool m_taken = false;  // alone()

public:
    support::Rig rig;

private:
    Cv::Console* m_console = nullptr;
};

}  // namespace schedules
