#include "apps/cvhost/wire/WireReader.h"

#include <charconv>
#include <optional>
#include <utility>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/MotionText.h"

namespace cvhost::wire {
namespace {

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

std::string lampText(int lamp) {
    const std::string name(common::lampName(lamp));
    return "lamp " + std::to_string(lamp) + (name.empty() ? "" : " (" + name + ')');
}

std::string keyText(int code, std::string_view what) {
    return std::string("key ") + common::keyLetter(code) + " (code " + std::to_string(code) + ") " + std::string(what);
}

}  // namespace

void WireReader::read(Direction direction, std::span<const unsigned char> bytes, const Take& take) {
    if (direction == Direction::receive) return receive(bytes, take);
    for (const unsigned char byte : bytes) {
        m_sent.message += static_cast<char>(byte);
        const bool ends = !m_sent.monitor && byte == ' ';
        if (ends || m_sent.message.size() >= longest) finish(m_sent, take);
    }
    if (m_sent.monitor) finish(m_sent, take);
}

void WireReader::receive(std::span<const unsigned char> bytes, const Take& take) {
    for (const unsigned char byte : bytes) {
        std::string& message = m_received.message;
        message += static_cast<char>(byte);
        const auto packet = m_driverReads ? m_packets.take(byte) : std::nullopt;
        if (packet) follow(*packet);
        const bool ends = m_received.monitor ? byte == '\n' || message.ends_with(common::promptWord) : packet || byte == ' ';
        if (ends || message.size() >= longest) finish(m_received, take, packet);
    }
}

void WireReader::flush(const Take& take) {
    finish(m_sent, take);
    finish(m_received, take);
}

void WireReader::flush(Direction direction, const Take& take) {
    finish(direction == Direction::transmit ? m_sent : m_received, take);
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
    m_driverReads = false;
    m_packets.close();
}

void WireReader::finish(Way& way, const Take& take, const std::optional<Packet>& packet) {
    if (way.message.empty()) return;
    if (!take && !way.monitor && way.direction == Direction::receive) return way.message.clear();
    std::optional<int> ring;
    if (packet && !way.monitor && packet->accepted && packet->kind == Packet::Kind::status) ring = packet->ring;
    m_lampOff.reset();
    std::string text = meaning(way, packet, static_cast<bool>(take));
    const std::optional<int> lampOff = m_lampOff;
    const std::string bytes = std::exchange(way.message, {});
    if (!take) return;
    take({.direction = way.direction,
          .bytes = common::plainBytes({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}),
          .meaning = std::move(text),
          .ring = ring,
          .lampOff = lampOff});
}

std::string WireReader::meaning(Way& way, const std::optional<Packet>& packet, bool inWords) {
    const bool sent = way.direction == Direction::transmit;
    if (way.monitor && sent) return typed(way.message);
    if (way.monitor) {
        // The jump's echo is the last of the monitor.
        if (!m_sent.monitor && way.message.ends_with('\n')) way.monitor = false;
        return way.message.ends_with(common::promptWord) ? "the boot monitor's prompt" : "";
    }
    if (!packet && !way.message.ends_with(' ')) return "unfinished";
    const std::string_view text = std::string_view(way.message).substr(0, way.message.size() - 1);
    if (sent) return command(text, inWords);
    return packetText(packet ? *packet : m_packets.classify(text), text);
}

/// What is typed to the boot monitor.
std::string WireReader::typed(std::string_view text) {
    if (text == common::startRequest) {
        m_jumping = true;
        return "start the program at 0100";
    }
    if (text == "\r" && std::exchange(m_jumping, false)) m_sent.monitor = false;
    return text == common::modelRequest ? "which model?" : text == "\r" ? "return" : "";
}

/// What it means; empty unless `inWords`, or if it means nothing.
std::string WireReader::command(std::string_view text, bool inWords) {
    // With these the driver turns from the boot monitor to the program.
    if (text == "F2" || text.empty() || text == "?") m_driverReads = true;
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
    if (!number || lamp < 1 || lamp > common::lampCount || std::string_view("OFHB").find(text[0]) == text.npos)
        return "not a command";
    m_look.lamp[static_cast<std::size_t>(lamp - 1)] = text[0];
    if (text[0] == 'O') m_lampOff = lamp;
    return inWords ? lampText(lamp) + ' ' + std::string(stateName(text[0])) : "";
}

/// What the packet changes, if the driver takes it.
void WireReader::follow(const Packet& packet) {
    using enum Packet::Kind;
    if (!packet.accepted) return;
    if (packet.kind == press || packet.kind == release) {
        m_look.held[static_cast<std::size_t>(packet.number)] = packet.kind == press;
    } else if (packet.kind == status) {
        m_look.ringTold = true;
        m_look.ring = packet.ring;
        m_look.turned += packet.turned;
    }
}

std::string WireReader::packetText(const Packet& packet, std::string_view text) const {
    using enum Packet::Kind;
    const std::string from = packet.forwarded ? "from the expansion port" : "";
    const std::string head = packet.forwarded ? from + ": " : "";
    switch (packet.kind) {
        case empty:
            return "";
        case version:
            return head + (text.size() == 4 && hex(text.substr(1)) ? "version " + std::to_string(packet.number)
                                                                   : "a version that cannot be read");
        case ignored:
            return head + "ignored";
        case press:
        case release:
            return head + keyText(packet.number, packet.kind == press ? "pressed" : "released") +
                   std::string(whyIgnored(packet));
        case status: {
            const int deflection = packet.ring - 127;
            return head + "ring " + (deflection > 0 ? "+" : "") + std::to_string(deflection) + ", wheel " +
                   common::jogText(packet.turned) + std::string(whyIgnored(packet));
        }
        case unknown:
            return packet.forwarded ? from : "not a packet";
    }
    return "";
}

/// Behind the meaning of a packet that the driver ignores.
std::string_view WireReader::whyIgnored(const Packet& packet) const {
    if (packet.accepted && m_driverReads) return "";
    if (!m_packets.active() || !m_driverReads) return "; ignored: no version yet";
    if (m_packets.version() < 7) return "; ignored: the version is 6";
    return "; ignored: the driver knows another first letter, from the version told before";
}

}  // namespace cvhost::wire
