// How far the driver's start-up has come, step by step, as what it sends shows. A prompt that it did not read is none.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "apps/cvhost/wire/WireReader.h"

namespace cvhost::wire {

class StartupTrace {
public:
    enum class State { waiting, now, done, failed };
    struct Step {
        std::string_view name;
        State state = State::waiting;
        double at = 0;       ///< seconds of the run at which the state was taken on
        std::string text{};  ///< what was found, printable
    };

    void port(std::string_view name, PortState state, double now);
    void rts(int level, double now);
    void message(const WireMessage& message, double now);
    void active(int number, double now);

    const std::array<Step, 6>& steps() const { return m_steps; }

private:
    enum Name : std::size_t { portOpen, reset, prompt, model, started, version };

    void set(Name step, State state, double now, std::string text);
    /// Marks a step as failed that has not been reached when a later one begins.
    void giveUp(Name step, std::string text, double now);
    void sent(const WireMessage& message, double now);
    void received(const WireMessage& message, double now);

    std::array<Step, 6> m_steps{{{"port"}, {"reset"}, {"prompt"}, {"model"}, {"started"}, {"version"}}};
    int m_resets = 0;
    int m_asked = 0;
};

}  // namespace cvhost::wire
