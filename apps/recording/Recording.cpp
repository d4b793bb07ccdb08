#include "apps/recording/Recording.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace recording {
namespace {

using Json = nlohmann::ordered_json;
using What = Event::What;

constexpr std::string_view formatName = "cvhost serial recording";
/// A line of 4096 received bytes, all escaped, fits several times over.
constexpr std::size_t longestLine = 256UL * 1024;
constexpr std::int64_t longestTime = std::chrono::microseconds(std::chrono::years(10)).count();

struct Name {
    What what;
    std::string_view name;
};
constexpr std::array names{
    Name{What::opening, "opening"}, Name{What::open, "open"}, Name{What::trouble, "trouble"}, Name{What::closed, "closed"},
    Name{What::lost, "lost"},       Name{What::tx, "tx"},     Name{What::rx, "rx"},           Name{What::rts, "rts"},
    Name{What::added, "added"},     Name{What::call, "call"}, Name{What::key, "key"},
};

std::string_view nameOf(What what) {
    for (const Name& entry : names) {
        if (entry.what == what) return entry.name;
    }
    return {};
}

std::optional<What> whatOf(std::string_view name) {
    for (const Name& entry : names) {
        if (entry.name == name) return entry.what;
    }
    return std::nullopt;
}

/// Each byte as the character with its number.
std::string textOfBytes(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

std::string bytesOfText(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < 0x80) {
            bytes += text[i];
        } else if (first <= 0xC3 && i + 1 < text.size()) {
            bytes += static_cast<char>(first << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
        } else {
            throw Error("bytes must be characters up to \\u00ff");
        }
    }
    return bytes;
}

std::string dumped(const Json& line) { return line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n'; }

void addMembers(const Event& event, Json& line) {
    switch (event.what) {
        case What::opening:
            line["port"] = event.port;
            line["baud"] = event.line.baud;
            line["data_bits"] = event.line.dataBits;
            line["parity"] = std::string(1, event.line.parity);
            line["stop_bits"] = event.line.stopBits;
            break;
        case What::open:
        case What::closed:
        case What::lost:
            line["port"] = event.port;
            break;
        case What::trouble:
            line["port"] = event.port;
            line["text"] = event.text;
            break;
        case What::tx:
        case What::rx:
        case What::added:
            line["bytes"] = textOfBytes(event.text);
            break;
        case What::rts:
            line["level"] = event.number;
            break;
        case What::call:
            line["name"] = event.text;
            line["arguments"] = event.arguments;
            break;
        case What::key:
            line["code"] = event.number;
            break;
    }
}

/// A whole number from `lowest` to `highest`.
std::int64_t number(const Json& line, const char* member, std::int64_t lowest, std::int64_t highest) {
    const auto found = line.find(member);
    const bool whole = found != line.end() && found->is_number_integer() &&
                       (!found->is_number_unsigned() || found->get<std::uint64_t>() <= INT64_MAX);
    if (!whole || found->get<std::int64_t>() < lowest || found->get<std::int64_t>() > highest) {
        throw Error(std::string("\"") + member + "\" must be a whole number from " + std::to_string(lowest) + " to " +
                    std::to_string(highest));
    }
    return found->get<std::int64_t>();
}

int smallNumber(const Json& line, const char* member, int lowest, int highest) {
    return static_cast<int>(number(line, member, lowest, highest));
}

std::string text(const Json& line, const char* member) {
    const auto found = line.find(member);
    if (found == line.end() || !found->is_string()) throw Error(std::string("\"") + member + "\" must be a text");
    return found->get<std::string>();
}

std::vector<int> argumentsOf(const Json& line) {
    std::vector<int> arguments;
    const auto found = line.find("arguments");
    if (found == line.end() || !found->is_array()) throw Error("\"arguments\" must be a list of numbers");
    for (const Json& argument : *found) {
        arguments.push_back(smallNumber(Json{{"arguments", argument}}, "arguments", INT32_MIN, INT32_MAX));
    }
    return arguments;
}

cvhost::LineSettings settingsOf(const Json& line) {
    const std::string parity = text(line, "parity");
    if (parity.size() != 1 || std::string_view("NEO").find(parity) == std::string_view::npos)
        throw Error("\"parity\" must be N, E or O");
    return {smallNumber(line, "baud", 1, INT32_MAX), smallNumber(line, "data_bits", 5, 8), parity.front(),
            smallNumber(line, "stop_bits", 1, 2)};
}

Event eventOf(What what, const Json& line) {
    Event event{.at = std::chrono::microseconds(number(line, "t", 0, longestTime)), .what = what};
    switch (what) {
        case What::opening:
            event.line = settingsOf(line);
            [[fallthrough]];
        case What::open:
        case What::closed:
        case What::lost:
            event.port = text(line, "port");
            break;
        case What::trouble:
            event.port = text(line, "port");
            event.text = text(line, "text");
            break;
        case What::tx:
        case What::rx:
        case What::added:
            event.text = bytesOfText(text(line, "bytes"));
            break;
        case What::rts:
            event.number = smallNumber(line, "level", 0, 1);
            break;
        case What::call:
            event.text = text(line, "name");
            event.arguments = argumentsOf(line);
            break;
        case What::key:
            event.number = smallNumber(line, "code", INT32_MIN, INT32_MAX);
            break;
    }
    return event;
}

Json parsed(const std::string& line) {
    Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) throw Error("it is no JSON object");
    return json;
}

void takeHeader(const Json& line, Recording& recording) {
    if (text(line, "format") != formatName) throw Error("this is no recording of a serial port");
    const auto version = number(line, "version", 1, INT32_MAX);
    if (version > formatVersion) {
        throw Error("the format's version is " + std::to_string(version) + ", and this program knows " +
                    std::to_string(formatVersion));
    }
    recording.program = text(line, "program");
    recording.started = text(line, "started");
}

void takeEvent(const Json& line, Recording& recording) {
    const auto what = whatOf(text(line, "event"));
    if (!what) return;
    Event event = eventOf(*what, line);
    if (!recording.events.empty() && event.at < recording.events.back().at) throw Error("time runs backwards");
    recording.events.push_back(std::move(event));
}

/// A line without its end. False: there is none any more.
bool nextLine(std::istream& text, std::string& line, bool& whole) {
    line.clear();
    char c = 0;
    while (text.get(c)) {
        whole = c == '\n';
        if (whole) return true;
        if (line.size() >= longestLine) throw Error("the line is too long");
        line += c;
    }
    return !line.empty();
}

}  // namespace

Recording read(std::istream& text) {
    Recording recording;
    std::string line;
    int count = 0;
    try {
        for (bool whole = false; ++count, nextLine(text, line, whole);) {
            if (!whole) {
                recording.cutShort = true;
                break;
            }
            if (count == 1) {
                takeHeader(parsed(line), recording);
            } else {
                takeEvent(parsed(line), recording);
            }
        }
    } catch (const Error& error) {
        throw Error("line " + std::to_string(count) + ": " + error.what());
    }
    if (count == 1) throw Error(recording.cutShort ? "it ends within its first line" : "it is empty");
    return recording;
}

Recording readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    file.peek();  // a folder opens, and is found out by reading
    if (!file.is_open() || file.bad()) throw Error("it cannot be read; check its name and that it may be read");
    Recording recording = read(file);
    if (file.bad()) throw Error("it cannot be read to its end");
    return recording;
}

std::string lineFor(const Event& event) {
    Json line{{"t", event.at.count()}, {"event", nameOf(event.what)}};
    addMembers(event, line);
    return dumped(line);
}

std::string headerLine(const std::string& program, std::chrono::system_clock::time_point started) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(started);
    std::tm utc{};
    std::array<char, 32> time{};
    if (::gmtime_r(&seconds, &utc) != nullptr) std::strftime(time.data(), time.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return dumped(Json{{"format", formatName}, {"version", formatVersion}, {"program", program}, {"started", time.data()}});
}

}  // namespace recording
