#include "desk/Monitor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "desk/Hex.h"

namespace desk {
namespace {

constexpr std::size_t builtInProgramSize = 0x2000;

// The host reads thirty characters and looks at the third and fourth, so each answer is exactly that long.
constexpr std::string_view identityOf(Model model) {
    switch (model) {
        case Model::V4:
            return "\r\nV4 Corvane EPROM 1.0\r\nEPROM>";
        case Model::other:
            return "\r\nM2 Corvane EPROM 1.0\r\nEPROM>";
    }
    return {};
}
constexpr bool isWhole(std::string_view identity) { return identity.size() == 30 && identity.ends_with(prompt); }
static_assert(isWhole(identityOf(Model::V4)) && isWhole(identityOf(Model::other)));
static_assert(identityOf(Model::V4).substr(2, 2) == "V4");

std::optional<std::uint16_t> hexWord(std::string_view digits) {
    std::uint16_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (digits.size() != 4 || error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    return value;
}

}  // namespace

Memory::Memory() : m_bytes(size) {
    std::uint32_t state = 0x2D;
    for (std::size_t i = 0; i < builtInProgramSize; ++i) {
        state = state * 1664525U + 1013904223U;
        m_bytes[programAt + i] = static_cast<unsigned char>(state >> 24);
    }
}

bool Memory::load(std::span<const unsigned char> image) {
    if (image.size() > size - programAt) return false;
    std::copy(image.begin(), image.end(), m_bytes.begin() + programAt);
    return true;
}

std::uint16_t Memory::check(std::uint16_t length) const {
    std::uint16_t crc = 0;
    for (std::size_t i = 0; i < length; ++i) crc = checkValue(crc, m_bytes[(programAt + i) % size]);
    return crc;
}

bool Monitor::take(char character, Model model, const Memory& memory, const Watcher& watcher, std::string& out) {
    out += character;
    if (character != '\r') {
        if (m_line.size() <= lineLimit) m_line += character;
        return false;
    }
    const bool jump = carryOut(model, memory, watcher, out);
    m_line.clear();
    return jump;
}

bool Monitor::carryOut(Model model, const Memory& memory, const Watcher& watcher, std::string& out) {
    constexpr std::string_view checkHead = "C 0100 0 ";
    if (m_line == "H ") {
        out += identityOf(model);
        tell(watcher, {.kind = DeskEvent::Kind::identified});
        return false;
    }
    if (m_line == "J 0100 0") {
        out += "\r\n";
        tell(watcher, {.kind = DeskEvent::Kind::jumped});
        return true;
    }
    if (m_line.starts_with(checkHead)) {
        if (const auto length = hexWord(std::string_view(m_line).substr(checkHead.size()))) {
            const std::uint16_t crc = memory.check(*length);
            out += "\r\nCRC = " + hex(crc, 4);
            out += prompt;
            tell(watcher, {.kind = DeskEvent::Kind::checkValue, .number = crc});
            return false;
        }
    }
    out += "\r\n?";
    out += prompt;
    tell(watcher, {.kind = DeskEvent::Kind::refused, .text = std::string_view(m_line).substr(0, lineLimit)});
    return false;
}

}  // namespace desk
