#include "apps/recording/Recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "apps/recording/Line.h"

namespace recording {
namespace {

using Json = nlohmann::json;
using Kind = Event::Kind;

constexpr std::string_view formatName = "cvhost serial recording";
constexpr std::size_t largestFile = 1UL << 30;
constexpr std::int64_t longestTime = std::chrono::microseconds(std::chrono::years(10)).count();

struct Name {
    Kind kind;
    std::string_view name;
};
constexpr std::array kindNames{
    Name{Kind::opening, "opening"},
    Name{Kind::open, "open"},
    Name{Kind::trouble, "trouble"},
    Name{Kind::closed, "closed"},
    Name{Kind::lost, "lost"},
    Name{Kind::tx, "tx"},
    Name{Kind::rx, "rx"},
    Name{Kind::rts, "rts"},
    Name{Kind::added, "added"},
    Name{Kind::call, "call"},
    Name{Kind::key, "key"},
    Name{Kind::setting, "setting"},
    Name{Kind::preference, "preference"},
    Name{Kind::map, "map"},
};

std::string_view nameOf(Kind kind) {
    for (const Name& entry : kindNames) {
        if (entry.kind == kind) return entry.name;
    }
    return {};
}

std::optional<Kind> whatOf(std::string_view name) {
    for (const Name& entry : kindNames) {
        if (entry.name == name) return entry.kind;
    }
    return std::nullopt;
}

/// Empty if a character is not a byte.
std::optional<std::string> bytesOfText(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < 0x80) {
            bytes += text[i];
        } else if (first <= 0xC3 && i + 1 < text.size()) {
            bytes += static_cast<char>(first << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
        } else {
            return std::nullopt;
        }
    }
    return bytes;
}

/// In a JSON text, all but ASCII escaped.
void appendEscaped(std::string& text, unsigned char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    const std::size_t letter = escaped.find(static_cast<char>(character));
    if (letter != escaped.npos) {
        (text += '\\') += letters[letter];
    } else if (character >= 0x20 && character < 0x7F) {
        text += static_cast<char>(character);
    } else {
        ((text += "\\u00") += digits[character >> 4]) += digits[character & 15];
    }
}

/// Appends a line. The destructor of a JSON tree allocates, and aborts when memory is short.
class Writer {
public:
    explicit Writer(std::string& text) : m_text(text) {}

    void add(std::string_view name, std::int64_t number) {
        addName(name);
        addNumber(number);
    }
    void add(std::string_view name, std::string_view text) {
        if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
            return addBytes(name, text);
        addName(name);
        m_text += Json(std::string(text)).dump(-1, ' ', true, Json::error_handler_t::replace);
    }
    /// Each byte as the character with its number.
    void addBytes(std::string_view name, std::string_view bytes) {
        addName(name);
        m_text += '"';
        for (const char byte : bytes) appendEscaped(m_text, static_cast<unsigned char>(byte));
        m_text += '"';
    }
    void add(std::string_view name, const std::vector<int>& numbers) {
        addName(name);
        char mark = '[';
        for (const int number : numbers) {
            m_text += std::exchange(mark, ',');
            addNumber(number);
        }
        m_text += numbers.empty() ? "[]" : "]";
    }
    void end() { m_text += "}\n"; }

private:
    void addName(std::string_view name) {
        ((m_text += std::exchange(m_mark, ',')) += '"') += name;
        m_text += "\":";
    }
    void addNumber(std::int64_t number) {
        std::array<char, 24> digits{};
        m_text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
    }

    std::string& m_text;
    char m_mark = '{';
};

void addMembers(const Event& event, Writer& line) {
    switch (event.kind) {
        case Kind::opening:
            line.add("port", event.port);
            line.add("baud", event.line.baud);
            line.add("data_bits", event.line.dataBits);
            line.add("parity", std::string_view(&event.line.parity, 1));
            line.add("stop_bits", event.line.stopBits);
            break;
        case Kind::open:
        case Kind::closed:
        case Kind::lost:
            line.add("port", event.port);
            break;
        case Kind::trouble:
            line.add("port", event.port);
            line.add("text", event.text);
            break;
        case Kind::tx:
        case Kind::rx:
        case Kind::added:
            line.addBytes("bytes", event.text);
            break;
        case Kind::rts:
            line.add("level", event.number);
            break;
        case Kind::call:
            line.add("name", event.text);
            line.add("arguments", event.arguments);
            break;
        case Kind::key:
            line.add("code", event.number);
            break;
        case Kind::setting:
        case Kind::preference:
        case Kind::map:
            line.add("name", event.name);
            line.add("text", event.text);
            break;
    }
}

int smallNumber(Line& line, Member member, int lowest, int highest) {
    return static_cast<int>(line.number(member, lowest, highest));
}

cvhost::LineSettings settingsOf(Line& line) {
    const std::string parity = line.text(Member::parity);
    const bool known = parity.size() == 1 && std::string_view("NEO").find(parity) != std::string_view::npos;
    if (!known) line.spoil("\"parity\" must be N, E or O");
    return {smallNumber(line, Member::baud, 1, INT32_MAX), smallNumber(line, Member::dataBits, 5, 8),
            known ? parity.front() : 'N', smallNumber(line, Member::stopBits, 1, 2)};
}

std::string bytesOf(Line& line) {
    auto bytes = bytesOfText(line.text(Member::bytes));
    if (!bytes) line.spoil("bytes must be characters up to \\u00ff");
    return std::move(bytes).value_or("");
}

Event eventOf(Kind kind, Line& line) {
    Event event{.at = std::chrono::microseconds(line.number(Member::t, 0, longestTime)), .kind = kind};
    switch (kind) {
        case Kind::opening:
            event.line = settingsOf(line);
            [[fallthrough]];
        case Kind::open:
        case Kind::closed:
        case Kind::lost:
            event.port = line.text(Member::port);
            break;
        case Kind::trouble:
            event.port = line.text(Member::port);
            event.text = line.text(Member::text);
            break;
        case Kind::tx:
        case Kind::rx:
        case Kind::added:
            event.text = bytesOf(line);
            break;
        case Kind::rts:
            event.number = smallNumber(line, Member::level, 0, 1);
            break;
        case Kind::call:
            event.text = line.text(Member::name);
            event.arguments = line.arguments();
            break;
        case Kind::key:
            event.number = smallNumber(line, Member::code, INT32_MIN, INT32_MAX);
            break;
        case Kind::setting:
        case Kind::preference:
        case Kind::map:
            event.name = line.text(Member::name);
            event.text = line.text(Member::text);
            break;
    }
    return event;
}

/// Empty for an unknown kind.
std::optional<Event> eventOf(Line& line) {
    const std::string name = line.text(Member::event);
    const auto what = whatOf(name);
    if (!what || !line.good()) return std::nullopt;
    return eventOf(*what, line);
}

}  // namespace

std::string Damage::text() const {
    const std::string lines = first == last ? "line " : "lines " + std::to_string(first) + " to ";
    return lines + std::to_string(last) + ": " + reason;
}

Reader::Reader(std::string_view text) : m_text(text) {
    readHeader();
    if (!m_damage) return;
    // With an event in it, it is a recording all the same.
    Reader ahead = *this;
    std::optional<Item> item;
    do {
        item = ahead.next();
    } while (item && std::holds_alternative<Damage>(*item));
    if (!item) throw Error(Damage{1, 1, m_damage->reason}.text());
}

void Reader::readHeader() {
    const bool empty = m_text.empty();
    const auto first = nextLine();
    if (!first) throw Error(empty ? "it is empty" : "it ends within its first line");
    Line line(*first);
    const std::string format = line.text(Member::format);
    if (line.good() && format != formatName) throw Error("line 1: this is no recording of a serial port");
    const auto version = line.number(Member::version, 1, INT32_MAX);
    if (version > formatVersion) {
        throw Error("line 1: the format's version is " + std::to_string(version) + ", and this program knows " +
                    std::to_string(formatVersion));
    }
    m_program = line.text(Member::program);
    m_started = line.text(Member::started);
    if (!line.good()) gather(line.problem());
}

std::optional<std::string_view> Reader::nextLine() {
    const std::size_t end = m_text.find('\n');
    if (end == m_text.npos) {
        m_cutShort = !m_text.empty();
        return std::nullopt;
    }
    ++m_line;
    const std::string_view line = m_text.substr(0, end);
    m_text.remove_prefix(end + 1);
    return line;
}

std::optional<Damage> Reader::gather(std::string reason) {
    if (m_damage && m_damage->last + 1 == m_line && m_damage->reason == reason) {
        m_damage->last = m_line;
        return std::nullopt;
    }
    return std::exchange(m_damage, Damage{m_line, m_line, std::move(reason)});
}

std::optional<Reader::Item> Reader::next() {
    while (!m_event) {
        const auto text = nextLine();
        if (!text) break;
        Line line(*text);
        m_event = eventOf(line);
        if (!line.good()) m_event.reset();
        if (m_event && m_event->at < m_at) line.spoil("time runs backwards");
        if (m_event) m_at = m_event->at;
        if (line.good()) continue;
        if (auto earlier = gather(line.problem())) return *std::move(earlier);
    }
    if (m_damage) return *std::exchange(m_damage, std::nullopt);
    if (m_event) return *std::exchange(m_event, std::nullopt);
    return std::nullopt;
}

std::string textOf(const std::string& path) {
    const auto unreadable = [&] { return std::system_error(errno, std::generic_category(), "cannot read " + path); };
    std::ifstream file(path, std::ios::binary);
    file.peek();  // a folder can be opened; only reading it fails
    if (!file.is_open() || file.bad()) throw unreadable();
    std::error_code unknown;
    const auto size = std::filesystem::file_size(path, unknown);
    std::string text;
    if (!unknown && size <= largestFile) text.reserve(size + 1);
    std::array<char, 65536> piece{};
    while (file.good()) {
        file.read(piece.data(), piece.size());
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
        if (text.size() > largestFile) throw Error("it is larger than " + std::to_string(largestFile >> 20) + " MiB");
        if (text.size() > longestLine && text.find('\n') > longestLine) throw Error("line 1: the line is too long");
    }
    if (file.bad()) throw unreadable();
    return text;
}

std::optional<Event> nextGood(Reader& reader) {
    auto item = reader.next();
    if (!item) return std::nullopt;
    if (const auto* damage = std::get_if<Damage>(&*item)) throw Error(damage->text());
    return std::get<Event>(*std::move(item));
}

Recording read(std::string_view text) {
    Reader reader(text);
    Recording recording{.program = reader.program(), .started = reader.started(), .events = {}};
    while (auto event = nextGood(reader)) recording.events.push_back(*std::move(event));
    recording.cutShort = reader.cutShort();
    return recording;
}

Recording readFile(const std::string& path) { return read(textOf(path)); }

std::string lineFor(const Event& event) {
    std::string text;
    appendLine(text, event);
    return text;
}

void appendLine(std::string& text, const Event& event) {
    Writer line(text);
    line.add("t", event.at.count());
    line.add("event", nameOf(event.kind));
    addMembers(event, line);
    line.end();
}

std::string headerLine(const std::string& program, std::chrono::system_clock::time_point started) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(started);
    std::tm utc{};
    std::array<char, 32> time{};
    if (::gmtime_r(&seconds, &utc) != nullptr) std::strftime(time.data(), time.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    std::string text;
    Writer line(text);
    line.add("format", formatName);
    line.add("version", formatVersion);
    line.add("program", program);
    line.add("started", time.data());
    line.end();
    return text;
}

}  // namespace recording
