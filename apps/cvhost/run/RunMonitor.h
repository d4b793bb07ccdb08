// Passes every event on to the run's sinks, and keeps what the run itself decides by.
//
// Threads: any. Calls are passed on one at a time.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "apps/cvhost/run/HeldKeys.h"
#include "apps/cvhost/wire/Startup.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::run {

struct RunState {
    wire::StartupFacts startup;
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

    /// Reports the release of every key that is pressed from now on, before the wake-up for the event that released it.
    /// With null it reports none; pass null before the console is gone.
    void watchKeys(iConsoleResource* console);

    RunState state() const;

    void operator()(const Event& event);

    void take(const KeyQueued& key);
    void take(const HandlerRun& run);

private:
    void giveToAll(const Event& event) const;

    std::vector<EventSink> m_sinks;
    const std::function<void()> m_wake;
    mutable std::mutex m_mutex;
    std::unique_ptr<HeldKeys> m_heldKeys;  ///< null: no keys are watched
    wire::Startup m_startup;
    std::array<unsigned, ConsoleHandlerTable::codes> m_keys{};
    std::array<unsigned, ConsoleHandlerTable::codes> m_handlers{};
};

}  // namespace cvhost::run
