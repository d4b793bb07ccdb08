// The run as JSON, one object a line, for programs. docs/events.md lists the events.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "apps/common/JsonText.h"
#include "apps/common/LineWriter.h"
#include "apps/common/RunClock.h"
#include "host/core/Events.h"

namespace cvhost::report {

class JsonReport {
public:
    /// Takes each line, with its end.
    using Put = std::function<void(std::string_view line)>;

    /// `wire`: prints bytes and RTS levels as well.
    JsonReport(Put put, common::RunClock start, bool wire) : m_put(std::move(put)), m_start(start), m_wire(wire) {}
    JsonReport(common::LineWriter& output, common::RunClock start, bool wire)
        : JsonReport([&output](std::string_view line) { output.put(line); }, start, wire) {}

    /// The line for a `log` event at this moment, with its end.
    static std::string logLine(common::RunClock start, std::string_view text);

    void operator()(const Event& event) { give<Consumer::json>(event, *this); }

    void take(const RunBegun&);
    void take(const LogLine& line);
    void take(const PortChange& port);
    void take(const KeyQueued& key);
    void take(const LineBytes& line);
    void take(const RtsChange& rts);
    void take(const HandlerRun& run);
    void take(const KeyReleased& key);
    void take(const ConsoleActive& console);
    void take(const PlayheadChange& change);

private:
    void put(std::string_view event, std::initializer_list<common::JsonText::Member> members);

    const Put m_put;
    const common::RunClock m_start;
    const bool m_wire;
};

}  // namespace cvhost::report
