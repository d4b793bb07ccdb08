#include "apps/cvhost/wire/PacketReader.h"

#include <cstdint>
#include <utility>

#include "apps/common/ConsoleFacts.h"
#include "host/api/ConsoleInput.h"

namespace cvhost::wire {
namespace {

constexpr std::size_t longestText = 11;
constexpr std::size_t statusLength = 9;
constexpr char firstLead = '\\';

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : 0;
}

/// The number at `begin`, `length` digits at most: any other character than a digit counts as 0.
int number(std::string_view text, std::size_t begin, std::size_t length) {
    int value = 0;
    for (const char c : text.substr(begin, length)) value = value << 4 | digit(c);
    return value;
}

}  // namespace

std::optional<Packet> PacketReader::take(unsigned char byte) {
    if (m_text.size() <= longestText) m_text += static_cast<char>(byte);
    if (byte != ' ' && byte != '\0') return std::nullopt;
    m_text.pop_back();
    return decode(std::exchange(m_text, {}));
}

void PacketReader::close() {
    m_text.clear();
    m_active = false;
}

void PacketReader::missed() {
    if (listens()) return;
    m_active = true;
    m_version = 7;
    if (m_lead == firstLead) m_lead = '\0';
}

Packet PacketReader::classify(std::string_view text) const {
    using enum Packet::Kind;
    if (text.empty()) return {.kind = empty};
    const char first = text[0];
    if (first == 'V') return {.kind = version, .accepted = true, .number = number(text, 1, 3)};
    if (first == 'D' && text.size() > 2) return {.kind = ignored};
    if (first == '~' && text.size() > 1) {
        Packet inner = classify(text.substr(1));
        inner.accepted = inner.accepted && listens();
        inner.forwarded = true;
        return inner;
    }
    if ((first == firstLead || first == leadOfVersion8) && text.size() == statusLength) {
        const int count = static_cast<std::int8_t>(number(text, 3, 2));
        const double fine = static_cast<std::int16_t>(number(text, 5, 4)) / 10000.0;
        return {.kind = status,
                .accepted = listens() && (m_lead == first || m_lead == '\0'),
                .ring = number(text, 1, 2),
                .turned = count < 0 ? count - fine : count + fine};
    }
    const int code = common::keyCode(first);
    const bool released = text.size() == 2 && text[1] == 'U';
    if (!is_valid_keycode(code) || (text.size() > 1 && !released)) return {.kind = unknown};
    return {.kind = released ? release : press, .accepted = listens(), .number = code};
}

Packet PacketReader::decode(std::string_view text) {
    const Packet packet = classify(text);
    if (packet.kind == Packet::Kind::version && packet.accepted) {
        m_active = true;
        m_told = packet.number;
        m_version = packet.number == 6 ? 6 : 7;
        if (packet.number == 8) m_lead = leadOfVersion8;
    }
    return packet;
}

}  // namespace cvhost::wire
