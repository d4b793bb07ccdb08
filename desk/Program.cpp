#include "desk/Program.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "desk/Hex.h"

namespace desk {
namespace {

/// How the status of a console begins whose version this is.
char leadOf(unsigned version) {
    switch (version) {
        case 8:
            return 'L';
        default:
            return '\\';
    }
}

std::optional<int> lampNumber(std::string_view digits) {
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    if (digits.front() == '0' || number < 1 || number > Program::lampCount) return std::nullopt;
    return number;
}

}  // namespace

void Program::restart() {
    m_command.clear();
    m_lamps.fill('O');
    m_wheelOn = false;
    m_versionAsked = false;
}

bool Program::take(char byte, const Watcher& watcher, std::string& out) {
    if (byte != ' ') {
        if (m_command.size() < commandLimit) m_command += byte;
        return true;
    }
    const bool understood = m_command.empty() || carryOut(watcher, out);
    if (!understood) tell(watcher, {.kind = DeskEvent::Kind::ignored, .text = m_command});
    m_command.clear();
    return understood;
}

bool Program::carryOut(const Watcher& watcher, std::string& out) {
    if (m_command.size() > 1) return setLamp(watcher);
    switch (m_command.front()) {
        case '?':
            out += 'V' + hex(m_version, 3) + ' ';
            m_versionAsked = true;
            tell(watcher, {.kind = DeskEvent::Kind::versionAsked, .number = static_cast<int>(m_version)});
            return true;
        case 'W':
        case 'X':
            setWheel(m_command.front() == 'W', watcher);
            return true;
        case 'K':
            return true;
        default:
            return false;
    }
}

bool Program::setLamp(const Watcher& watcher) {
    const char state = m_command.front();
    const auto number = lampNumber(std::string_view(m_command).substr(1));
    if (!number || std::string_view("OFHB").find(state) == std::string_view::npos) return false;
    char& lamp = m_lamps[static_cast<std::size_t>(*number - 1)];
    if (lamp != state) tell(watcher, {.kind = DeskEvent::Kind::lampSet, .number = *number, .letter = state});
    lamp = state;
    return true;
}

void Program::setWheel(bool on, const Watcher& watcher) {
    if (m_wheelOn != on) tell(watcher, {.kind = DeskEvent::Kind::wheelSet, .number = on ? 1 : 0});
    m_wheelOn = on;
}

std::string Program::wheelStatus(unsigned char shuttle, std::int8_t counts, std::int16_t fine) const {
    return leadOf(m_version) + hex(shuttle, 2) + hex(static_cast<std::uint8_t>(counts), 2) +
           hex(static_cast<std::uint16_t>(fine), 4);
}

char Program::lamp(int number) const {
    return number < 1 || number > lampCount ? '\0' : m_lamps[static_cast<std::size_t>(number - 1)];
}

}  // namespace desk
