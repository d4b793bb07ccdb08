// Whatever can be at the far end of a line: a desk, or a recording of one.
//
// Time is what the caller says it is, counted from any fixed origin. Threads: one at a time; the caller sees to that.
#pragma once

#include <chrono>
#include <optional>

namespace desk {

using Time = std::chrono::nanoseconds;

/// Ten bits at 9600 baud, to the nearest nanosecond.
inline constexpr Time byteTime{(10LL * 1'000'000'000 + 9600 / 2) / 9600};

struct TimedByte {
    Time at;
    unsigned char byte;
    bool operator==(const TimedByte&) const = default;
};

class Machine {
public:
    virtual ~Machine() = default;

    /// The host begins to send a byte, or queues it behind those on their way.
    virtual void receive(unsigned char byte, Time now) = 0;
    virtual void setRts(bool high, Time now) = 0;
    /// The line towards the machine is cut: what the host has sent and has not arrived yet never arrives.
    virtual void dropInput(Time now) { static_cast<void>(now); }
    /// The next byte that has left by `now`, in order; call until there is none.
    virtual std::optional<TimedByte> takeOutput(Time now) = 0;
    /// True once, behind the bytes that have left before, when the line is to drop by `now`.
    virtual bool takeHangUp(Time now) {
        static_cast<void>(now);
        return false;
    }
    /// When takeOutput must be called next: something changes then, or a byte has left. None: only input can change
    /// anything.
    virtual std::optional<Time> nextEvent() const = 0;
    /// Bytes take no time on the line.
    virtual bool unpaced() const = 0;

protected:
    Machine() = default;
    Machine(const Machine&) = default;
    Machine& operator=(const Machine&) = default;
};

}  // namespace desk
