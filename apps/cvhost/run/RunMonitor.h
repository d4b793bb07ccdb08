// Passes every event on to the run's sinks, and keeps what the run itself decides by.
//
// Threads: any. Calls are passed on one at a time.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/cvhost/run/HeldKeys.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::run {

/// What has been heard so far.
struct RunState {
    /// The name of the last port that the console was looked for on; empty when none was.
    std::string triedPort;
    /// The port that could not be opened last, and why; empty when there was none.
    std::string openFailure;
    bool portOpen = false;
    bool portLost = false;
    /// The port has no RTS line.
    bool rtsMissing = false;
    /// The port did not take what was sent last.
    bool portStuck = false;
    /// When a port was last opened, closed or lost.
    std::chrono::steady_clock::time_point portChanged{};
    /// The version that start-up told of last, once a console has become active.
    std::optional<int> version;
    /// A console is active.
    bool active = false;
    /// How often an active console's start-up has come to its end.
    unsigned starts = 0;
    /// How often a port was lost.
    unsigned losses = 0;
    /// The console was active, and has begun anew: somebody switched it off and on.
    bool powerCycled = false;
    /// How often each key was queued, and each handler run.
    std::array<unsigned, ConsoleHandlerTable::codes> keys{};
    std::array<unsigned, ConsoleHandlerTable::codes> handlers{};
};

class RunMonitor {
public:
    /// `wake` is called after each event that changes the state, on the event's thread.
    RunMonitor(std::vector<EventSink> sinks, std::function<void()> wake)
        : m_sinks(std::move(sinks)), m_wake(std::move(wake)) {}

    /// Gives every later event to `sink` too, before the others: what has been shown is in the recording.
    void addFirst(EventSink sink);

    /// Gives the release of every key that is pressed from now on, before the wake for what has released it. No key's when
    /// `console` is null, which it must be before the console is gone.
    void watchKeys(iConsoleResource* console);

    RunState state() const;

    void operator()(const Event& event);

    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const PortTrouble& trouble);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);
    void take(const ThreadEnded& thread);
    void take(const HandlerRun& run);

private:
    void giveToAll(const Event& event) const;

    std::vector<EventSink> m_sinks;
    const std::function<void()> m_wake;
    mutable std::mutex m_mutex;
    std::optional<HeldKeys> m_heldKeys;
    RunState m_state;
    std::string m_tail;              ///< what an active console sent last
    bool m_changed = false;          ///< by the present event
    std::optional<int> m_nowActive;  ///< the version of a console that the present event has made active
};

}  // namespace cvhost::run
