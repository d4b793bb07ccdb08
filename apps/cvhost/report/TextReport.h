// The run as text, for a person.
//
// Until a console is active the same line is not told twice, so that start-up may try again and again in silence.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "apps/common/Output.h"
#include "apps/common/StartTime.h"
#include "apps/common/Tint.h"
#include "apps/cvhost/report/Report.h"

namespace cvhost {

class TextReport final : public Report {
public:
    struct Style {
        bool colour;
        /// The bytes on the line are told as well.
        bool wire;
    };

    TextReport(Output& output, StartTime start, Style style) : m_output(output), m_start(start), m_style(style) {}

    /// The line that says how many lines are missing here, with its end.
    static std::string missingLine(std::size_t count);

    void log(std::string_view text) override;
    void port(std::string_view name, PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void handler(const HandlerRun& run) override;
    void released(int code) override;
    void active(int version) override;
    void say(std::string_view heading, std::string_view text) override;
    void desk(const DeskView& view) override;
    void playhead(const PlayheadChange& change) override;
    void idle() override { endWireLine(); }

private:
    void put(Tint tint, std::string_view heading, std::string_view text);
    void endWireLine();
    std::string painted(Tint tint, std::string_view text) const { return cvhost::painted(tint, text, m_style.colour); }

    Output& m_output;
    const StartTime m_start;
    const Style m_style;

    bool m_active = false;
    std::set<std::string, std::less<>> m_told;
    Direction m_wireDirection = Direction::transmit;
    std::string m_wireLine;
};

}  // namespace cvhost
