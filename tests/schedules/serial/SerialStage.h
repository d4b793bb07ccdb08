// One run of a script: the host's serial library on lines that the script plays, and what must be true in the end.
//
// Threads: those of its run; a stage is made and used on the first.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "host/api/Comms.h"
#include "host/core/Events.h"
#include "host/sim/ScheduleSearch.h"
#include "tests/schedules/serial/System.h"

namespace schedules {

/// What a transport is connected to.
struct SerialLine {
    std::string arriving;  ///< from the far end
    std::string sent;
    bool gone = false;   ///< read and write fail
    int transports = 0;  ///< that are open
};

class SerialStage final : sim::Chooser {
public:
    static constexpr int lines = 2;

    explicit SerialStage(sim::ScheduleSearch& search);
    SerialStage(const SerialStage&) = delete;
    SerialStage& operator=(const SerialStage&) = delete;
    /// Requires that nothing is left of the run.
    ~SerialStage();

    struct Actor {
        const char* name;
        std::function<void()> act;
    };
    /// Lets these act in every schedule, each on a thread of its own, until all have ended and all that arrived is taken.
    void play(std::initializer_list<Actor> actors);

    SerialLine& line(int number = 0) { return m_lines.at(static_cast<std::size_t>(number)); }
    static LightweightString<wchar_t> nameOf(int number = 0);
    /// Opens the port at a line.
    static Cv::Ptr<CommsPort> open(int number = 0);
    /// Bytes arrive.
    void arrive(const std::string& bytes, int number = 0);
    /// The line is pulled out.
    void pull(int number = 0);

    static void require(bool holds, const std::string& what);
    /// How often the host has reported this.
    int reported(cvhost::PortState state) const;

private:
    std::size_t choose(std::span<sim::Thread* const> candidates, bool interrupts) override;

    sim::ScheduleSearch& m_search;
    sim::Scheduler m_scheduler;
    System m_system{m_scheduler};
    std::array<SerialLine, lines> m_lines;
    std::vector<cvhost::PortState> m_reports;
};

/// A handler of a port's bytes.
class SerialHandler {
public:
    explicit SerialHandler(std::function<void()> body = [] {}) : m_body(std::move(body)) {}
    SerialHandler(const SerialHandler&) = delete;
    SerialHandler& operator=(const SerialHandler&) = delete;

    bool listen(int line = 0) { return commsRegisterHandler(callback, SerialStage::nameOf(line), 1, true, this); }
    /// Deregisters; from then on no call may come, nor be running.
    void drop();
    /// It must not be called any more.
    void retire();
    int calls() const { return m_calls; }

private:
    static bool callback(void* self);

    std::function<void()> m_body;
    int m_calls = 0;
    bool m_inside = false;
    bool m_retired = false;
};

}  // namespace schedules
