#include "apps/cvhost/WireReader.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "apps/cvhost/Escape.h"
#include "apps/cvhost/TextReport.h"

namespace cvhost {
namespace {

constexpr std::string_view prompt = "EPROM>";
constexpr std::string_view jump = "J 0100 0";

std::optional<unsigned> hex(std::string_view digits) {
    unsigned value = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (end.ec != std::errc() || end.ptr != digits.data() + digits.size()) return std::nullopt;
    return value;
}

std::string_view stateName(char state) {
    switch (state) {
        case 'O':
            return "off";
        case 'F':
            return "on";
        case 'H':
            return "half";
        default:
            return "blinking";
    }
}

std::string_view lampName(int lamp) {
    static constexpr std::array<std::string_view, 5> names{"", " (forward)", " (stop)", " (reverse)", " (jog)"};
    return lamp < 5 ? names[static_cast<std::size_t>(lamp)] : "";
}

std::string keyText(char key, std::string_view what) {
    return std::string("key ") + key + " (code " + std::to_string(key - '@') + ") " + std::string(what);
}

}  // namespace

void WireReader::read(Direction direction, std::span<const unsigned char> bytes, const Take& take) {
    Way& way = direction == Direction::transmit ? m_sent : m_received;
    for (const unsigned char byte : bytes) {
        way.message += static_cast<char>(byte);
        const bool ends = way.monitor ? byte == '\n' || way.message.ends_with(prompt) : byte == ' ';
        if (ends || way.message.size() >= longest) finish(way, take);
    }
    if (m_sent.monitor) finish(m_sent, take);
}

void WireReader::flush(const Take& take) {
    finish(m_sent, take);
    finish(m_received, take);
}

void WireReader::reset() {
    m_look.lamp.fill('O');
    m_look.held.fill(false);
    m_look.wheel = false;
    m_sent.monitor = m_received.monitor = true;
    m_jumping = false;
}

void WireReader::forget() {
    const double turned = m_look.turned;
    m_look = {};
    m_look.lamp.fill('?');
    m_look.turned = turned;
    for (Way* way : {&m_sent, &m_received}) {
        way->message.clear();
        way->monitor = false;
    }
    m_jumping = false;
}

void WireReader::finish(Way& way, const Take& take) {
    if (way.message.empty()) return;
    const std::string text = meaning(way);
    const std::string bytes = std::exchange(way.message, {});
    take({.direction = way.direction,
          .bytes = plainBytes({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}),
          .meaning = text,
          .ring = std::exchange(m_ring, std::nullopt)});
}

std::string WireReader::meaning(Way& way) {
    const bool sent = way.direction == Direction::transmit;
    if (way.monitor && sent) return typed(way.message);
    if (way.monitor) {
        // The jump's echo is the last of the monitor.
        if (!m_sent.monitor && way.message.ends_with('\n')) way.monitor = false;
        return way.message.ends_with(prompt) ? "the boot monitor's prompt" : "";
    }
    if (!way.message.ends_with(' ')) return "unfinished";
    const std::string_view text = std::string_view(way.message).substr(0, way.message.size() - 1);
    return sent ? command(text) : packet(text);
}

/// What is typed to the boot monitor.
std::string WireReader::typed(std::string_view text) {
    if (text == jump) {
        m_jumping = true;
        return "start the program at 0100";
    }
    if (text == "\r" && std::exchange(m_jumping, false)) m_sent.monitor = false;
    return text == "H " ? "which model?" : text == "\r" ? "return" : "";
}

std::string WireReader::command(std::string_view text) {
    if (text.empty()) return "";
    if (text == "?") {
        m_received.monitor = false;
        return "which version?";
    }
    if (text == "K") return "start-up command";
    if (text == "W" || text == "X") {
        m_look.wheel = text == "W";
        return m_look.wheel ? "wheel on" : "wheel off";
    }
    int lamp = 0;
    const auto end = std::from_chars(text.data() + 1, text.data() + text.size(), lamp);
    const bool number = end.ec == std::errc() && end.ptr == text.data() + text.size() && text[1] != '0';
    if (!number || lamp < 1 || lamp > ConsoleLook::lamps || std::string_view("OFHB").find(text[0]) == text.npos)
        return "not a command";
    m_look.lamp[static_cast<std::size_t>(lamp - 1)] = text[0];
    return "lamp " + std::to_string(lamp) + std::string(lampName(lamp)) + ' ' + std::string(stateName(text[0]));
}

std::string WireReader::packet(std::string_view text) {
    if (text.empty()) return "";
    const char first = text[0];
    if (first == 'V') {
        const auto version = text.size() == 4 ? hex(text.substr(1)) : std::nullopt;
        return version ? "version " + std::to_string(*version) : "a version that cannot be read";
    }
    if (first == 'D' && text.size() > 2) return "ignored";
    const bool isKey = first >= '@' && first < '@' + ConsoleLook::keys;
    if (isKey && (text.size() == 1 || text == std::string{first, 'U'})) {
        const bool pressed = text.size() == 1;
        m_look.held[static_cast<std::size_t>(first - '@')] = pressed;
        return keyText(first, pressed ? "pressed" : "released");
    }
    if ((first == '\\' || first == 'L') && text.size() == 9) return wheelStatus(text.substr(1));
    if (first == '~') return "from the expansion port";
    return "not a packet";
}

std::string WireReader::wheelStatus(std::string_view digits) {
    const auto ring = hex(digits.substr(0, 2));
    const auto count = hex(digits.substr(2, 2));
    const auto fine = hex(digits.substr(4, 4));
    if (!ring || !count || !fine) return "not a packet";
    m_look.ringTold = true;
    m_look.ring = static_cast<int>(*ring);
    m_ring = m_look.ring;
    const int counts = static_cast<std::int8_t>(*count);
    const double part = static_cast<std::int16_t>(*fine) / 10000.0;
    const int deflection = m_look.ring - 127;
    const double turn = counts < 0 ? counts - part : counts + part;
    m_look.turned += turn;
    return "ring " + std::string(deflection > 0 ? "+" : "") + std::to_string(deflection) + ", wheel " + jogText(turn);
}

}  // namespace cvhost
