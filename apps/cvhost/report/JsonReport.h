// The run as JSON, one object a line, for programs.
#pragma once

#include <string>

#include "apps/common/LineWriter.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/report/Report.h"

namespace cvhost::report {

class JsonReport final : public Report {
public:
    /// `wire`: bytes and RTS levels are told as well.
    JsonReport(common::LineWriter& output, common::RunClock start, bool wire)
        : m_output(output), m_start(start), m_wire(wire) {}

    /// The line for a `log` event at this moment, with its end.
    static std::string logLine(common::RunClock start, std::string_view text);

    void log(std::string_view text) override;
    void port(std::string_view name, PortState state) override;
    void key(int code, bool handled, int flags) override;
    void wire(Direction direction, std::span<const unsigned char> bytes) override;
    void rts(int level) override;
    void handler(const HandlerRun& run) override;
    void released(int code) override;
    void active(int version) override;
    void say(std::string_view, std::string_view) override {}
    void desk(const DeskView&) override {}
    void playhead(const PlayheadChange& change) override;
    void idle() override {}

private:
    void put(std::string_view event, std::string_view members);

    common::LineWriter& m_output;
    const common::RunClock m_start;
    const bool m_wire;
};

}  // namespace cvhost::report
