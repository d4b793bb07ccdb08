// The console's side of a recording, played again to whatever is at the host's side now.
//
// It keeps step with the host and not with the clock: what the console did in the recording after so many bytes and RTS
// levels of the host's, it does when it has had as many, and as much later as it did then. So a host that is slower or
// faster does not drift apart from it. What the host does otherwise than in the recording is reported, and counts all the
// same: a byte in place of another, a byte too many (which is passed over), or bytes that are missing before an RTS level.
// What the console did before the host's first byte or RTS level counts from the replay's beginning.
//
// Threads: one at a time; the caller sees to that.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "desk/Machine.h"

namespace desk {

class Replay final : public Machine {
public:
    struct Step {
        enum class What {
            hostByte,  ///< the host sends `value`
            hostRts,   ///< the host drives RTS to the level `value`, another than before; it is high at first
            byte,      ///< the console sends `value`
            mark       ///< whatever else happens on the console's side: `value` is the caller's name for it
        };
        Time at;  ///< since the recording's beginning; never less than in the step before
        What what;
        std::size_t value;
    };

    explicit Replay(std::vector<Step> steps, Time now = Time::zero());

    void receive(unsigned char byte, Time now) override;
    void setRts(bool high, Time now) override;
    std::optional<TimedByte> takeOutput(Time now) override;
    /// Every mark is one.
    bool takeHangUp(Time now) override { return takeMark(now).has_value(); }
    std::optional<Time> nextEvent() const override;
    bool unpaced() const override { return true; }

    /// The next mark, when it is due by `now` and everything before it has been taken.
    std::optional<std::size_t> takeMark(Time now);
    bool markDue(Time now) const;

    /// Everything in the recording has been done, by both sides.
    bool done() const { return m_next == m_steps.size() && m_due.empty(); }
    /// How many steps of the host's are still to come.
    std::size_t missing() const;
    /// What the host did otherwise: a sentence each, the first 16 of them.
    const std::vector<std::string>& differences() const { return m_differences; }
    /// How many there were.
    std::size_t differenceCount() const { return m_differenceCount; }

private:
    struct Due {
        Time at;
        const Step* step;
    };

    static bool ofHost(const Step& step) { return step.what == Step::What::hostByte || step.what == Step::What::hostRts; }
    /// The present time, which never runs backwards.
    Time present(Time now);
    /// The host has done the step at m_next: what the console did after it becomes due.
    void heard(Time now);
    void release(Time from, Time recordedFrom);
    void differs(std::string what);

    const std::vector<Step> m_steps;
    std::size_t m_next = 0;  ///< the host's next step
    std::deque<Due> m_due;
    Time m_now;
    bool m_rts = true;
    std::vector<std::string> m_differences;
    std::size_t m_differenceCount = 0;
};

}  // namespace desk
