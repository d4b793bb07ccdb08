// The run as text, for a person.
//
// Until a console is active the same line is not told twice, so that start-up may try again and again in silence.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "apps/common/Colour.h"
#include "apps/common/LineWriter.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/report/Report.h"

namespace cvhost::report {

class TextReport final : public Report {
public:
    struct Style {
        bool colour;
        /// The bytes on the line are told as well.
        bool wire;
    };

    TextReport(common::LineWriter& output, common::RunClock start, Style style)
        : m_output(output), m_start(start), m_style(style) {}

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
    void put(common::Colour tint, std::string_view heading, std::string_view text);
    void endWireLine();
    std::string painted(common::Colour tint, std::string_view text) const {
        return common::painted(tint, text, m_style.colour);
    }

    common::LineWriter& m_output;
    const common::RunClock m_start;
    const Style m_style;

    bool m_active = false;
    std::set<std::string, std::less<>> m_told;
    Direction m_wireDirection = Direction::transmit;
    std::string m_wireLine;
};

}  // namespace cvhost::report
