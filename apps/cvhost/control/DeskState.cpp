#include "apps/cvhost/control/DeskState.h"

#include <array>
#include <string_view>
#include <vector>

#include "apps/common/Timecode.h"

namespace cvhost::control {
namespace {

using common::JsonText;

JsonText orNull(const std::optional<std::int64_t>& value) { return value ? JsonText(*value) : JsonText(nullptr); }

}  // namespace

void DeskState::take(const PortChange& port) {
    m_port = port.name;
    m_link = port.state == PortState::open ? Link::starting : port.state == PortState::lost ? Link::lost : Link::looking;
    m_version.reset();
    m_reader.forget();
}

void DeskState::take(const ConsoleActive& console) {
    m_link = Link::active;
    m_version = console.version;
}

void DeskState::take(const KeyQueued& key) {
    if (is_valid_keycode(key.code)) m_held.set(static_cast<std::size_t>(key.code));
}

void DeskState::take(const KeyReleased& key) {
    if (is_valid_keycode(key.code)) m_held.reset(static_cast<std::size_t>(key.code));
}

void DeskState::take(const LineBytes& line) {
    if (line.direction == Direction::transmit) m_reader.read(line.direction, line.bytes, {});
}

void DeskState::take(const RtsChange& rts) {
    if (rts.level == 0) m_reader.reset();
}

void DeskState::take(const PlayheadChange& playhead) { m_playhead = playhead; }

JsonText DeskState::json() const {
    static constexpr std::array<std::string_view, 4> links{"looking", "starting", "active", "lost"};
    const wire::ConsoleLook& look = m_reader.look();
    std::vector<JsonText> held;
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        if (m_held.test(static_cast<std::size_t>(code))) held.emplace_back(code);
    }
    const JsonText playhead = JsonText::object({
        {"frame", m_playhead.frame},
        {"timecode", common::timecode(m_playhead.frame, m_playhead.framesPerSecond)},
        {"speed", m_playhead.speed},
        {"in", orNull(m_playhead.markIn)},
        {"out", orNull(m_playhead.markOut)},
    });
    return JsonText::object({
        {"link", links.at(static_cast<std::size_t>(m_link))},
        {"port", m_port.empty() ? JsonText(nullptr) : JsonText(m_port)},
        {"version", m_version ? JsonText(*m_version) : JsonText(nullptr)},
        {"simulated", m_simulated},
        {"lamps", std::string(look.lamp.begin(), look.lamp.end())},
        {"wheel", look.wheel},
        {"held", JsonText::list(held)},
        {"playhead", playhead},
    });
}

}  // namespace cvhost::control
