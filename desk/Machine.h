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

/// How the host has set its end of the line, as far as the line shows it: 0 and '?' stand for what it does not.
struct LineSettings {
    int baud = 0;
    int dataBits = 0;
    char parity = '?';
    int stopBits = 0;
    bool operator==(const LineSettings&) const = default;
};

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
    /// The host has set its end of the line; it may be one of several steps.
    virtual void setLine(const LineSettings& settings) { static_cast<void>(settings); }
    /// The line towards the machine is cut: what the host has sent and has not arrived yet never arrives.
    virtual void dropInput(Time now) { static_cast<void>(now); }
    /// The next byte that has left by `now`, in order; call until there is none.
    virtual std::optional<TimedByte> takeOutput(Time now) = 0;
    /// True once, behind the bytes that have left before, when the line is to drop by `now`.
    virtual bool takeHangUp(Time now) {
        static_cast<void>(now);
        return false;
    }
    /// When takeOutput and takeHangUp must be called next: something changes then, or a byte has left. None: only input can
    /// change anything.
    virtual std::optional<Time> nextEvent() const = 0;
    /// Bytes take no time on the line.
    virtual bool unpaced() const = 0;

protected:
    Machine() = default;
    Machine(const Machine&) = default;
    Machine& operator=(const Machine&) = default;
};

}  // namespace desk
