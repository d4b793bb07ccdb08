#include "apps/cvhost/Timeline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/cvhost/Escape.h"
#include "apps/cvhost/ExitStatus.h"
#include "apps/cvhost/KeyCodes.h"
#include "apps/cvhost/Output.h"
#include "apps/cvhost/TextReport.h"
#include "apps/cvhost/Tint.h"
#include "apps/cvhost/WebLaw.h"
#include "apps/cvhost/WireReader.h"

namespace cvhost {
namespace {

using namespace std::chrono_literals;
using recording::Event;
using recording::Recording;
using std::chrono::microseconds;

/// A longer pause than a packet takes to pass.
constexpr microseconds toldGap = 15ms;

template <class... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

double secondsOf(microseconds time) { return std::chrono::duration<double>(time).count(); }

std::string gapText(microseconds gap) {
    if (gap < toldGap) return {};
    return gap < 1s ? formatted("+%.0f ms", secondsOf(gap) * 1000) : formatted("+%.3f s", secondsOf(gap));
}

std::string settingsText(const LineSettings& line) {
    return std::to_string(line.baud) + " baud, " + std::to_string(line.dataBits) + line.parity +
           std::to_string(line.stopBits);
}

/// The press that the driver has queued, by the key that it stands for.
std::string queuedText(int queuedCode) {
    const int code = keyOf(queuedCode);
    const bool hasLetter = code >= 0 && code < ConsoleLook::keys;
    return "key " + (hasLetter ? std::string(1, static_cast<char>('@' + code)) + ' ' : std::string()) + "(code " +
           std::to_string(code) + ") queued";
}

std::string callText(const Event& event) {
    std::string list;
    for (const int argument : event.arguments) list += (list.empty() ? "" : ", ") + std::to_string(argument);
    return plainText(event.text) + '(' + list + ')';
}

/// With the speed that the ring's position stands for, as long as the settings leave the law as it is.
std::string meaningOf(const WireMessage& message) {
    std::string meaning = message.meaning;
    if (message.ring) meaning.insert(meaning.find(','), " (" + speedWords(ShuttleLaw{}.speed(*message.ring)) + ')');
    return meaning;
}

/// Puts what was recorded into lines.
class Teller {
public:
    Teller() = default;
    Teller(const Teller&) = delete;
    Teller& operator=(const Teller&) = delete;

    struct Line {
        microseconds at;
        std::size_t number;  ///< lines of one time stay in this order
        Tint tint;
        std::string_view heading;
        std::string text;
    };

    void tell(const Event& event);
    /// All lines, by time. A message that stayed unfinished stands where its last byte came.
    std::vector<Line> lines();
    /// The port that is open; empty: none.
    const std::string& open() const { return m_open; }

private:
    void tellPort(const Event& event);
    void tellBytes(Direction direction, const Event& event);
    void tellMessage(const WireMessage& message);
    void add(const Event& event, Tint tint, std::string_view heading, std::string text);
    void flush();

    WireReader m_reader;
    const WireReader::Take m_take = [this](const WireMessage& message) { tellMessage(message); };
    microseconds m_sent{};      ///< when the last byte was
    microseconds m_received{};  ///< the same
    std::string m_open;
    std::vector<Line> m_lines;
};

void Teller::add(const Event& event, Tint tint, std::string_view heading, std::string text) {
    m_lines.push_back({event.at, m_lines.size(), tint, heading, std::move(text)});
}

void Teller::flush() { m_reader.flush(m_take); }

void Teller::tell(const Event& event) {
    using enum Event::What;
    switch (event.what) {
        case opening:
        case open:
        case closed:
        case lost:
            return tellPort(event);
        case trouble:
            return add(event, Tint::red, "trouble", plainText(event.port) + ' ' + plainText(event.text));
        case tx:
            return tellBytes(Direction::transmit, event);
        case rx:
        case added:
            return tellBytes(Direction::receive, event);
        case rts:
            flush();
            if (event.number == 0) m_reader.reset();
            return add(event, Tint::yellow, "reset",
                       event.number == 0 ? "RTS low, the console is held in reset" : "RTS high, the console starts");
        case call:
            return add(event, Tint::dim, "host", callText(event));
        case key:
            return add(event, Tint::dim, "driver", queuedText(event.number));
    }
}

void Teller::tellPort(const Event& event) {
    flush();
    const std::string name = plainText(event.port);
    if (event.what == Event::What::opening)
        return add(event, Tint::blue, "port", name + " opens: " + settingsText(event.line));
    m_reader.forget();
    m_open = event.what == Event::What::open ? name : "";
    if (event.what == Event::What::lost) return add(event, Tint::red, "port", name + " is lost");
    add(event, Tint::blue, "port", name + (event.what == Event::What::open ? " is open" : " is closed"));
}

void Teller::tellBytes(Direction direction, const Event& event) {
    const std::span bytes(reinterpret_cast<const unsigned char*>(event.text.data()), event.text.size());
    if (event.what == Event::What::added) {
        flush();
        return add(event, Tint::red, "added", '"' + plainBytes(bytes) + "\"  by the host, to end what the loss has cut off");
    }
    (direction == Direction::transmit ? m_sent : m_received) = event.at;
    m_reader.read(direction, bytes, m_take);
}

void Teller::tellMessage(const WireMessage& message) {
    constexpr std::size_t column = 14;
    const bool sent = message.direction == Direction::transmit;
    std::string text = '"' + message.bytes + '"';
    if (!message.meaning.empty()) {
        text.resize(std::max(text.size(), column), ' ');
        text += "  " + meaningOf(message);
    }
    m_lines.push_back({sent ? m_sent : m_received, m_lines.size(), sent ? Tint::cyan : Tint::green,
                       sent ? "sent" : "received", std::move(text)});
}

std::vector<Teller::Line> Teller::lines() {
    flush();
    std::ranges::sort(m_lines, {}, [](const Line& line) { return std::pair(line.at, line.number); });
    return std::exchange(m_lines, {});
}

bool written(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

}  // namespace

std::string timelineText(const Recording& recording, bool colour) {
    Teller teller;
    for (const Event& event : recording.events) teller.tell(event);
    std::string out = "Recorded by " + plainText(recording.program) + ", begun " + plainText(recording.started) + '\n';
    const Teller::Line* before = nullptr;
    const std::vector<Teller::Line> lines = teller.lines();
    for (const Teller::Line& line : lines) {
        const std::string gap = before == nullptr ? "" : gapText(line.at - before->at);
        out += painted(Tint::dim, formatted("%9.3f %10s", secondsOf(line.at), gap.c_str()), colour) + "  ";
        std::string heading(line.heading);
        heading.resize(std::max<std::size_t>(heading.size(), 8), ' ');
        out += painted(line.tint, heading, colour) + "  ";
        out += painted(line.tint == Tint::dim ? Tint::dim : Tint::plain, line.text, colour) + '\n';
        before = &line;
    }
    if (recording.cutShort)
        out += painted(Tint::yellow, "The recording is cut off within a line, which is left out", colour) + '\n';
    if (!teller.open().empty())
        out += painted(Tint::yellow, "The recording ends while " + teller.open() + " is open", colour) + '\n';
    return out;
}

int showTimeline(const TimelineOptions& options) {
    Recording recording;
    try {
        recording = recording::readFile(options.file);
    } catch (const recording::Error& error) {
        const std::string reason = plainText(error.what());
        const bool advises = reason.find("; ") != reason.npos;
        std::cerr << "cvhost: recording " << plainText(options.file) << ", " << reason
                  << (advises ? ".\n" : "; name a file that \"cvhost run --record FILE\" has made.\n");
        return exitStatus::usage;
    }
    if (written(timelineText(recording, wantsColour()))) return exitStatus::active;
    if (errno == EPIPE) return exitStatus::active;
    std::cerr << "cvhost: " << unwritableText(errno) << ".\n";
    return exitStatus::none;
}

}  // namespace cvhost
