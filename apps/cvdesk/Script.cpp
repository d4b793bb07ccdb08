#include "apps/cvdesk/Script.h"

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

namespace cvdesk {
namespace {

using Action = decltype(Step::action);
using Words = std::vector<std::string_view>;

constexpr std::string_view blanks = " \t\r\v\f";
constexpr std::size_t longestLine = 4000;  // fits the desk's output whole

template <class Number>
std::optional<Number> number(std::string_view text, Number lowest = std::numeric_limits<Number>::min(),
                             Number highest = std::numeric_limits<Number>::max()) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < lowest || value > highest) return std::nullopt;
    return value;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

Words split(std::string_view text) {
    Words words;
    for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
        words.push_back(text.substr(0, text.find_first_of(blanks)));
        text.remove_prefix(words.back().size());
    }
    return words;
}

// Each of these takes the text after the command's name. An empty result: the text is not of this command's form.

std::optional<Action> sleep(std::string_view rest) {
    const bool inMilliseconds = rest.ends_with("ms");
    if (!rest.ends_with('s')) return std::nullopt;
    rest.remove_suffix(inMilliseconds ? 2 : 1);
    const auto amount = number<int>(rest, 0, 86'400);
    if (!amount) return std::nullopt;
    return Sleep{inMilliseconds ? std::chrono::milliseconds(*amount) : std::chrono::seconds(*amount)};
}

/// Calls `operation` with a key.
template <auto operation>
std::optional<Action> key(std::string_view rest) {
    if (rest.size() != 1 || rest.front() <= ' ' || rest.front() > '~') return std::nullopt;
    return Act{[key = rest.front()](desk::Desk& desk, desk::Time now) { (desk.*operation)(key, now); }};
}

std::optional<Action> shuttle(std::string_view rest) {
    const auto position = number<unsigned char>(rest);
    if (!position) return std::nullopt;
    return Act{[position = *position](desk::Desk& desk, desk::Time now) { desk.shuttle(position, now); }};
}

std::optional<Action> jog(std::string_view rest) {
    const Words words = split(rest);
    if (words.empty() || words.size() > 2) return std::nullopt;
    const auto counts = number<std::int8_t>(words[0]);
    const auto fine = words.size() == 2 ? number<std::int16_t>(words[1]) : std::int16_t{0};
    if (!counts || !fine) return std::nullopt;
    return Act{[=](desk::Desk& desk, desk::Time now) { desk.jog(*counts, *fine, now); }};
}

std::optional<char> hexByte(std::string_view digits) {
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() != 2 || error != std::errc{} || end != digits.data() + 2) return std::nullopt;
    return static_cast<char>(byte);
}

std::optional<Action> raw(std::string_view rest) {
    std::string bytes;
    while (!rest.empty()) {
        std::size_t taken = 1;
        if (rest.starts_with("\\x")) {
            const auto byte = hexByte(rest.substr(2, 2));
            if (!byte) return std::nullopt;
            bytes += *byte;
            taken = 4;
        } else if (rest.starts_with("\\\\")) {
            bytes += '\\';
            taken = 2;
        } else if (rest.front() != '\\') {
            bytes += rest.front();
        } else {
            return std::nullopt;
        }
        rest.remove_prefix(taken);
    }
    if (bytes.empty()) return std::nullopt;
    return Act{[bytes](desk::Desk& desk, desk::Time now) { desk.raw(bytes, now); }};
}

std::optional<Action> powerCycle(std::string_view rest) {
    if (!rest.empty()) return std::nullopt;
    return Act{[](desk::Desk& desk, desk::Time now) { desk.powerCycle(now); }};
}

std::optional<Action> wait(std::string_view rest) {
    if (rest != "active") return std::nullopt;
    return WaitActive{};
}

std::string lampWords(int lamp, char state) { return "lamp " + std::to_string(lamp) + ' ' + state; }

std::string wheelText(bool on) { return on ? "wheel on" : "wheel off"; }

std::optional<Action> expect(std::string_view rest) {
    const Words words = split(rest);
    if (words.size() == 3 && words[0] == "lamp") {
        const auto lamp = number<int>(words[1], 1, desk::Program::lampCount);
        const bool known = words[2].size() == 1 && std::string_view("OFHB").find(words[2]) != std::string_view::npos;
        if (!lamp || !known) return std::nullopt;
        return Expect{lampWords(*lamp, words[2].front()),
                      [lamp = *lamp](const desk::Desk& desk) { return lampWords(lamp, desk.lamp(lamp)); }};
    }
    if (words.size() == 2 && words[0] == "wheel" && (words[1] == "on" || words[1] == "off"))
        return Expect{wheelText(words[1] == "on"), [](const desk::Desk& desk) { return wheelText(desk.wheelOn()); }};
    return std::nullopt;
}

std::optional<Action> quit(std::string_view rest) {
    if (!rest.empty()) return std::nullopt;
    return Quit{};
}

struct Command {
    std::string_view name;
    std::string_view form;
    std::optional<Action> (*read)(std::string_view rest);
};

constexpr Command commands[] = {
    {"wait", "wait active", wait},
    {"sleep", "sleep 50ms, or sleep 2s, up to 86400 of either", sleep},
    {"press", "press E, with one printable character", key<&desk::Desk::press>},
    {"release", "release E, with one printable character", key<&desk::Desk::release>},
    {"tap", "tap E, with one printable character", key<&desk::Desk::tap>},
    {"shuttle", "shuttle 200, with a position from 0 to 255", shuttle},
    {"jog", "jog -3 [5000], with -128 to 127 counts and -32768 to 32767 ten-thousandths", jog},
    {"raw", "raw TEXT, with \\xNN for any byte and \\\\ for a backslash", raw},
    {"power-cycle", "power-cycle", powerCycle},
    {"expect", "expect lamp 2 F, with a lamp from 1 to 46 and O, F, H or B, or expect wheel on, or expect wheel off",
     expect},
    {"quit", "quit", quit},
};

Action readCommand(std::string_view line) {
    const std::string_view name = line.substr(0, line.find_first_of(blanks));
    for (const Command& command : commands) {
        if (command.name != name) continue;
        if (auto what = command.read(trimmed(line.substr(name.size())))) return *std::move(what);
        throw ScriptError("write it as: " + std::string(command.form));
    }
    throw ScriptError("there is no such command; \"cvdesk --help\" lists them");
}

}  // namespace

std::vector<Step> readScript(std::istream& text) {
    std::vector<Step> steps;
    std::string line;
    for (int number = 1; std::getline(text, line); ++number) {
        const std::string_view content = trimmed(line);
        if (content.empty() || content.front() == '#') continue;
        try {
            if (content.size() > longestLine) throw ScriptError("the line is too long");
            steps.push_back({number, readCommand(content)});
        } catch (const ScriptError& error) {
            throw ScriptError("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return steps;
}

}  // namespace cvdesk
