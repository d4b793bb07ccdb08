#include "apps/cvhost/report/JsonReport.h"

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Timecode.h"

namespace cvhost::report {
namespace {

using Json = common::JsonText;

/// docs/events.md says when it changes.
constexpr int formatNumber = 1;

Json orNull(std::optional<std::int64_t> value) { return value ? Json(*value) : Json(); }

std::string line(common::RunClock start, std::string_view event, std::initializer_list<Json::Member> members) {
    Json object = Json::object({{"t", Json::fixed(start.seconds(), 6)}, {"event", event}});
    for (const auto& [name, value] : members) object.add(name, value);
    return object.text() + '\n';
}

std::string_view nameOf(PortState state) {
    switch (state) {
        case PortState::open:
            return "open";
        case PortState::closed:
            return "closed";
        case PortState::lost:
            return "lost";
    }
    return {};
}

}  // namespace

std::string JsonReport::logLine(common::RunClock start, std::string_view text) {
    return line(start, "log", {{"text", Json::ascii(text)}});
}

void JsonReport::put(std::string_view event, std::initializer_list<Json::Member> members) {
    m_put(line(m_start, event, members));
}

void JsonReport::take(const RunBegun&) { put("start", {{"format", formatNumber}}); }

void JsonReport::take(const LogLine& line) { m_put(logLine(m_start, line.text)); }

void JsonReport::take(const PortChange& port) {
    put("port", {{"name", Json::ascii(port.name)}, {"state", nameOf(port.state)}});
}

void JsonReport::take(const KeyQueued& key) {
    put("key", {{"code", key.code}, {"handled", key.handled}, {"flags", key.flags}});
}

void JsonReport::take(const LineBytes& line) {
    if (!m_wire) return;
    const std::string_view direction = line.direction == Direction::transmit ? "tx" : "rx";
    put("wire", {{"dir", direction}, {"bytes", Json::bytes(line.bytes)}});
}

void JsonReport::take(const RtsChange& rts) {
    if (m_wire) put("rts", {{"level", rts.level}});
}

void JsonReport::take(const HandlerRun& run) {
    put("handler", {{"code", run.code}, {"ispeed", run.speed}, {"jog", run.jog}, {"jog_exact", run.jogExact}});
}

void JsonReport::take(const KeyReleased& key) { put("released", {{"code", key.code}}); }

void JsonReport::take(const PlayheadChange& change) {
    put("playhead", {{"frame", change.frame},
                     {"timecode", common::timecode(change.frame, change.framesPerSecond)},
                     {"speed", change.speed},
                     {"in", orNull(change.markIn)},
                     {"out", orNull(change.markOut)}});
}

void JsonReport::take(const ConsoleActive& console) {
    put("active", {{"version", console.version}, {"input_ignored", common::ignoresInput(console.version)}});
}

}  // namespace cvhost::report
