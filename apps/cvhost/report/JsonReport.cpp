#include "apps/cvhost/report/JsonReport.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/Timecode.h"

namespace cvhost::report {
namespace {

/// As JSON has it: the shortest digits that give the same number again, null for what is no number.
std::string number(double value) {
    if (!std::isfinite(value)) return "null";
    char digits[64];
    const auto end = std::to_chars(digits, digits + sizeof digits, value);
    return end.ec == std::errc() ? std::string(digits, end.ptr) : "null";
}

/// Seconds with microseconds.
std::string secondsText(double seconds) {
    char digits[64];
    const auto end = std::to_chars(digits, digits + sizeof digits, seconds, std::chars_format::fixed, 6);
    return end.ec == std::errc() ? std::string(digits, end.ptr) : "0";
}

std::string member(std::string_view name, std::string_view value) {
    std::string text = ",\"";
    text += name;
    text += "\":";
    return text += value;
}

std::string member(std::string_view name, std::int64_t value) { return member(name, std::to_string(value)); }

std::string member(std::string_view name, std::optional<std::int64_t> value) {
    return value ? member(name, *value) : member(name, "null");
}

std::string line(common::RunClock start, std::string_view event, std::string_view members) {
    std::string text = "{\"t\":" + secondsText(start.seconds()) + ",\"event\":\"";
    text += event;
    text += '"';
    text += members;
    return text += "}\n";
}

std::string_view nameOf(PortState state) {
    switch (state) {
        case PortState::open:
            return "\"open\"";
        case PortState::closed:
            return "\"closed\"";
        case PortState::lost:
            return "\"lost\"";
    }
    return "null";
}

}  // namespace

std::string JsonReport::logLine(common::RunClock start, std::string_view text) {
    return line(start, "log", member("text", common::jsonText(text)));
}

void JsonReport::put(std::string_view event, std::string_view members) { m_put(line(m_start, event, members)); }

void JsonReport::take(const LogLine& line) { m_put(logLine(m_start, line.text)); }

void JsonReport::take(const PortChange& port) {
    put("port", member("name", common::jsonText(port.name)) + member("state", nameOf(port.state)));
}

void JsonReport::take(const KeyQueued& key) {
    put("key", member("code", key.code) + member("handled", key.handled ? "true" : "false") + member("flags", key.flags));
}

void JsonReport::take(const LineBytes& line) {
    if (!m_wire) return;
    const char* name = line.direction == Direction::transmit ? "\"tx\"" : "\"rx\"";
    put("wire", member("dir", name) + member("bytes", common::jsonBytes(line.bytes)));
}

void JsonReport::take(const RtsChange& rts) {
    if (m_wire) put("rts", member("level", rts.level));
}

void JsonReport::take(const HandlerRun& run) {
    put("handler", member("code", run.code) + member("ispeed", run.speed) + member("jog", run.jog) +
                       member("jog_exact", number(run.jogExact)));
}

void JsonReport::take(const KeyReleased& key) { put("released", member("code", key.code)); }

void JsonReport::take(const PlayheadChange& change) {
    put("playhead", member("frame", change.frame) +
                        member("timecode", common::jsonText(common::timecode(change.frame, change.framesPerSecond))) +
                        member("speed", change.speed) + member("in", change.markIn) + member("out", change.markOut));
}

void JsonReport::take(const ConsoleActive& console) {
    put("active", member("version", console.version) +
                      member("input_ignored", common::ignoresInput(console.version) ? "true" : "false"));
}

}  // namespace cvhost::report
