// What sits at the other end of a line: a desk, or whatever a test says.
//
// Threads: one at a time. Time moves on a peer as on a desk: bytes and RTS go in with the present time, bytes come out with
// the time when they have arrived.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "desk/Desk.h"
#include "host/sim/Scheduler.h"

namespace sim {

class Peer {
public:
    virtual ~Peer() = default;
    virtual void receive(unsigned char byte, Time now) = 0;
    virtual void setRts(bool high, Time now) = 0;
    /// The host has opened the port with these settings.
    virtual void setLine(const desk::LineSettings& settings) { static_cast<void>(settings); }
    virtual std::optional<desk::TimedByte> takeOutput(Time now) = 0;
    virtual std::optional<Time> nextEvent() const = 0;
    /// How long a byte takes on the line towards the peer.
    virtual Time byteTime() const = 0;
};

class DeskPeer final : public Peer {
public:
    /// Powered on at `now`.
    explicit DeskPeer(const desk::Options& options, Time now) : desk(options, now) {}

    void receive(unsigned char byte, Time now) override { desk.receive(byte, now); }
    void setRts(bool high, Time now) override { desk.setRts(high, now); }
    std::optional<desk::TimedByte> takeOutput(Time now) override { return desk.takeOutput(now); }
    std::optional<Time> nextEvent() const override { return desk.nextEvent(); }
    Time byteTime() const override { return desk.options().unpaced ? Time::zero() : desk::byteTime; }

    desk::Desk desk;
};

/// Sends what it is told to, when it is told to, and answers texts by a list.
class ScriptedPeer final : public Peer {
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
    Time byteTime() const override { return m_unpaced ? Time::zero() : desk::byteTime; }

private:
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
