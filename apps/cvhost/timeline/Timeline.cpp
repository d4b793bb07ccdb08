#include "apps/cvhost/timeline/Timeline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <iostream>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "apps/common/Colour.h"
#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/ExitStatus.h"
#include "apps/common/Formatted.h"
#include "apps/common/LineWriter.h"
#include "apps/common/MotionText.h"
#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/wire/ShuttleLaw.h"
#include "apps/cvhost/wire/Startup.h"

namespace cvhost::timeline {
namespace {

using common::formatted;

using namespace std::chrono_literals;
using recording::Damage;
using recording::Event;
using recording::Reader;
using std::chrono::microseconds;

/// A longer pause than a packet takes to pass.
constexpr microseconds toldGap = 15ms;
/// From this number on, lamps that are switched off in a row share one line.
constexpr std::size_t lampsInOneLine = 4;

double secondsOf(microseconds time) { return std::chrono::duration<double>(time).count(); }

std::string gapText(microseconds gap) {
    if (gap < toldGap) return {};
    return gap < 1s ? formatted("+%.0f ms", secondsOf(gap) * 1000) : formatted("+%.3f s", secondsOf(gap));
}

std::string settingsText(const LineSettings& line) {
    return std::to_string(line.baud) + " baud, " + std::to_string(line.dataBits) + line.parity +
           std::to_string(line.stopBits);
}

std::span<const unsigned char> bytesOf(const Event& event) {
    return {reinterpret_cast<const unsigned char*>(event.text.data()), event.text.size()};
}

/// What the host reported, if it is about the line.
std::optional<cvhost::Event> hostEvent(const Event& event) {
    using enum Event::Kind;
    switch (event.kind) {
        case opening:
            return PortOpening{event.port, event.line};
        case open:
            return PortChange{event.port, PortState::open};
        case closed:
            return PortChange{event.port, PortState::closed};
        case lost:
            return PortChange{event.port, PortState::lost};
        case tx:
            return LineBytes{Direction::transmit, bytesOf(event)};
        case rx:
            return LineBytes{Direction::receive, bytesOf(event)};
        case added:
            return AddedBytes{bytesOf(event)};
        case rts:
            return RtsChange{event.number};
        case trouble:
        case call:
        case key:
        case setting:
        case preference:
        case map:
            return std::nullopt;
    }
    return std::nullopt;
}

/// The press that the driver has queued, by the key that it stands for.
std::string queuedText(int queuedCode) {
    const int code = common::keyOf(queuedCode);
    return "key " + (common::isKey(code) ? std::string{common::keyLetter(code), ' '} : std::string()) + "(code " +
           std::to_string(code) + ") queued";
}

std::string callText(const Event& event) {
    std::string list;
    for (const int argument : event.arguments) list += (list.empty() ? "" : ", ") + std::to_string(argument);
    return common::plainText(event.text) + '(' + list + ')';
}

/// A setting's value, if it is a number.
std::optional<double> numberOf(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// With the speed that the ring's position stands for.
std::string meaningOf(const wire::WireMessage& message, wire::ShuttleLaw law) {
    std::string meaning = message.meaning;
    if (message.ring) meaning.insert(meaning.find(','), " (" + common::speedWords(law.speed(*message.ring)) + ')');
    return meaning;
}

/// Which messages stay without their end: for each direction, the events with their last bytes. One event a number, from 0.
struct Unfinished {
    std::array<std::vector<std::size_t>, 2> events;
    std::vector<std::size_t>& of(Direction direction) { return events[direction == Direction::transmit ? 0 : 1]; }
};

/// Reads along to learn where messages stay unfinished.
class UnfinishedFinder {
public:
    explicit UnfinishedFinder(Reader reader) {
        for (; const auto item = reader.next();) {
            if (const auto* event = std::get_if<Event>(&*item)) take(*event);
        }
        flush();
    }
    Unfinished take() { return std::move(m_unfinished); }

private:
    void take(const Event& event) {
        const bool sent = event.kind == Event::Kind::tx;
        const bool bytes = sent || event.kind == Event::Kind::rx;
        if (bytes) m_last[sent ? 0 : 1] = m_number;
        if (const auto line = hostEvent(event)) m_startup.follow(*line, event.at, bytes ? wire::WireReader::Take() : m_note);
        ++m_number;
    }
    void flush() {
        for (const Direction direction : {Direction::transmit, Direction::receive}) m_startup.flush(direction, m_note);
    }

    const wire::WireReader::Take m_note = [this](const wire::WireMessage& message) {
        m_unfinished.of(message.direction).push_back(m_last[message.direction == Direction::transmit ? 0 : 1]);
    };
    wire::Startup m_startup;
    std::size_t m_number = 0;
    std::array<std::size_t, 2> m_last{};
    Unfinished m_unfinished;
};

/// Puts what was recorded into lines.
class Teller {
public:
    Teller(Unfinished unfinished, bool colour, const TimelineSink& put)
        : m_unfinished(std::move(unfinished)), m_colour(colour), m_put(put) {}
    Teller(const Teller&) = delete;
    Teller& operator=(const Teller&) = delete;

    void tell(const Event& event);
    void tell(const Damage& damage);
    /// Tells what has been kept back.
    void finish() { tellLampsOff(); }
    const wire::StartupFacts& startup() const { return m_startup.facts(); }

private:
    void tellPort(const Event& event);
    void tellCircumstance(const Event& event);
    /// Tells the message that stays unfinished behind the present event's bytes, if one does.
    void endUnfinished(Direction direction);
    void tellMessage(const wire::WireMessage& message);
    void tellLampsOff();
    void addMessage(const wire::WireMessage& message);
    void add(common::Colour tint, std::string_view heading, std::string_view text);

    wire::Startup m_startup;
    wire::ShuttleLaw m_law;
    Unfinished m_unfinished;
    std::array<std::size_t, 2> m_nextUnfinished{};
    const wire::WireReader::Take m_take = [this](const wire::WireMessage& message) { tellMessage(message); };
    std::size_t m_number = 0;              ///< of the event
    microseconds m_at{};                   ///< the event's time
    std::optional<microseconds> m_before;  ///< the time of the last line
    std::string m_time;                    ///< how that line began
    bool m_hasGap = false;                 ///< with a gap, which the next line does not have
    /// Lamps switched off one after the other, in their order, with their times: kept back until another line comes.
    std::vector<std::pair<microseconds, wire::WireMessage>> m_lampsOff;
    std::string m_line;
    const bool m_colour;
    const TimelineSink& m_put;
};

void Teller::add(common::Colour tint, std::string_view heading, std::string_view text) {
    if (m_before != m_at || m_hasGap) {
        const std::string gap = m_before ? gapText(m_at - *m_before) : "";
        m_hasGap = !gap.empty();
        m_time =
            common::painted(common::Colour::dim, formatted("%9.3f %10s", secondsOf(m_at), gap.c_str()), m_colour) + "  ";
    }
    m_before = m_at;
    m_line = m_time;
    m_line += common::painted(tint, heading, m_colour);
    m_line.append(10 - std::min<std::size_t>(heading.size(), 8), ' ');
    m_line += common::painted(tint == common::Colour::dim ? common::Colour::dim : common::Colour::plain, text, m_colour);
    m_line += '\n';
    m_put(m_line);
}

void Teller::tell(const Damage& damage) {
    tellLampsOff();
    m_startup.missed();
    add(common::Colour::red, "damaged", damage.text());
}

void Teller::tell(const Event& event) {
    using enum Event::Kind;
    if (event.kind != tx) tellLampsOff();
    m_at = event.at;
    if (const auto line = hostEvent(event)) m_startup.follow(*line, m_at, m_take);
    switch (event.kind) {
        case tx:
            endUnfinished(Direction::transmit);
            break;
        case rx:
            endUnfinished(Direction::receive);
            break;
        case added:
            add(common::Colour::red, "added",
                '"' + common::plainBytes(bytesOf(event)) + "\"  by the host, to end what the loss has cut off");
            break;
        case trouble:
            add(common::Colour::red, "trouble", common::plainText(event.port) + ' ' + common::plainText(event.text));
            break;
        case rts:
            add(common::Colour::yellow, "reset",
                event.number == 0 ? "RTS low, the console is held in reset" : "RTS high, the console starts");
            break;
        case call:
            add(common::Colour::dim, "host", callText(event));
            break;
        case key:
            add(common::Colour::dim, "driver", queuedText(event.number));
            break;
        case setting:
        case preference:
        case map:
            tellCircumstance(event);
            break;
        case opening:
        case open:
        case closed:
        case lost:
            tellPort(event);
            break;
    }
    ++m_number;
}

void Teller::tellCircumstance(const Event& event) {
    const std::string name = common::plainText(event.name);
    if (event.kind == Event::Kind::map)
        return add(common::Colour::blue, "map", name + ", " + std::to_string(event.text.size()) + " bytes");
    if (event.kind == Event::Kind::setting && event.name == driver::beyondPlay)
        m_law.beyondPlay = numberOf(event.text).value_or(wire::ShuttleLaw().beyondPlay);
    add(common::Colour::blue, event.kind == Event::Kind::setting ? "setting" : "prefer",
        name + " = " + common::plainText(event.text));
}

void Teller::tellPort(const Event& event) {
    const std::string name = common::plainText(event.port);
    if (event.kind == Event::Kind::opening)
        return add(common::Colour::blue, "port", name + " opens: " + settingsText(event.line));
    if (event.kind == Event::Kind::lost) return add(common::Colour::red, "port", name + " is lost");
    add(common::Colour::blue, "port", name + (event.kind == Event::Kind::open ? " is open" : " is closed"));
}

void Teller::endUnfinished(Direction direction) {
    const std::vector<std::size_t>& unfinished = m_unfinished.of(direction);
    std::size_t& next = m_nextUnfinished[direction == Direction::transmit ? 0 : 1];
    if (next == unfinished.size() || unfinished[next] != m_number) return;
    ++next;
    m_startup.flush(direction, m_take);
}

void Teller::tellMessage(const wire::WireMessage& message) {
    const bool next = message.lampOff && !m_lampsOff.empty() && *m_lampsOff.back().second.lampOff + 1 == *message.lampOff;
    if (!next) tellLampsOff();
    if (!message.lampOff) return addMessage(message);
    m_lampsOff.emplace_back(m_at, message);
}

void Teller::tellLampsOff() {
    const auto now = m_at;
    const auto lamps = std::exchange(m_lampsOff, {});
    if (lamps.size() < lampsInOneLine) {
        for (const auto& [at, message] : lamps) {
            m_at = at;
            addMessage(message);
        }
    } else {
        const wire::WireMessage& first = lamps.front().second;
        const wire::WireMessage& last = lamps.back().second;
        m_at = lamps.front().first;
        addMessage({.direction = Direction::transmit,
                    .bytes = first.bytes + "\" to \"" + last.bytes,
                    .meaning = "lamps " + std::to_string(*first.lampOff) + " to " + std::to_string(*last.lampOff) + " off"});
        m_before = lamps.back().first;
        m_hasGap = true;  // the next line has its own time
    }
    m_at = now;
}

void Teller::addMessage(const wire::WireMessage& message) {
    constexpr std::size_t column = 14;
    const bool sent = message.direction == Direction::transmit;
    std::string text = '"' + message.bytes + '"';
    if (!message.meaning.empty()) {
        text.resize(std::max(text.size(), column), ' ');
        text += "  " + meaningOf(message, m_law);
    }
    add(sent ? common::Colour::cyan : common::Colour::green, sent ? "sent" : "received", text);
}

bool written(std::string_view text) { return std::fwrite(text.data(), 1, text.size(), stdout) == text.size(); }

/// "3, 7 to 9": no more of them than fit a line.
void addLines(std::string& list, const Damage& damage, std::size_t count) {
    constexpr std::size_t mostNamed = 8;
    if (count == mostNamed) list += ", ...";
    if (count >= mostNamed) return;
    list += list.empty() ? "" : ", ";
    list += std::to_string(damage.first);
    if (damage.first != damage.last) list += " to " + std::to_string(damage.last);
}

void complainOfFile(const std::string& file, std::string_view problem) {
    std::cerr << "cvhost: recording " << common::plainText(file) << ", " << problem << ".\n";
}

}  // namespace

std::string writeTimeline(Reader reader, bool colour, const TimelineSink& put) {
    Teller teller(UnfinishedFinder(reader).take(), colour, put);
    const auto orUnknown = [](const std::string& text) { return text.empty() ? "(unknown)" : common::plainText(text); };
    put("Recorded by " + orUnknown(reader.program()) + ", begun " + orUnknown(reader.started()) + '\n');
    std::string damaged;
    std::size_t count = 0;
    while (const auto item = reader.next()) {
        std::visit([&](const auto& each) { teller.tell(each); }, *item);
        if (const auto* damage = std::get_if<Damage>(&*item)) addLines(damaged, *damage, count++);
    }
    teller.finish();
    if (reader.cutShort())
        put(common::painted(common::Colour::yellow, "The recording is cut off within a line, which is left out", colour) +
            '\n');
    if (teller.startup().isOpen())
        put(common::painted(common::Colour::yellow,
                            "The recording ends while " + common::plainText(teller.startup().port) + " is open", colour) +
            '\n');
    return damaged;
}

int showTimeline(const TimelineOptions& options) {
    std::string damaged;
    int unwritable = 0;
    try {
        const std::string text = recording::textOf(options.file);
        damaged = writeTimeline(Reader(text), common::wantsColour(), [&](std::string_view line) {
            if (unwritable == 0 && !written(line)) unwritable = errno;
        });
    } catch (const std::system_error& error) {
        std::cerr << "cvhost: " << common::plainText(error.what()) << ".\n";
        return common::exitStatus::usage;
    } catch (const recording::Error& error) {
        complainOfFile(options.file,
                       common::plainText(error.what()) + "; name a file that \"cvhost run --record FILE\" has made");
        return common::exitStatus::usage;
    }
    if (unwritable == 0 && std::fflush(stdout) != 0) unwritable = errno;
    if (unwritable != 0 && unwritable != EPIPE) {
        std::cerr << "cvhost: " << common::unwritableText(unwritable) << ".\n";
        return common::exitStatus::none;
    }
    if (damaged.empty()) return common::exitStatus::active;
    complainOfFile(options.file, "damaged lines: " + damaged + "; all else is shown");
    return common::exitStatus::none;
}

}  // namespace cvhost::timeline
