// The run as text, for a person.
//
// Until a console is active no line is printed twice, so that start-up can try again and again in silence.
#pragma once

#include <string>
#include <string_view>

#include "apps/common/Colour.h"
#include "apps/common/LineWriter.h"
#include "apps/common/RunClock.h"
#include "host/core/Events.h"
#include "host/core/Repeats.h"

namespace cvhost::report {

class TextReport {
public:
    struct Style {
        bool colour;
        /// Print the bytes on the line as well.
        bool wire;
    };

    TextReport(common::LineWriter& output, common::RunClock start, Style style)
        : m_output(output), m_start(start), m_style(style) {}

    /// The line that says how many lines are missing here, with its end.
    static std::string missingLine(std::size_t count);

    /// What has become of a port, in one sentence without a full stop.
    static std::string portText(const PortChange& port);

    void operator()(const Event& event) { give<Consumer::text>(event, *this); }

    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);
    void take(const RtsChange& rts);
    void take(const HandlerRun& run);
    void take(const KeyReleased& key);
    void take(const ConsoleActive& console);
    void take(const Note& note);
    void take(const DeskView& view);
    void take(const PlayheadChange& change);
    void take(const Quiet&) { endWireLine(); }

private:
    void say(common::Colour tint, std::string_view heading, std::string_view text);
    void put(common::Colour tint, std::string_view heading, std::string_view text);
    void endWireLine();
    std::string painted(common::Colour tint, std::string_view text) const {
        return common::painted(tint, text, m_style.colour);
    }

    common::LineWriter& m_output;
    const common::RunClock m_start;
    const Style m_style;

    bool m_active = false;
    Repeats m_repeats;
    Direction m_wireDirection = Direction::transmit;
    std::string m_wireLine;
};

}  // namespace cvhost::report
