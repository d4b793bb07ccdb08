// The console's side of a recording, played again to whatever is at the host's side now.
//
// It keeps step with the host and not with the clock: each thing the console did is repeated after the host has sent the
// same number of bytes and RTS levels, with the same delay. So a host that is slower or faster does not drift apart from
// it. What the host does differently from the recording is reported, and counts all the same: a byte in place of another,
// a byte too many (which is passed over), or bytes that are missing before an RTS level.
// What the console did before the host's first byte or RTS level counts from the replay's beginning.
//
// Threads: one at a time; the caller sees to that.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "desk/Machine.h"

namespace desk {

class Replay : public Machine {
public:
    /// What both sides did, in order. Bytes of one moment are kept together, so that a long recording takes little memory.
    class Steps {
    public:
        // `at` is the time since the recording's beginning; it never decreases.

        void hostSends(Time at, std::string_view bytes);
        /// The host drives RTS to another level than before; it is high at first.
        void hostDrivesRts(Time at, bool high);
        void consoleSends(Time at, std::string_view bytes);
        /// Something else happens on the console's side: `mark` is the caller's name for it.
        void consoleDoes(Time at, std::size_t mark);

    private:
        friend class Replay;
        enum class Kind : std::uint8_t { hostBytes, hostRts, bytes, mark };
        struct Run {
            Time at;
            std::size_t value;  ///< how many bytes, the level, or the mark
            Kind kind;

            bool ofHost() const { return kind == Kind::hostBytes || kind == Kind::hostRts; }
        };
        using Bytes = std::deque<unsigned char>;

        void addBytes(Time at, Kind kind, std::string_view bytes, Bytes& all);

        std::deque<Run> m_runs;  ///< grows without a copy, as the bytes do
        Bytes m_hostBytes;       ///< of all runs in a row
        Bytes m_consoleBytes;
        std::size_t m_hostSteps = 0;  ///< bytes and levels
    };

    explicit Replay(Steps steps, Time now = Time::zero());

    void receive(unsigned char byte, Time now) override;
    void setRts(bool high, Time now) override;
    std::optional<TimedByte> takeOutput(Time now) override;
    /// Every mark is one. What the host does after a hang-up that ends the recording is no difference: the recorded host
    /// could not connect again, or nothing more was recorded.
    bool takeHangUp(Time now) override;
    std::optional<Time> nextEvent() const override;
    bool unpaced() const override { return true; }

    /// The next mark, when it is due by `now` and everything before it has been taken.
    std::optional<std::size_t> takeMark(Time now);
    bool markDue(Time now) const;

    /// Everything in the recording has been done, by both sides.
    bool done() const { return m_next == m_steps.m_runs.size() && m_due.empty(); }
    /// The number of host bytes and RTS levels that the recording still expects.
    std::size_t missing() const { return m_steps.m_hostSteps - m_heard; }
    /// What the host did otherwise: a sentence each, the first 16 of them.
    const std::vector<std::string>& differences() const { return m_differences; }
    /// How many there were.
    std::size_t differenceCount() const { return m_differenceCount; }

private:
    using Run = Steps::Run;
    using Kind = Steps::Kind;

    /// Runs of the console between two steps of the host.
    struct Due {
        std::size_t run;
        std::size_t end;
        Time shift;     ///< from the recording's time to the replay's
        Time earliest;  ///< when what is due before has been done
    };

    /// The run that is due next; there must be one.
    const Run& dueRun() const { return m_steps.m_runs[m_due.front().run]; }
    Time dueTime() const { return std::max(m_due.front().earliest, m_due.front().shift + dueRun().at); }
    void finishDueRun();
    /// The present time, which never runs backwards.
    Time present(Time now);
    /// The host has done the step at m_next: what the console did after it becomes due.
    void heard(Time now);
    /// The recording ends with a hang-up, which has come.
    bool ended() const { return m_hungUp && done(); }
    void release(Time from, Time recordedFrom);
    void differs(std::string what);

    Steps m_steps;                ///< bytes go as they are played
    std::size_t m_next = 0;       ///< the run with the host's next step
    std::size_t m_nextBytes = 0;  ///< how many bytes of this run the host has sent
    std::size_t m_heard = 0;      ///< steps of the host
    std::deque<Due> m_due;
    std::size_t m_dueBytes = 0;  ///< how many bytes of the run that is due have been taken
    Time m_now;
    bool m_rts = true;
    bool m_hungUp = false;  ///< after the host's last step
    std::vector<std::string> m_differences;
    std::size_t m_differenceCount = 0;
};

}  // namespace desk
