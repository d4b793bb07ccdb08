// The far end of a line whose host is being checked: it says what arrived, and sends what it is asked for. No I/O, no clock.
//
// Commands are lines; each has one line of answer unless it says otherwise.
//
//   hello           "corvane-check 1 rts", "corvane-check 1 no-rts" or "corvane-check 1 adapter", as the line is
//   echo TEXT       TEXT
//   settings        the line's settings, such as "9600 8N1", with ? for what the line does not show; "unknown"
//   has SETTINGS    "has" or "has not": whether the line has them now
//   seen SETTINGS   "seen" or "not seen": whether it ever had them
//   rts             "rts LEVEL CHANGES": the level, 0 or 1, and how often it has changed
//   values N        N bytes: 0, 1, ... 255, 0, ...; no answer besides
//   ticks N MS      N bytes, one each MS milliseconds; no answer besides
//   packets N       N packets of four digits and a blank, 10 microseconds each; no answer besides
//   take N          takes N bytes: "took N HASH", and P:LEVEL for each change of RTS when P bytes had arrived
//   records N       takes N records of 16 bytes, 15 equal letters and a line feed: "records N mixed M"
//   hang-up         the line drops, unless it is an adapter; no answer
//
// Bytes that are being taken end when none comes for a second. RTS does nothing but be counted.
// Threads: one at a time; the caller sees to that.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "desk/Machine.h"

namespace desk {

class CheckDesk final : public Machine {
public:
    /// Most bytes that one command may ask for.
    static constexpr std::size_t most = 1'000'000;

    /// The line: one with RTS, one without, or a USB adapter. An adapter has RTS, but it is too slow for packets, and only
    /// its plug drops the line.
    enum class Line { withRts, withoutRts, adapter };

    explicit CheckDesk(Line line) : m_line(line) {}

    void receive(unsigned char byte, Time now) override;
    void setRts(bool high, Time now) override;
    void setLine(const LineSettings& settings) override;
    /// A new host begins anew.
    void dropInput(Time now) override;
    std::optional<TimedByte> takeOutput(Time now) override;
    bool takeHangUp(Time now) override;
    std::optional<Time> nextEvent() const override;
    bool unpaced() const override { return true; }

private:
    enum class Mode { command, bytes, records };
    enum class Flow { none, values, packets };

    void carryOut(std::string_view command, Time now);
    void take(Mode mode, std::size_t count, Time now);
    void flow(Flow kind, std::size_t count, Time interval, Time now);
    void finishTaking();
    void answer(std::string text);

    const Line m_line;
    Time m_now{};
    bool m_rts = true;
    unsigned m_rtsChanges = 0;
    std::vector<LineSettings> m_lines;  ///< the latest last
    std::string m_command;
    std::deque<TimedByte> m_output;
    bool m_hangUp = false;

    Mode m_mode = Mode::command;
    std::size_t m_wanted = 0;
    std::size_t m_taken = 0;
    std::uint32_t m_hash = 0;
    std::string m_edges;
    std::string m_record;
    std::size_t m_mixed = 0;
    Time m_tooLate{};

    Flow m_flow = Flow::none;
    std::size_t m_flowLeft = 0;
    std::size_t m_flowSent = 0;
    Time m_flowInterval{};
    Time m_flowNext{};
};

}  // namespace desk
