// A machine at the other end of a line that sends what a test says, and answers texts by a list.
//
// Threads: one at a time.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desk/Machine.h"
#include "host/sim/Scheduler.h"

namespace sim {

class ScriptedPeer final : public desk::Machine {
public:
    /// The first of `bytes` begins to arrive `delay` after `now`, or behind what is on its way; each takes a byte's time.
    void send(std::string_view bytes, Time now, Time delay = Time::zero());
    /// Whenever what was received since the last answer ends with `text`, sends `reply`, beginning `delay` later.
    void answer(std::string text, std::string reply, Time delay = Time::zero());
    /// Whenever RTS rises, sends `reply`, beginning `delay` later.
    void answerReset(std::string reply, Time delay = Time::zero());
    /// Bytes take no time on the line, either way.
    void setUnpaced(bool unpaced) { m_unpaced = unpaced; }

    /// All that was received, at once when it was sent.
    const std::string& received() const { return m_received; }
    bool rts() const { return m_rts; }
    unsigned resets() const { return m_resets; }

    void receive(unsigned char byte, Time now) override;
    void setRts(bool high, Time now) override;
    std::optional<desk::TimedByte> takeOutput(Time now) override;
    std::optional<Time> nextEvent() const override;
    bool unpaced() const override { return m_unpaced; }

private:
    /// How long a byte takes on the line.
    Time lineTime() const { return m_unpaced ? Time::zero() : desk::byteTime; }

    struct Answer {
        std::string text;
        std::string reply;
        Time delay;
    };

    std::vector<Answer> m_answers;
    std::optional<Answer> m_resetAnswer;
    std::string m_received;
    std::size_t m_answered = 0;  // how much of it the last answer was to
    std::deque<desk::TimedByte> m_output;
    Time m_inputFree{0};
    Time m_outputFree{0};
    bool m_unpaced = false;
    bool m_rts = true;
    unsigned m_resets = 0;
};

}  // namespace sim
