// A short show: the simulated console's keys, shuttle ring, jog wheel and lamps, each step waiting until the host has
// received the one before.
//
// Threads: the application's main thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "apps/cvhost/run/RunMonitor.h"
#include "desk/Desk.h"
#include "host/api/ConsoleResource.h"

namespace cvhost::run {

class Show {
public:
    using Clock = std::chrono::steady_clock;
    using DeskAction = std::function<void(desk::Desk&, desk::Time)>;

    struct Stage {
        iConsoleResource& console;
        /// Has the action done on the simulated console.
        std::function<void(DeskAction)> operate;
        std::function<void(std::string_view)> say;
    };

    explicit Show(Stage stage);

    /// Goes on as far as `state` and the pauses between steps allow.
    void advance(Clock::time_point now, const RunState& state);

private:
    /// A count that must rise before the next step.
    struct Awaited {
        enum class Kind { key, handler } kind;
        int code;
    };
    struct Step {
        std::chrono::milliseconds pause;
        std::string_view say{};
        DeskAction desk{};
        std::function<void(iConsoleResource&)> host{};
        std::optional<Awaited> awaited{};
    };

    void addKeys();
    void addShuttle();
    void addJog();
    void addLamps();
    void addEnd();
    void perform(const Step& step, Clock::time_point now, const RunState& state);
    static unsigned count(const RunState& state, Awaited awaited);

    const Stage m_stage;
    std::vector<Step> m_steps;
    std::size_t m_next = 0;
    Clock::time_point m_due{};

    bool m_waiting = false;
    unsigned m_countBefore = 0;
    Clock::time_point m_patience{};
};

}  // namespace cvhost::run
