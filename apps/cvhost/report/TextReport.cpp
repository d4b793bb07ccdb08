#include "apps/cvhost/report/TextReport.h"

#include <algorithm>
#include <cstddef>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/Formatted.h"
#include "apps/common/MotionText.h"
#include "apps/common/Timecode.h"

namespace cvhost::report {
namespace {

using common::formatted;

constexpr std::size_t longestWireLine = 48;

/// The letter on the key that was pressed, and the code under which the press is queued.
std::string keyName(int code) {
    const char letter = common::keyLetter(common::keyOf(code));
    std::string name = formatted(code >= 0 && code < 0x3F ? "%c" : "?", letter) + formatted("  (code %d)", code);
    if (code == common::keys::stop) name += ", stop";
    if (code == common::keys::jog) name += ", jog";
    return name;
}

const char* lampSign(char state) {
    switch (state) {
        case 'F':
            return "●";
        case 'H':
            return "◐";
        case 'B':
            return "◉";
        default:
            return "○";
    }
}

}  // namespace

std::string TextReport::missingLine(std::size_t count) {
    return formatted("         ...      %zu lines are missing here: they were not read in time\n", count);
}

void TextReport::put(common::Colour tint, std::string_view heading, std::string_view text) {
    endWireLine();
    std::string name(heading);
    name.resize(std::max<std::size_t>(name.size(), 8), ' ');
    const common::Colour body = tint == common::Colour::dim ? common::Colour::dim : common::Colour::plain;
    m_output.put(painted(common::Colour::dim, formatted("%8.3f", m_start.seconds())) + "  " + painted(tint, name) + " " +
                 painted(body, text) + "\n");
}

void TextReport::take(const LogLine& line) {
    std::string_view text = line.text;
    if (text.ends_with('\n')) text.remove_suffix(1);
    say(common::Colour::dim, "log", common::plainText(text));
}

std::string TextReport::portText(const PortChange& port) {
    const std::string name = common::plainText(port.name);
    switch (port.state) {
        case PortState::open:
            return name + " is open";
        case PortState::closed:
            return name + " is closed";
        case PortState::lost:
            break;
    }
    return name + " is lost: unplugged, switched off, or closed at its far end";
}

void TextReport::take(const PortChange& port) {
    if (port.state != PortState::lost) return say(common::Colour::blue, "port", portText(port));
    m_active = false;
    m_repeats.forget();
    put(common::Colour::red, "port", portText(port));
}

void TextReport::take(const RtsChange& rts) {
    say(common::Colour::blue, "reset",
        rts.level == 0 ? "RTS low, the console is held in reset" : "RTS high, the console starts");
}

void TextReport::take(const Note& note) {
    say(note.advice ? common::Colour::yellow : common::Colour::blue, note.heading, note.text);
}

void TextReport::say(common::Colour tint, std::string_view heading, std::string_view text) {
    if (!m_active && !m_repeats.isNew(std::string(heading).append(1, ' ').append(text))) return;
    put(tint, heading, text);
}

void TextReport::take(const ConsoleActive& console) {
    m_active = true;
    m_repeats.forget();
    put(common::Colour::green, "active", formatted("console version %d", console.version));
    if (common::ignoresInput(console.version)) {
        put(common::Colour::yellow, "help",
            formatted("a console of version %d lights its lamps, but its keys and wheel are not understood",
                      console.version));
    }
}

void TextReport::take(const KeyReleased& key) {
    if (key.lost) put(common::Colour::cyan, "key", keyName(key.code) + ", released with the console");
}

void TextReport::take(const KeyQueued& key) {
    put(common::Colour::cyan, "key", keyName(key.code) + (key.handled ? "" : ", queued"));
}

void TextReport::take(const HandlerRun& run) {
    switch (run.code) {
        case common::keys::ring:
            return put(common::Colour::magenta, "shuttle", common::speedText(run.speed));
        case common::keys::jog:
            return put(common::Colour::yellow, "wheel", run.wheelEnabled ? "on" : "off");
        case common::keys::wheel:
            if (run.jogExact < 0 || run.jogExact > 0) put(common::Colour::yellow, "jog", common::jogText(run.jogExact));
            return;
        default:
            return;  // KeyQueued has printed its key
    }
}

void TextReport::take(const DeskView& view) {
    std::string text;
    const auto lamp = [&](const char* name, char state, common::Colour lit) {
        text += painted(state == 'O' ? common::Colour::dim : lit, std::string(lampSign(state)) + " " + name) + "   ";
    };
    lamp("reverse", view.reverse, common::Colour::green);
    lamp("stop", view.stop, common::Colour::red);
    lamp("forward", view.forward, common::Colour::green);
    lamp("jog", view.jog, common::Colour::yellow);
    put(common::Colour::blue, "lamps", text + (view.wheel ? "wheel on" : "wheel off"));
}

void TextReport::take(const PlayheadChange& change) {
    const auto at = [&](std::int64_t frame) { return common::timecode(frame, change.framesPerSecond); };
    std::string text = at(change.frame) + "  " + common::speedWords(change.speed);
    if (change.markIn) text += "  in " + at(*change.markIn);
    if (change.markOut) text += "  out " + at(*change.markOut);
    put(common::Colour::green, "playhead", text);
}

void TextReport::take(const LineBytes& line) {
    if (!m_style.wire) return;
    if (line.direction != m_wireDirection) endWireLine();
    m_wireDirection = line.direction;
    for (const unsigned char byte : line.bytes) {
        m_wireLine += common::plainBytes({&byte, 1});
        if (byte == ' ' || byte == '\n' || m_wireLine.size() >= longestWireLine) endWireLine();
    }
}

void TextReport::endWireLine() {
    if (m_wireLine.empty()) return;
    const std::string line = '"' + m_wireLine + '"';
    m_wireLine.clear();
    put(common::Colour::dim, m_wireDirection == Direction::transmit ? "sent" : "received", line);
}

}  // namespace cvhost::report
